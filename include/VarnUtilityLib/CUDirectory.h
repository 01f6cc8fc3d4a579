// CUDirectory.h — operations on folders by path.
//
// All members are static; a CUDirectory holds nothing. Paths are absolute or relative to the
// working directory. Exists never throws; the others make a temporary CUDirectoryInfo on the
// path (so a null path throws 2 and an empty one 1) and throw or return what it does.
#pragma once

#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUObject.h>

/// Operations on folders by path.
class CU_EXPORT CUDirectory : public CUObject {
  public:
    /// True only when `path` names an existing folder. False for a null path, an empty shared
    /// pointer, a missing object, a file, a path that cannot be resolved and a text without an
    /// exact UTF-8 form (an unpaired surrogate or U+0000).
    static bool Exists(CUStringMac* path);
    /// \overload
    static bool Exists(CUSharedPtr<CUStringMac> path);

    /// CUDirectoryInfo::Create on the path; returns the entry.
    static CUSharedPtr<CUDirectoryInfo> CreateDirectory(CUSharedPtr<CUStringMac> path);
    /// \overload
    static CUSharedPtr<CUDirectoryInfo> CreateDirectory(CUStringMac* path);
    /// CUDirectoryInfo::Delete() on the path.
    static void Delete(CUSharedPtr<CUStringMac> path);
    /// \overload
    static void Delete(CUStringMac* path);
    /// CUDirectoryInfo::Delete(recursive) on the path.
    static void Delete(CUSharedPtr<CUStringMac> path, bool recursive);
    /// \overload
    static void Delete(CUStringMac* path, bool recursive);
    /// CUDirectoryInfo::Recycle on the path.
    static void Recycle(CUSharedPtr<CUStringMac> path);
    /// CUFileSysytemInfo::Rename on the path.
    static void Rename(CUSharedPtr<CUStringMac> path, CUSharedPtr<CUStringMac> newName);
    /// CUDirectoryInfo::GetDirectories on the path.
    static CUSharedPtr<CUArray> GetDirectories(CUSharedPtr<CUStringMac> path);
    /// \overload
    static CUSharedPtr<CUArray> GetDirectories(CUStringMac* path);
    /// CUDirectoryInfo::GetFiles on the path.
    static CUSharedPtr<CUArray> GetFiles(CUSharedPtr<CUStringMac> path);
    /// \overload
    static CUSharedPtr<CUArray> GetFiles(CUStringMac* path);
};
