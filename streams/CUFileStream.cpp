// CUFileStream.cpp — the stream over a file, on the descriptors of platform/File.h.
//
// The "fork position" is where the stream knows the file's mark to stand. Reads and writes go
// to the platform with explicit offsets, so the mark is purely the stream's own bookkeeping:
// moving it (SeekOSFileHandle) costs no system call, and sequential I/O issues none either.
#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileStream.h>

#include "platform/File.h"

#include <cstdint>
#include <string>

namespace platform = varn::platform;

namespace {

constexpr unsigned int kNotReady = CUError_NotReady;
constexpr unsigned int kInvalidArgument = CUError_InvalidArgument;
constexpr unsigned int kPlatformFailure = CUError_PlatformFailure;
constexpr unsigned int kNotSupported = CUError_NotSupported;
constexpr unsigned int kFileNotFound = CUError_FileNotFound;

constexpr signed char kReadPermission = 1;      // fsRdPerm
constexpr signed char kWritePermission = 2;     // fsWrPerm
constexpr signed char kReadWritePermission = 3; // fsRdWrPerm

// The permission "current" (0) asks for whatever is allowed; reading always is.
platform::FileAccess accessForPermission(signed char permission) {
    switch (permission) {
    case kWritePermission:
        return platform::FileAccess::Write;
    case kReadWritePermission:
        return platform::FileAccess::ReadWrite;
    default:
        return platform::FileAccess::Read;
    }
}

} // namespace

CUFileStream::CUFileStream(CUStringMac* path, CUStream_FileMode mode, CUStream_FileAccess access,
                           bool noThrow)
    : m_bCanRead(false), m_bCanWrite(false), m_bCanSeek(false), m_bOpened(false), m_nForkRef(-1),
      m_nForkPosition(0) {
    try {
        Init(path, mode, access);
    } catch (unsigned int) {
        if (noThrow) {
            return;
        }
        // The destructor will not run for an object whose constructor throws: a descriptor
        // left open by a failed truncation must be closed here.
        z_CloseNoLock();
        throw;
    }
}

CUFileStream::CUFileStream(CUSharedPtr<CUStringMac>& path, CUStream_FileMode mode,
                           CUStream_FileAccess access, bool noThrow)
    : CUFileStream(path.get(), mode, access, noThrow) {}

CUFileStream::~CUFileStream() {
    try {
        Close();
    } catch (...) {
    }
}

signed char CUFileStream::CUStream_FileAccess_To_OS_FileAccess(CUStream_FileAccess access) {
    switch (access) {
    case CUStream_FileAccess_Read:
        return kReadPermission;
    case CUStream_FileAccess_ReadWrite:
        return kReadWritePermission;
    case CUStream_FileAccess_Write:
        return kWritePermission;
    default:
        return 0;
    }
}

unsigned short CUFileStream::CUStream_Seek_Origin_To_OS_Seek_Origin(CUStream_Seek_Origin origin) {
    switch (origin) {
    case CUStream_Seek_Origin_Begin:
        return 1; // fsFromStart
    case CUStream_Seek_Origin_Current:
        return 3; // fsFromMark
    case CUStream_Seek_Origin_End:
        return 2; // fsFromLEOF
    default:
        return 0; // fsAtMark
    }
}

unsigned long long CUFileStream::Init(CUStringMac* path, CUStream_FileMode mode,
                                      CUStream_FileAccess access) {
    CUAutoLock lock(m_spLock);
    z_CloseNoLock(); // a second Init must not leak the first descriptor
    ClearMemberValue();
    if (path == nullptr) {
        throw kInvalidArgument;
    }
    if (path->Length() == 0) {
        throw kNotReady;
    }
    // A text without an exact byte form would open or create a shorter name.
    std::string bytes;
    if (!varn::PathBytes(path, bytes)) {
        throw kPlatformFailure;
    }
    // One look at the path answers both questions (a folder, an existing file): the path
    // walk is most of what opening costs.
    platform::PathKind const kind = platform::GetPathKind(bytes.c_str());
    // Streams are over regular files: a folder, a named pipe (whose open or read would wait
    // for a writer), a socket or a device is refused alike.
    if (kind == platform::PathKind::Directory || kind == platform::PathKind::Special) {
        throw kNotSupported;
    }
    bool const exists = kind == platform::PathKind::File;
    switch (mode) {
    case CUStream_FileMode_Append:
    case CUStream_FileMode_Create:
        if (access == CUStream_FileAccess_Read) {
            throw kPlatformFailure;
        }
        break;
    case CUStream_FileMode_CreateNew:
        if (exists) {
            throw kPlatformFailure;
        }
        break;
    case CUStream_FileMode_Open:
        if (!exists) {
            throw kFileNotFound;
        }
        break;
    case CUStream_FileMode_OpenOrCreate:
        break;
    case CUStream_FileMode_Truncate:
        if (access == CUStream_FileAccess_Read) {
            throw kPlatformFailure;
        }
        if (!exists) {
            throw kFileNotFound;
        }
        break;
    default:
        break; // OpenOSFileHandle refuses it
    }
    return OpenOSFileHandle(path, mode, access, exists);
}

unsigned long long CUFileStream::OpenOSFileHandle(CUStringMac* path, CUStream_FileMode mode,
                                                  CUStream_FileAccess access, bool exists) {
    signed char const permission = CUStream_FileAccess_To_OS_FileAccess(access);
    bool opened = false;
    switch (mode) {
    case CUStream_FileMode_Append:
    case CUStream_FileMode_OpenOrCreate:
        opened = exists ? OpenExistFileRefAndDataFork(path, false, permission)
                        : OpenNewFileRefAndDataFork(path, permission);
        break;
    case CUStream_FileMode_Create:
        opened = exists ? OpenExistFileRefAndDataFork(path, true, permission)
                        : OpenNewFileRefAndDataFork(path, permission);
        break;
    case CUStream_FileMode_CreateNew:
        opened = !exists && OpenNewFileRefAndDataFork(path, permission);
        break;
    case CUStream_FileMode_Open:
        opened = exists && OpenExistFileRefAndDataFork(path, false, permission);
        break;
    case CUStream_FileMode_Truncate:
        opened = exists && OpenExistFileRefAndDataFork(path, true, permission);
        break;
    default:
        break;
    }
    if (!opened) {
        throw kPlatformFailure;
    }
    m_bCanRead = access == CUStream_FileAccess_Read || access == CUStream_FileAccess_ReadWrite;
    m_bCanWrite = access == CUStream_FileAccess_ReadWrite || access == CUStream_FileAccess_Write;
    m_bCanSeek = true;
    std::uint64_t size = 0;
    if (platform::GetFileSize(m_nForkRef, &size) != 0) {
        z_CloseNoLock();
        throw kPlatformFailure;
    }
    m_nLength = size;
    if (mode == CUStream_FileMode_Append) {
        Seek(0, CUStream_Seek_Origin_End);
    }
    m_readableRange = _CURange{0, m_nLength};
    return m_nLength;
}

bool CUFileStream::OpenExistFileRefAndDataFork(CUStringMac* path, bool truncate,
                                               signed char permission) {
    if (path == nullptr) {
        return false;
    }
    // Resolving the path first would cost one more system call for nothing: open refuses a
    // missing file the same way, and Init has already turned folders away.
    char const* text = *path;
    if (text == nullptr) {
        return false;
    }
    return OpenDataFork(text, truncate, permission);
}

bool CUFileStream::OpenNewFileRefAndDataFork(CUStringMac* path, signed char permission) {
    if (path == nullptr) {
        return false;
    }
    // Creating by the whole path is one exclusive open: it fails, as the separate checks of
    // the parent folder and the name would, when the parent is missing or not a folder, when
    // the name is too long or when the name is taken.
    char const* text = *path;
    if (text == nullptr) {
        return false;
    }
    int const fd = platform::CreateNewFile(text, accessForPermission(permission));
    if (fd < 0) {
        return false;
    }
    m_nForkRef = fd;
    m_bOpened = true;
    return true;
}

bool CUFileStream::OpenDataFork(char const* path, bool truncate, signed char permission) {
    if (path == nullptr) {
        return false;
    }
    int const fd = platform::OpenExistingFile(path, accessForPermission(permission));
    if (fd < 0) {
        return false;
    }
    m_nForkRef = fd;
    m_bOpened = true;
    if (truncate) {
        // On failure the file stays open: the caller reports the error and the stream keeps
        // the descriptor until it is closed.
        return platform::SetFileSize(fd, 0) == 0;
    }
    return true;
}

void CUFileStream::Close() {
    CUAutoLock lock(m_spLock);
    z_CloseNoLock();
}

void CUFileStream::z_CloseNoLock() {
    if (m_bOpened) {
        platform::CloseFile(m_nForkRef);
    }
    m_bOpened = false;
    m_nForkRef = -1;
}

void CUFileStream::ClearMemberValue() {
    m_bCanRead = false;
    m_bCanWrite = false;
    m_bCanSeek = false;
    m_bOpened = false;
    m_nForkRef = -1;
    m_nForkPosition = 0;
}

void CUFileStream::CheackFileOpened() {
    if (!m_bOpened) {
        throw kNotReady;
    }
}

bool CUFileStream::IsOSFileHandleValid() {
    return m_bOpened;
}

bool CUFileStream::CanRead() {
    return m_bOpened && m_bCanRead;
}

bool CUFileStream::CanWrite() {
    return m_bOpened && m_bCanWrite;
}

bool CUFileStream::CanSeek() {
    return m_bOpened && m_bCanSeek;
}

unsigned long long CUFileStream::Length() {
    CUAutoLock lock(m_spLock);
    return m_nLength;
}

void CUFileStream::SetLength(unsigned long long length) {
    CUAutoLock lock(m_spLock);
    try {
        if (!CanSeek() || !CanWrite()) {
            throw kNotSupported;
        }
        CheackFileOpened();
        z_SetLength(length);
    } catch (unsigned int) {
        Close();
    }
}

void CUFileStream::z_SetLength(unsigned long long length) {
    if (platform::SetFileSize(m_nForkRef, length) != 0) {
        throw kPlatformFailure;
    }
    // A mark past the new end is pulled back to it, as the file's own mark would be.
    if (m_nForkPosition > length) {
        m_nForkPosition = length;
    }
    m_nLength = length;
    ResetReadaleRange();
}

unsigned long long CUFileStream::Position() {
    CUAutoLock lock(m_spLock);
    try {
        if (!CanSeek()) {
            throw kNotSupported;
        }
        CheackFileOpened();
    } catch (unsigned int) {
        Close();
    }
    return m_nPosition;
}

unsigned long long CUFileStream::SetPosition(unsigned long long position) {
    CUAutoLock lock(m_spLock);
    return Seek(static_cast<long long>(position), CUStream_Seek_Origin_Begin);
}

unsigned long long CUFileStream::Seek(long long offset, CUStream_Seek_Origin origin) {
    CUAutoLock lock(m_spLock);
    try {
        CheackFileOpened();
        if (!CanSeek()) {
            throw kNotSupported;
        }
        m_nPosition = CalcNewPos(offset, origin);
    } catch (unsigned int) {
        Close();
    }
    return m_nPosition;
}

unsigned long long CUFileStream::CalcNewPos(long long offset, CUStream_Seek_Origin origin) {
    unsigned long long const off = static_cast<unsigned long long>(offset);
    switch (origin) {
    case CUStream_Seek_Origin_Begin:
        return off;
    case CUStream_Seek_Origin_End:
        return off + Length();
    case CUStream_Seek_Origin_Current:
        return off + m_nPosition;
    default:
        return 0;
    }
}

void CUFileStream::SeekOSFileHandle(unsigned long long position) {
    // The descriptor has no mark of its own in use (all I/O names its offset); only positions
    // that no file can reach are refused, as the system would refuse them.
    if (position > static_cast<unsigned long long>(INT64_MAX)) {
        throw kPlatformFailure;
    }
    m_nForkPosition = position;
}

unsigned long long CUFileStream::Read(unsigned char* out, unsigned long long count,
                                      long long offset, CUStream_Seek_Origin origin) {
    CUAutoLock lock(m_spLock);
    try {
        if (out == nullptr) {
            throw kInvalidArgument;
        }
        CheackFileOpened();
        if (!CanRead()) {
            throw kNotSupported;
        }
        _CURange range = CalcReadRange(count, offset, origin);
        if (range.length == 0) {
            return 0;
        }
        if (m_nForkPosition != range.location) {
            SeekOSFileHandle(range.location);
        }
        return z_Read(out, range);
    } catch (unsigned int) {
        return 0;
    }
}

unsigned long long CUFileStream::z_Read(unsigned char* out, _CURange& range) {
    platform::ReadResult const result =
        platform::ReadAt(m_nForkRef, out, range.length, range.location);
    if (result.error != 0) {
        throw kPlatformFailure;
    }
    // Both move by the clipped request, not by what arrived: a file shortened behind the
    // stream's back still advances the position to the end of the request.
    m_nForkPosition += range.length;
    m_nPosition = m_nForkPosition;
    return result.count;
}

unsigned long long CUFileStream::Write(unsigned char* in, unsigned long long count,
                                       long long offset, CUStream_Seek_Origin origin) {
    CUAutoLock lock(m_spLock);
    try {
        if (in == nullptr) {
            throw kInvalidArgument;
        }
        CheackFileOpened();
        if (!CanWrite()) {
            throw kNotSupported;
        }
        unsigned long long const start = CalcNewPos(offset, origin);
        unsigned long long const end = start + count;
        if (Length() < end) {
            if (count != 0) {
                return z_WriteGrowing(in, count, start);
            }
            SetLength(end);
            CheackFileOpened(); // SetLength closes the stream when the file cannot grow
        }
        if (m_nForkPosition != start) {
            SeekOSFileHandle(start);
        }
        return z_Write(in, count);
    } catch (unsigned int) {
        return 0;
    }
}

unsigned long long CUFileStream::z_WriteGrowing(unsigned char* in, unsigned long long count,
                                                unsigned long long start) {
    // A write past the end grows the file by itself (a gap reads as zeros, as after a resize),
    // so the resize is issued only when the write fails; this halves the system calls of
    // appending. The state after a failure is the one that resizing first would leave.
    unsigned long long const end = start + count;
    unsigned long long const oldLength = m_nLength;
    if (start <= static_cast<unsigned long long>(INT64_MAX) &&
        platform::WriteAt(m_nForkRef, in, count, start) == 0) {
        m_nLength = end;
        ResetReadaleRange();
        m_nForkPosition = end;
        m_nPosition = end;
        return count;
    }
    if (platform::SetFileSize(m_nForkRef, end) != 0) {
        // Growing first would have failed before writing a byte: drop what the failed write
        // added past the old end (a size limit, say) and close, as a failed resize does.
        platform::SetFileSize(m_nForkRef, oldLength);
        z_CloseNoLock();
        throw kPlatformFailure;
    }
    if (m_nForkPosition > end) {
        m_nForkPosition = end;
    }
    m_nLength = end;
    ResetReadaleRange();
    if (m_nForkPosition != start) {
        SeekOSFileHandle(start);
    }
    throw kPlatformFailure;
}

unsigned long long CUFileStream::z_Write(unsigned char* in, unsigned long long count) {
    if (platform::WriteAt(m_nForkRef, in, count, m_nForkPosition) != 0) {
        throw kPlatformFailure;
    }
    m_nForkPosition += count;
    m_nPosition = m_nForkPosition;
    return count;
}
