// FileSystem.h — folders and whole files by path: kinds without following links, creation,
// deletion, renaming, listing, sizes and a plain exclusive copy.
//
// Paths are UTF-8 text. Results are values: 0 or a positive errno value, never exceptions.
// Symbolic links are never followed out of the folder they sit in: listings report a link as a
// non-folder entry and deletion removes the link itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct stat;

namespace varn::platform {

/// True when `path` names an entry of any kind, a dangling link included (lstat).
bool EntryExists(char const* path) noexcept;

/// True when `path` is a link itself (lstat), whatever it points at.
bool IsSymbolicLink(char const* path) noexcept;

/// True when `path` names a real folder, not a link to one (lstat).
bool IsRealDirectory(char const* path) noexcept;

/// The size of the regular file `path` names (links followed); 0 for anything else and on
/// failure.
std::uint64_t RegularFileSize(char const* path) noexcept;

/// A date of the file `path` names (links followed), in whole seconds since 1970-01-01 GMT
/// (truncated toward zero): its birth time when `creation` and the file system records one
/// (statx), else its content-modification time. False when the file or that date is unknown.
bool GetFileTime(char const* path, bool creation, long long* seconds) noexcept;

/// mkdir(path, 0777); 0 or errno.
int MakeDirectory(char const* path) noexcept;

/// rmdir(path); 0 or errno.
int RemoveDirectory(char const* path) noexcept;

/// Removes everything inside the folder `path`, which stays (empty). Works on the names' bytes
/// as the folder gives them, whatever their encoding, and descends through descriptors opened
/// with O_NOFOLLOW: a folder swapped for a link while this runs is never followed (the link
/// itself is removed), and neither is `path` itself when it is a link (ELOOP). 0, or the first
/// errno met, with `fileFailed` telling whether that was the removal of an entry that is not a
/// folder; the removal goes on past an entry that cannot be removed.
int RemoveFolderContents(char const* path, bool& fileFailed) noexcept;

/// unlink(path): removes a file or a link (never what the link points at); 0 or errno.
int RemoveFile(char const* path) noexcept;

/// Renames `from` to `to` without replacing an existing `to`; 0 or errno (EEXIST when taken).
int RenameNoReplace(char const* from, char const* to) noexcept;

/// One entry of a folder listing.
struct DirectoryEntry {
    std::string name; ///< the name within the folder (bytes as stored)
    bool isDirectory; ///< a real folder; links, even to folders, are not
};

/// The immediate children of `folder` in the order the system yields them ("." and ".."
/// left out) into *entries. 0, or the errno value of opening the folder; entries that vanish
/// or cannot be examined while listing are left out.
int ListDirectory(char const* folder, std::vector<DirectoryEntry>* entries) noexcept;

/// Called after each chunk with the bytes copied so far; false stops the copy.
using CopyChunkHook = bool (*)(std::uint64_t done, void* context);

/// Copies `size` bytes from the start of open file `in` to open empty file `out`: a reflink
/// when the file system shares blocks, else copy_file_range in chunks, else read/write.
/// 0, ECANCELED when the hook stopped it, ENODATA when the source ended before `size` bytes
/// (it shrank under the copy), ENOENT when `out` lost its last name while being written, or
/// the errno value of the failing call.
int CopyFileData(int in, int out, std::uint64_t size, CopyChunkHook hook, void* context) noexcept;

/// Removes `path` when it still names the open file `fd` (call before closing it), so that
/// cleaning up after a failed copy never removes a file that took the name since. 0, ESTALE
/// when the name now belongs to another file, or errno.
int RemoveFileIfSame(char const* path, int fd) noexcept;

/// Opens the source of a copy for reading and fills `info`: a descriptor, or minus errno. Only
/// a regular file is a source: a folder gives -EISDIR, a named pipe, socket or device
/// -ENOTSUP. The open never waits (a named pipe without a writer would block it for ever).
int OpenCopySource(char const* path, struct stat& info) noexcept;

/// Gives the file `out`, just written as a copy of `in` (whose status is `from`), what the copy
/// keeps besides the bytes: the extended attributes the destination takes (others are
/// skipped), the owner and group where permitted (as root), the permission bits, and last the
/// access and modification times. 0, or the errno of a failed mode or time change.
int KeepMetadata(int in, int out, struct stat const& from) noexcept;

/// Makes the new symbolic link `to` with the target of the link `from`, its owner where
/// permitted and its times (the link itself is copied, never what it points to). `replace`
/// puts it in place of an existing `to` in one rename. 0 or errno.
int CopySymbolicLink(char const* from, char const* to, bool replace) noexcept;

/// Copies the file `from` to the new file `to` (fails with EEXIST when `to` exists), with its
/// metadata (KeepMetadata); a symbolic link is copied as a link. Uses a reflink when the file
/// system can share the blocks, else copy_file_range, else read/write. A failed copy removes what
/// it created. 0 or errno.
int CopyFileExclusive(char const* from, char const* to) noexcept;

/// True when both paths lie on the same file system (the parent of `to` is examined when `to`
/// does not exist).
bool SameFileSystem(char const* from, char const* to) noexcept;

} // namespace varn::platform
