// FileSystem.cpp — POSIX calls behind the file and folder classes.
#include "platform/FileSystem.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <dirent.h>
#include <linux/fs.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace varn::platform {

namespace {

bool empty(char const* path) {
    return path == nullptr || *path == '\0';
}

// The bytes of CopyFileData, without the check of the destination's name.
int copyBytes(int in, int out, std::uint64_t size, CopyChunkHook hook, void* context) {
    if (::ioctl(out, FICLONE, in) == 0) {
        return hook == nullptr || hook(size, context) ? 0 : ECANCELED;
    }
    // Chunks small enough that a hook sees progress several times a second on a slow disk.
    constexpr std::uint64_t kChunk = 8u << 20;
    std::uint64_t done = 0;
    bool rangeCopy = true;
    while (done < size) {
        std::size_t chunk = static_cast<std::size_t>(std::min(size - done, kChunk));
        ssize_t n = -1;
        if (rangeCopy) {
            n = ::copy_file_range(in, nullptr, out, nullptr, chunk, 0);
            if (n < 0 &&
                (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
                rangeCopy = false; // nothing was copied by the failed call
                continue;
            }
        } else {
            static thread_local char buffer[1 << 16];
            n = ::read(in, buffer, std::min(chunk, sizeof buffer));
            for (ssize_t written = 0; n > 0 && written < n;) {
                ssize_t w = ::write(out, buffer + written, static_cast<std::size_t>(n - written));
                if (w < 0 && errno != EINTR) {
                    return errno;
                }
                written += w > 0 ? w : 0;
            }
        }
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (n == 0) {
            // Some file systems end a range copy early; only a read says the source ended.
            if (rangeCopy) {
                rangeCopy = false;
                continue;
            }
            // The source shrank under the copy: the destination would be a prefix that the
            // source never was, reported as a whole copy. Fail instead.
            return ENODATA;
        }
        done += static_cast<std::uint64_t>(n);
        if (hook != nullptr && !hook(done, context)) {
            return ECANCELED;
        }
    }
    return 0;
}

} // namespace

int CopyFileData(int in, int out, std::uint64_t size, CopyChunkHook hook, void* context) noexcept {
    int error = copyBytes(in, out, size, hook, context);
    // A destination removed while it was written (its folder emptied, say) holds a copy that
    // nobody can reach: the copy failed, although every byte was written.
    struct stat st {};
    if (error == 0 && ::fstat(out, &st) == 0 && st.st_nlink == 0) {
        error = ENOENT;
    }
    return error;
}

int RemoveFileIfSame(char const* path, int fd) noexcept {
    struct stat named {};
    struct stat open {};
    if (empty(path) || ::fstat(fd, &open) != 0 || ::lstat(path, &named) != 0) {
        return ENOENT;
    }
    if (named.st_dev != open.st_dev || named.st_ino != open.st_ino) {
        return ESTALE;
    }
    return ::unlink(path) == 0 ? 0 : errno;
}

bool EntryExists(char const* path) noexcept {
    struct stat st {};
    return !empty(path) && ::lstat(path, &st) == 0;
}

bool IsSymbolicLink(char const* path) noexcept {
    struct stat st {};
    return !empty(path) && ::lstat(path, &st) == 0 && S_ISLNK(st.st_mode);
}

bool IsRealDirectory(char const* path) noexcept {
    struct stat st {};
    return !empty(path) && ::lstat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

std::uint64_t RegularFileSize(char const* path) noexcept {
    struct stat st {};
    if (empty(path) || ::stat(path, &st) != 0 || !S_ISREG(st.st_mode)) {
        return 0;
    }
    return static_cast<std::uint64_t>(st.st_size);
}

bool GetFileTime(char const* path, bool creation, long long* seconds) noexcept {
    struct statx st {};
    unsigned int want = creation ? STATX_BTIME : STATX_MTIME;
    if (empty(path) || ::statx(AT_FDCWD, path, 0, want, &st) != 0 || (st.stx_mask & want) == 0) {
        return false;
    }
    statx_timestamp const& t = creation ? st.stx_btime : st.stx_mtime;
    // Toward zero: a time before 1970 with a fraction moves up to the whole second.
    *seconds = t.tv_sec < 0 && t.tv_nsec != 0 ? t.tv_sec + 1 : t.tv_sec;
    return true;
}

int MakeDirectory(char const* path) noexcept {
    if (empty(path)) {
        return ENOENT;
    }
    return ::mkdir(path, 0777) == 0 ? 0 : errno;
}

int RemoveDirectory(char const* path) noexcept {
    if (empty(path)) {
        return ENOENT;
    }
    return ::rmdir(path) == 0 ? 0 : errno;
}

namespace {

// Empties the folder open as `folder` (the descriptor stays open and is not consumed).
int removeContents(int folder, int depth, bool& fileFailed) noexcept {
    if (depth > 4096) {
        return ELOOP; // deeper than any path could name: something is cycling
    }
    int const listing = ::dup(folder);
    DIR* dir = listing < 0 ? nullptr : ::fdopendir(listing);
    if (dir == nullptr) {
        int const error = errno;
        if (listing >= 0) {
            ::close(listing);
        }
        return error;
    }
    int first = 0;
    // Entries removed while reading may make readdir skip others: read again until a pass
    // removes nothing.
    for (bool removedAny = true; removedAny;) {
        removedAny = false;
        ::rewinddir(dir);
        while (dirent* entry = ::readdir(dir)) {
            char const* name = entry->d_name;
            if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
                continue;
            }
            int error = 0;
            int const sub = ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (sub >= 0) {
                error = removeContents(sub, depth + 1, fileFailed);
                ::close(sub);
                if (error == 0 && ::unlinkat(folder, name, AT_REMOVEDIR) != 0) {
                    error = errno;
                }
            } else if (errno == ENOTDIR || errno == ELOOP) {
                // A file, a link (to a folder or not: never followed) or anything else.
                error = ::unlinkat(folder, name, 0) == 0 ? 0 : errno;
                if (error != 0 && error != ENOENT && first == 0) {
                    fileFailed = true;
                }
            } else {
                error = errno;
            }
            if (error == ENOENT) {
                continue; // removed by someone else meanwhile: what was wanted
            }
            if (error != 0) {
                first = first != 0 ? first : error;
            } else {
                removedAny = true;
            }
        }
    }
    ::closedir(dir);
    return first;
}

} // namespace

int RemoveFolderContents(char const* path, bool& fileFailed) noexcept {
    fileFailed = false;
    if (empty(path)) {
        return ENOENT;
    }
    int const folder = ::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        return errno;
    }
    int const error = removeContents(folder, 0, fileFailed);
    ::close(folder);
    return error;
}

int RemoveFile(char const* path) noexcept {
    if (empty(path)) {
        return ENOENT;
    }
    return ::unlink(path) == 0 ? 0 : errno;
}

int RenameNoReplace(char const* from, char const* to) noexcept {
    if (empty(from) || empty(to)) {
        return ENOENT;
    }
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // File systems without RENAME_NOREPLACE: a hard link fails on an existing name, and for
    // folders (which cannot be linked) the check and the rename are as close as it gets.
    struct stat st {};
    if (::lstat(to, &st) == 0) {
        return EEXIST;
    }
    return ::rename(from, to) == 0 ? 0 : errno;
}

int ListDirectory(char const* folder, std::vector<DirectoryEntry>* entries) noexcept {
    if (empty(folder)) {
        return ENOENT;
    }
    int fd = ::open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    DIR* dir = ::fdopendir(fd);
    if (dir == nullptr) {
        int error = errno;
        ::close(fd);
        return error;
    }
    try {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is private to this call
        while (dirent* entry = ::readdir(dir)) {
            std::string_view name = entry->d_name;
            if (name == "." || name == "..") {
                continue;
            }
            bool isDirectory = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat st {};
                if (::fstatat(fd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
                    continue; // vanished since the folder was read
                }
                isDirectory = S_ISDIR(st.st_mode);
            }
            entries->push_back(DirectoryEntry{std::string(name), isDirectory});
        }
    } catch (...) {
        ::closedir(dir);
        return ENOMEM;
    }
    ::closedir(dir);
    return 0;
}

int OpenCopySource(char const* path, struct stat& info) noexcept {
    int const fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return -errno;
    }
    // The error is chosen here, never read from errno: after a successful fstat it would be
    // whatever an earlier call left there, 0 included, and a copy of /dev/null reported done.
    int error = ::fstat(fd, &info) != 0 ? errno
                : S_ISREG(info.st_mode) ? 0
                : S_ISDIR(info.st_mode) ? EISDIR
                                        : ENOTSUP;
    // Reads of a regular file never wait anyway; the flag only kept the open from doing so.
    if (error == 0 && ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::close(fd);
        return -error;
    }
    return fd;
}

int KeepMetadata(int in, int out, struct stat const& from) noexcept {
    try {
        ssize_t size = ::flistxattr(in, nullptr, 0);
        std::vector<char> names(size > 0 ? static_cast<std::size_t>(size) : 0);
        size = names.empty() ? 0 : ::flistxattr(in, names.data(), names.size());
        std::vector<char> value;
        for (ssize_t at = 0; at < size; at += static_cast<ssize_t>(std::strlen(&names[at])) + 1) {
            char const* name = &names[static_cast<std::size_t>(at)];
            ssize_t length = ::fgetxattr(in, name, nullptr, 0);
            value.resize(length > 0 ? static_cast<std::size_t>(length) : 1);
            length = length < 0 ? -1 : ::fgetxattr(in, name, value.data(), value.size());
            // A destination without extended attributes, or a name space this process may not
            // write (security.*, trusted.*), keeps the copy without them.
            if (length >= 0) {
                ::fsetxattr(out, name, value.data(), static_cast<std::size_t>(length), 0);
            }
        }
    } catch (...) {
        // Out of memory for the names: the attributes are the one thing left behind.
    }
    // Only root may give a file away; anyone else keeps the copy as their own. Before the
    // mode, which a change of owner may strip of its set-id bits.
    if (::fchown(out, from.st_uid, from.st_gid) != 0 && errno != EPERM) {
        return errno;
    }
    if (::fchmod(out, from.st_mode & 07777) != 0) {
        return errno;
    }
    struct timespec const times[2] = {from.st_atim, from.st_mtim};
    return ::futimens(out, times) == 0 ? 0 : errno;
}

int CopySymbolicLink(char const* from, char const* to, bool replace) noexcept {
    try {
        struct stat st {};
        if (::lstat(from, &st) != 0) {
            return errno;
        }
        std::string target(static_cast<std::size_t>(st.st_size > 0 ? st.st_size : 255) + 1, '\0');
        ssize_t const length = ::readlink(from, target.data(), target.size());
        if (length < 0) {
            return errno;
        }
        target.resize(static_cast<std::size_t>(length));
        std::string made = to;
        if (replace) {
            made += ".varn-link";
            ::unlink(made.c_str());
        }
        if (::symlink(target.c_str(), made.c_str()) != 0) {
            return errno;
        }
        if (::lchown(made.c_str(), st.st_uid, st.st_gid) != 0 && errno != EPERM) {
            int const error = errno;
            ::unlink(made.c_str());
            return error;
        }
        struct timespec const times[2] = {st.st_atim, st.st_mtim};
        ::utimensat(AT_FDCWD, made.c_str(), times, AT_SYMLINK_NOFOLLOW);
        if (replace && ::rename(made.c_str(), to) != 0) {
            int const error = errno;
            ::unlink(made.c_str());
            return error;
        }
        return 0;
    } catch (...) {
        return ENOMEM;
    }
}

int CopyFileExclusive(char const* from, char const* to) noexcept {
    if (empty(from) || empty(to)) {
        return ENOENT;
    }
    if (IsSymbolicLink(from)) {
        return CopySymbolicLink(from, to, false);
    }
    struct stat st {};
    int in = OpenCopySource(from, st);
    if (in < 0) {
        return -in;
    }
    int out = ::open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, st.st_mode & 07777);
    if (out < 0) {
        int error = errno;
        ::close(in);
        return error;
    }
    int error = CopyFileData(in, out, static_cast<std::uint64_t>(st.st_size), nullptr, nullptr);
    if (error == 0) {
        error = KeepMetadata(in, out, st);
    }
    if (error != 0) {
        RemoveFileIfSame(to, out);
    }
    if (::close(out) != 0 && error == 0) {
        error = errno;
        ::unlink(to); // possibly incomplete; no descriptor is left to compare names with
    }
    ::close(in);
    return error;
}

bool SameFileSystem(char const* from, char const* to) noexcept {
    struct stat a {};
    struct stat b {};
    if (empty(from) || empty(to) || ::lstat(from, &a) != 0) {
        return false;
    }
    if (::stat(to, &b) == 0) {
        return a.st_dev == b.st_dev;
    }
    std::string parent(to);
    std::size_t slash = parent.rfind('/');
    parent = slash == std::string::npos ? "." : slash == 0 ? "/" : parent.substr(0, slash);
    return ::stat(parent.c_str(), &b) == 0 && a.st_dev == b.st_dev;
}

} // namespace varn::platform
