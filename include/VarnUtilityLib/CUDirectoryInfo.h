// CUDirectoryInfo.h — a folder entry: create with ancestors, delete (optionally recursively),
// move to the trash, list.
//
// Listings never follow a symbolic link: a link, even to a folder, is listed as a file and
// deleted as a link, so a recursive delete stays inside the tree. Thrown codes: 1 empty path,
// 2 null pointer, 3 not an existing folder (Delete, Recycle), 4 the system refused (Create,
// Delete, GetObjects on a non-folder, Recycle), and the codes of CUFileInfo::Delete.
#pragma once

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUFileSysytemInfo.h>

/// A folder entry by path: creation with its ancestors, deletion, the trash and listings.
class CU_EXPORT CUDirectoryInfo : public CUFileSysytemInfo {
  public:
    /// An entry for the folder at `path` (which need not exist); an empty path throws 1.
    explicit CUDirectoryInfo(CUStringMac& path);
    /// The same from a shared pointer; an empty pointer throws 2.
    explicit CUDirectoryInfo(CUSharedPtr<CUStringMac> path);
    ~CUDirectoryInfo() override;

    /// Creates the folder and every missing ancestor, outermost first; nothing if it exists.
    /// Throws 4 when a level cannot be made (the levels made stay).
    virtual void Create();
    /// Removes the folder, which must be empty: 3 if it is not an existing folder, 4 if the
    /// system refuses (not empty, no permission).
    virtual void Delete();
    /// With `recursive`: every sub-folder (recursively), then every file, then the folder.
    /// The first error stops and is thrown; what was deleted stays deleted.
    virtual void Delete(bool recursive);
    /// Moves the folder to the freedesktop.org trash, spinning the run loop until done:
    /// 3 if it is not an existing folder, 4 if the trash refuses. A cancellation is success.
    virtual void Recycle();
    /// GetObjects(true).
    virtual CUSharedPtr<CUArray> GetDirectories();
    /// GetObjects(false).
    virtual CUSharedPtr<CUArray> GetFiles();
    /// The immediate sub-folders (CUDirectoryInfo) or non-folders (CUFileInfo) in the order
    /// the system lists them; an empty array for an empty or unreadable folder; 4 when the
    /// path is not a folder.
    virtual CUSharedPtr<CUArray> GetObjects(bool directories);
    /// Deletes each element in order: folders with Delete(true), files with Delete().
    virtual void DeleteSubObjects(CUSharedPtr<CUArray> items, bool areDirectories);

    /// Creates one folder whose parent exists; true also when it already exists, false on
    /// any failure. Never throws.
    static bool CreateDirectory(CUSharedPtr<CUStringMac> path);
};
