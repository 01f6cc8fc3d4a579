// FileNames.h — turning the library's strings into the UTF-8 names the file system takes.
#pragma once

#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUStringMac.h>

#include <string>

namespace cu_files {

/// The exact UTF-8 bytes of a path; empty (a path naming nothing) for a null text and for a
/// text the system could only be given cut short (see PathBytes).
inline std::string Utf8(CUStringMac& s) {
    std::string bytes;
    return varn::PathBytes(&s, bytes) ? bytes : std::string();
}

/// The file name the system gets for `name`: the name goes through the file-name record
/// (GetUnicodeFileName, which stores ':' as '/'), and every '/' of the record is written as
/// ':' on disk, so ':' round-trips and a '/' can never make a rename or create a move. False
/// when the name has no record (too long, not convertible) or is empty, "." or "..".
inline bool PosixFileName(CUSharedPtr<CUStringMac> name, std::string& out) {
    HFSUniStr255 record{};
    if (CUStringMac::GetUnicodeFileName(name, &record) != kCUStatusSuccess || record.length == 0) {
        return false;
    }
    unsigned short units[255];
    for (unsigned i = 0; i < record.length; ++i) {
        units[i] = record.unicode[i] == u'/' ? u':' : record.unicode[i];
    }
    CUStringMac converted(units, record.length * 2u);
    out = Utf8(converted);
    return !out.empty() && out != "." && out != "..";
}

} // namespace cu_files
