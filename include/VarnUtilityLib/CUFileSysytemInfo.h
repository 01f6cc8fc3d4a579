// CUFileSysytemInfo.h — the base of every file-system entry: a full path that can be renamed.
//
// The entry holds its path by value and no system resource. Errors are thrown as unsigned
// codes (_CUErrorContents): 1 empty path or name, 2 null pointer, 4 the rename failed.
#pragma once

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUStringMac.h>

/// The base of file and folder entries: a full path, its description and renaming.
class CU_EXPORT CUFileSysytemInfo : public CUObject {
  public:
    /// Copies `path`; an empty path throws 1.
    explicit CUFileSysytemInfo(CUStringMac& path);
    /// An empty pointer throws 2, an empty path 1.
    explicit CUFileSysytemInfo(CUSharedPtr<CUStringMac> path);
    ~CUFileSysytemInfo() override;

    /// The object description followed directly by the full path.
    CUSharedPtr<CUStringMac> Description() override;
    using CUObject::operator=;

    /// A new string holding a copy of the full path.
    virtual CUSharedPtr<CUStringMac> GetFullName();

    /// Renames the entry within its folder; the full path becomes parent + "/" + newName.
    /// Throws 2 for an empty pointer, 1 for an empty name, 4 when the entry is missing or the
    /// system refuses (the new name taken included). A name that cannot become a file name
    /// (over 255 UTF-16 units), or a path without a parent, leaves everything as it was without
    /// an error. A '/' in the name is stored as ':' in the file name: never a move.
    virtual void Rename(CUSharedPtr<CUStringMac> newName);

  protected:
    /// The full path of the entry, as given or as renamed.
    CUStringMac m_fullName;
};
