// PathBytes.h — the bytes handed to the system for a path held as text.
//
// The system takes a NUL-terminated byte string. The C-string form of a text is not exact for
// that: it stops silently at an unpaired surrogate (so "/a/b<D800>c" would name "/a/b"), and
// a U+0000 inside the text ends the name early (so "/etc/x<0>y" would name "/etc/x"). A path
// whose text has no exact byte form therefore names no file at all.
#pragma once

#include <VarnUtilityLib/CUStringMac.h>

#include <cstring>
#include <string>

namespace varn {

/// The path's UTF-8 bytes into `out`; false for a null path or text, a text with an unpaired
/// surrogate and a text holding U+0000.
inline bool PathBytes(CUStringMac* path, std::string& out) {
    if (path == nullptr || CUStatusFailed(path->GetString(out))) {
        return false;
    }
    return std::memchr(out.data(), 0, out.size()) == nullptr;
}

} // namespace varn
