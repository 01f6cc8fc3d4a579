// StreamTesting.h — what the stream tests share: strings as byte buffers, a probe stream, a file
// in a fresh folder and the code an opening throws.
#pragma once

#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace varn::test {

inline unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

inline std::string Chars(unsigned char const* bytes, unsigned long long n) {
    return std::string(reinterpret_cast<char const*>(bytes), n);
}

/// A stream whose length, readability and position field a test sets. Reads give back at most
/// `give` bytes of 'z' (or throw a foreign exception); writes are recorded.
class ProbeStream : public CUStream {
  public:
    explicit ProbeStream(unsigned long long length = 0, unsigned long long give = 0) : give(give) {
        m_nLength = length;
    }
    bool CanRead() override { return readable; }
    void SetPositionField(unsigned long long p) { m_nPosition = p; }
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin) override {
        if (throwForeign) {
            throw std::string("foreign");
        }
        lastOffset = offset;
        unsigned long long const n = std::min(count, give);
        std::memset(out, 'z', n);
        return n;
    }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long offset,
                             CUStream_Seek_Origin origin) override {
        written = Chars(in, count);
        lastOffset = offset;
        lastOrigin = origin;
        return count;
    }
    bool readable = true, throwForeign = false;
    unsigned long long give;
    std::string written;
    long long lastOffset = -1;
    CUStream_Seek_Origin lastOrigin = CUStream_Seek_Origin_Begin;
};

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
