// CUDirectory.h — operations on folders by path.
//
// All members are static; a CUDirectory holds nothing. Paths are absolute or relative to the
// working directory; symbolic links are followed. Nothing here throws.
#pragma once

#include <VarnUtilityLib/CUObject.h>

class CU_EXPORT CUDirectory : public CUObject {
  public:
    /// True only when `path` names an existing folder. False for a null path, an empty shared
    /// pointer, a missing object, a file, a path that cannot be resolved and a text without an
    /// exact UTF-8 form (an unpaired surrogate or U+0000).
    static bool Exists(CUStringMac* path);
    static bool Exists(CUSharedPtr<CUStringMac> path);
};
