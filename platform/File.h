// File.h — files by path and open file descriptors, for the stream and existence classes.
//
// Only POSIX-bound code lives behind this header. Paths are UTF-8 text. Results are values:
// 0 or a positive errno value (ENOENT, ENOSPC, ...), never exceptions.
//
// Every system call goes through one table of calls (FileCalls). Tests install their own table
// with SetFileCalls to inject faults — a full disk, a short write, a file that vanished — and
// to count the calls a stream issues; SetFileCalls(nullptr) restores the system's calls.
#pragma once

#include <cstddef>
#include <cstdint>

namespace varn::platform {

/// What a path names after following symbolic links: a regular file, a folder, or something
/// else (a named pipe, a socket, a device).
enum class PathKind { Missing, File, Directory, Special };

/// How a file is opened: the rights asked for.
enum class FileAccess { Read, Write, ReadWrite };

/// The table of system calls used by this layer. Results follow one rule: a count or 0 on
/// success, a negated errno value on failure.
struct FileCalls {
    /// stat(path): *kind = Directory, File or Special on success.
    int (*stat)(char const* path, PathKind* kind);
    /// open(path, access | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, and O_CREAT | O_EXCL with mode
    /// 0666 when `create`). Returns the descriptor; -ENOTSUP, and nothing open, when the path
    /// turned out not to be a regular file.
    int (*open)(char const* path, FileAccess access, bool create);
    /// One pread call.
    long long (*pread)(int fd, void* buffer, std::size_t count, std::uint64_t offset);
    /// One pwrite call.
    long long (*pwrite)(int fd, void const* buffer, std::size_t count, std::uint64_t offset);
    /// ftruncate(fd, size).
    int (*ftruncate)(int fd, std::uint64_t size);
    /// fstat(fd).st_size into *size.
    int (*fsize)(int fd, std::uint64_t* size);
    /// close(fd).
    int (*close)(int fd);
};

/// The system's calls (EINTR is retried inside each of them).
FileCalls const& SystemFileCalls() noexcept;

/// The table in use.
FileCalls const& CurrentFileCalls() noexcept;

/// Installs `calls` (kept by address: it must outlive its use); null restores the system's.
void SetFileCalls(FileCalls const* calls) noexcept;

/// What `path` names; Missing for a null or empty path and whenever stat fails.
PathKind GetPathKind(char const* path) noexcept;

/// Opens an existing file; returns the descriptor or a negated errno value.
int OpenExistingFile(char const* path, FileAccess access) noexcept;

/// Creates a new empty file and opens it; fails with -EEXIST when the name is taken.
int CreateNewFile(char const* path, FileAccess access) noexcept;

/// Outcome of ReadAt.
struct ReadResult {
    int error;           ///< 0, or the errno value of a failed read
    bool endOfFile;      ///< fewer bytes than asked were available
    std::uint64_t count; ///< bytes read
};

/// Reads up to `count` bytes at `offset`, looping over short reads until `count` bytes or the
/// end of the file. Fewer bytes than asked is reported as endOfFile, not as an error.
ReadResult ReadAt(int fd, void* buffer, std::uint64_t count, std::uint64_t offset) noexcept;

/// Writes all `count` bytes at `offset`, looping over partial writes; returns 0 or the errno
/// value of the call that failed (EIO for a call that wrote nothing). Bytes written before a
/// failure stay written.
int WriteAt(int fd, void const* buffer, std::uint64_t count, std::uint64_t offset) noexcept;

/// Sets the file's size (a grown file reads zeros in the gap); 0 or an errno value.
int SetFileSize(int fd, std::uint64_t size) noexcept;

/// The file's size into *size; 0 or an errno value.
int GetFileSize(int fd, std::uint64_t* size) noexcept;

/// Closes the descriptor; 0 or an errno value.
int CloseFile(int fd) noexcept;

} // namespace varn::platform
