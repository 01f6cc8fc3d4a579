// StreamTesting.h — what the stream tests share: strings as byte buffers, a file in a fresh
// folder and the code an opening throws.
#pragma once

#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <string>

namespace varn::test {

inline unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

inline std::string Chars(unsigned char const* bytes, unsigned long long n) {
    return std::string(reinterpret_cast<char const*>(bytes), n);
}

/// The code that opening `path` throws, 0 when it opens.
inline unsigned int OpenCode(CUStringMac* path, CUStream_FileMode mode,
                             CUStream_FileAccess access = CUStream_FileAccess_ReadWrite) {
    return CodeOf([&] { CUFileStream stream(path, mode, access, false); });
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
