// StreamTesting.h — what the file stream tests share: strings as byte buffers and a file in a
// fresh folder.
#pragma once

#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <string>

namespace varn::test {

inline unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

/// f.bin in a fresh folder, holding `contents` unless `create` is false.
struct StreamFile {
    explicit StreamFile(std::string const& contents = "", bool create = true)
        : file(folder.File("f.bin")), path(Utf8(file)) {
        if (create) {
            WriteFile(file, contents);
        }
    }
    TempFolder folder;
    std::string file;
    CUStringMac path;
};

} // namespace varn::test
