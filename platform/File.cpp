// File.cpp — POSIX files behind platform/File.h. Unix-bound code only.
#include "platform/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace varn::platform {
namespace {

// Offsets and sizes arrive unsigned; anything past what off_t holds is refused as the kernel
// would refuse a negative one.
constexpr std::uint64_t kMaxOffset = static_cast<std::uint64_t>(INT64_MAX);

int sysStat(char const* path, PathKind* kind) {
    struct stat st;
    int rc;
    do {
        rc = ::stat(path, &st);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        return -errno;
    }
    *kind = S_ISDIR(st.st_mode)   ? PathKind::Directory
            : S_ISREG(st.st_mode) ? PathKind::File
                                  : PathKind::Special;
    return 0;
}

int sysOpen(char const* path, FileAccess access, bool create) {
    // Never waits: a named pipe put in the file's place would block the open for ever. The
    // flag changes nothing for a regular file, and anything else is refused below.
    int flags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    switch (access) {
    case FileAccess::Read:
        flags |= O_RDONLY;
        break;
    case FileAccess::Write:
        flags |= O_WRONLY;
        break;
    case FileAccess::ReadWrite:
        flags |= O_RDWR;
        break;
    }
    if (create) {
        flags |= O_CREAT | O_EXCL;
    }
    int fd;
    do {
        fd = ::open(path, flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        return -errno;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -ENOTSUP;
    }
    return fd;
}

long long sysPread(int fd, void* buffer, std::size_t count, std::uint64_t offset) {
    if (offset > kMaxOffset) {
        return -EINVAL;
    }
    ssize_t n;
    do {
        n = ::pread(fd, buffer, count, static_cast<off_t>(offset));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -errno : n;
}

long long sysPwrite(int fd, void const* buffer, std::size_t count, std::uint64_t offset) {
    if (offset > kMaxOffset) {
        return -EINVAL;
    }
    ssize_t n;
    do {
        n = ::pwrite(fd, buffer, count, static_cast<off_t>(offset));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -errno : n;
}

int sysFtruncate(int fd, std::uint64_t size) {
    if (size > kMaxOffset) {
        return -EINVAL;
    }
    int rc;
    do {
        rc = ::ftruncate(fd, static_cast<off_t>(size));
    } while (rc != 0 && errno == EINTR);
    return rc != 0 ? -errno : 0;
}

int sysFsize(int fd, std::uint64_t* size) {
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        return -errno;
    }
    *size = static_cast<std::uint64_t>(st.st_size);
    return 0;
}

int sysClose(int fd) {
    // close is not retried on EINTR: on Linux the descriptor is gone either way.
    return ::close(fd) != 0 ? -errno : 0;
}

constexpr FileCalls kSystemCalls{sysStat,      sysOpen,  sysPread, sysPwrite,
                                 sysFtruncate, sysFsize, sysClose};

std::atomic<FileCalls const*> g_calls{&kSystemCalls};

FileCalls const& calls() noexcept {
    return *g_calls.load(std::memory_order_acquire);
}

// Largest single transfer: what the kernel moves in one call anyway (0x7ffff000).
constexpr std::uint64_t kMaxChunk = 0x7ffff000ULL;

} // namespace

FileCalls const& SystemFileCalls() noexcept {
    return kSystemCalls;
}

FileCalls const& CurrentFileCalls() noexcept {
    return calls();
}

void SetFileCalls(FileCalls const* table) noexcept {
    g_calls.store(table != nullptr ? table : &kSystemCalls, std::memory_order_release);
}

PathKind GetPathKind(char const* path) noexcept {
    if (path == nullptr || *path == '\0') {
        return PathKind::Missing;
    }
    PathKind kind = PathKind::Missing;
    return calls().stat(path, &kind) == 0 ? kind : PathKind::Missing;
}

int OpenExistingFile(char const* path, FileAccess access) noexcept {
    if (path == nullptr || *path == '\0') {
        return -ENOENT;
    }
    return calls().open(path, access, false);
}

int CreateNewFile(char const* path, FileAccess access) noexcept {
    if (path == nullptr || *path == '\0') {
        return -ENOENT;
    }
    return calls().open(path, access, true);
}

ReadResult ReadAt(int fd, void* buffer, std::uint64_t count, std::uint64_t offset) noexcept {
    ReadResult result{0, false, 0};
    auto* out = static_cast<unsigned char*>(buffer);
    FileCalls const& table = calls();
    while (result.count < count) {
        std::uint64_t const want =
            count - result.count < kMaxChunk ? count - result.count : kMaxChunk;
        long long const n = table.pread(fd, out + result.count, static_cast<std::size_t>(want),
                                        offset + result.count);
        if (n < 0) {
            result.error = static_cast<int>(-n);
            return result;
        }
        if (n == 0) {
            result.endOfFile = true;
            return result;
        }
        result.count += static_cast<std::uint64_t>(n);
    }
    return result;
}

int WriteAt(int fd, void const* buffer, std::uint64_t count, std::uint64_t offset) noexcept {
    auto const* in = static_cast<unsigned char const*>(buffer);
    FileCalls const& table = calls();
    std::uint64_t done = 0;
    while (done < count) {
        std::uint64_t const want = count - done < kMaxChunk ? count - done : kMaxChunk;
        long long const n =
            table.pwrite(fd, in + done, static_cast<std::size_t>(want), offset + done);
        if (n < 0) {
            return static_cast<int>(-n);
        }
        if (n == 0) {
            return EIO;
        }
        done += static_cast<std::uint64_t>(n);
    }
    return 0;
}

int SetFileSize(int fd, std::uint64_t size) noexcept {
    return -calls().ftruncate(fd, size);
}

int GetFileSize(int fd, std::uint64_t* size) noexcept {
    return -calls().fsize(fd, size);
}

int CloseFile(int fd) noexcept {
    return -calls().close(fd);
}

} // namespace varn::platform
