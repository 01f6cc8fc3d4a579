// CUFile.h — operations on files by path.
//
// All members are static; a CUFile holds nothing. Paths are absolute or relative to the
// working directory; symbolic links are followed. Nothing here throws.
#pragma once

#include <VarnUtilityLib/CUObject.h>

class CU_EXPORT CUFile : public CUObject {
  public:
    /// True only when `path` names an existing object that is not a folder. False for a null
    /// path, an empty shared pointer, a missing object, a dangling link or a path that cannot
    /// be resolved, and for a text without an exact UTF-8 form (an unpaired surrogate or U+0000).
    static bool Exists(CUStringMac* path);
    static bool Exists(CUSharedPtr<CUStringMac> path);
};
