// CUFileInfo.h — a file entry: existence, size, deletion, copies and moves with progress.
//
// Copies and moves with progress run asynchronously while the calling thread spins its run
// loop (see docs/files.md); the progress callback runs on the calling thread. Thrown codes:
// 1 empty path, 2 null pointer, 4 destination exists without overwrite, 7 Delete on a folder,
// 8 deletion failed, 9 source missing or unreadable. Copy and move statuses are returned:
// 0 done or cancelled, 0x10001 bad argument, 0x10002 could not be scheduled, 0x10003 copy
// failed, 0x10004 move failed.
#pragma once

#include <VarnUtilityLib/CUFileSysytemInfo.h>

class CUFileInfo;

/// The caller's progress record, kept alive by the caller for the whole operation.
struct _CopyProgress_Info {
    /// Called with (total bytes, bytes completed, user data); false cancels. May be null.
    bool (*callback)(unsigned long long total, unsigned long long completed, void* userData);
    /// Handed to the callback as it is.
    void* userData;
    /// Written by the library at the start of each copy or move.
    CUFileInfo* owner;
};

struct __FSFileOperation;
struct __CFDictionary;

/// A file entry by path: size, deletion, and copies and moves with progress.
class CU_EXPORT CUFileInfo : public CUFileSysytemInfo {
  public:
    /// An entry for the file at `path` (which need not exist); an empty path throws 1.
    explicit CUFileInfo(CUStringMac& path);
    /// The same from a shared pointer; an empty pointer throws 2.
    explicit CUFileInfo(CUSharedPtr<CUStringMac> path);
    ~CUFileInfo() override;

    /// Removes the file (a symbolic link is removed itself). A missing file is no error;
    /// a folder throws 7; a refused deletion throws 8.
    virtual void Delete();
    /// Checks (see z_CopyMoveWithProgressErrorCheack, which throws), then copies to `dest`
    /// (folder and name) reporting progress about every 0.1 s.
    virtual unsigned int CopyWithProgress(CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                          bool overwrite);
    /// The same for a move: a rename on one file system, copy then delete across.
    virtual unsigned int MoveWithProgress(CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                          bool overwrite);
    /// The size in bytes of the file's data; 0 for a missing file or a folder.
    virtual unsigned long long Length();
    /// CUFile::Exists on the full path.
    virtual bool Exists();
    /// A plain synchronous copy that never replaces `dest`: 0, 0x10001 (no dest or no source
    /// file) or 0x10003.
    virtual unsigned int CopyFile(CUSharedPtr<CUStringMac> dest);
    /// The copy or move itself, after the checks: see the status codes above.
    virtual unsigned int z_CopyMoveWithProgress(CUSharedPtr<CUStringMac> dest,
                                                _CopyProgress_Info* info, bool overwrite,
                                                bool isCopy);
    /// Throws 2 (null info or dest), 1 (empty source or dest path), 9 (source cannot be read),
    /// 4 (dest exists and not overwrite).
    virtual void z_CopyMoveWithProgressErrorCheack(CUSharedPtr<CUStringMac> dest,
                                                   _CopyProgress_Info* info, bool overwrite,
                                                   bool isCopy);
    /// Checks up to `tries` times, 100 ms apart, whether `path` is gone as a file; false at
    /// once for 0 tries, and false on any error.
    virtual bool z_WaitFileNotExist(CUSharedPtr<CUStringMac> path, unsigned int tries);

    /// The progress routine the asynchronous operation calls on the waiting thread. `info` is
    /// the _CopyProgress_Info; `status` is the platform's report (null: none).
    static void CopyProgressRoutineMac(__FSFileOperation* operation, char const* item,
                                       unsigned int stage, int error, __CFDictionary const* status,
                                       void* info);

  private:
    bool m_cancelled;
    bool m_finished;
    bool m_failed;
};
