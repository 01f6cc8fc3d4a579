// CUDirectory.h — operations on folders by path.
//
// All members are static; a CUDirectory holds nothing. Paths are absolute or relative to the
// working directory; symbolic links are followed. Nothing here throws.
#pragma once

#include <VarnUtilityLib/CUObject.h>

/// Operations on folders by path.
class CU_EXPORT CUDirectory : public CUObject {
  public:
    /// True only when `path` names an existing folder. False for a null path, an empty shared
    /// pointer, a missing object, a file or a path that cannot be resolved.
    static bool Exists(CUStringMac* path);
    /// \overload
    static bool Exists(CUSharedPtr<CUStringMac> path);
};
