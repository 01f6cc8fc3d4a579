// CUFile.h — operations on files by path.
//
// All members are static; a CUFile holds nothing. Paths are absolute or relative to the
// working directory. Exists never throws; the others make a temporary CUFileInfo on the path
// (so a null path throws 2 and an empty one 1) and throw or return what it does.
#pragma once

#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUObject.h>

/// Operations on files by path.
class CU_EXPORT CUFile : public CUObject {
  public:
    /// True only when `path` names an existing object that is not a folder. False for a null
    /// path, an empty shared pointer, a missing object, a dangling link or a path that cannot
    /// be resolved, and for a text without an exact UTF-8 form (an unpaired surrogate or U+0000).
    static bool Exists(CUStringMac* path);
    /// \overload
    static bool Exists(CUSharedPtr<CUStringMac> path);

    /// CUFileInfo::Delete on the path.
    static void Delete(CUStringMac& path);
    /// \overload
    static void Delete(CUSharedPtr<CUStringMac> path);
    /// CUFileSysytemInfo::Rename on the path.
    static void Rename(CUSharedPtr<CUStringMac> path, CUSharedPtr<CUStringMac> newName);
    /// CUFileInfo::CopyFile: 0, 0x10001 or 0x10003.
    static unsigned int Copy(CUSharedPtr<CUStringMac> source, CUSharedPtr<CUStringMac> dest);
    /// CUFileInfo::CopyWithProgress.
    static unsigned int CopyWithProgress(CUSharedPtr<CUStringMac> source,
                                         CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                         bool overwrite);
    /// CUFileInfo::MoveWithProgress.
    static unsigned int MoveWithProgress(CUSharedPtr<CUStringMac> source,
                                         CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                         bool overwrite);
};
