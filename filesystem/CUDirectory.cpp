// CUDirectory.cpp — operations on folders by path.
#include <VarnUtilityLib/CUDirectory.h>

#include "platform/File.h"

bool CUDirectory::Exists(CUStringMac* path) {
    if (path == nullptr) {
        return false;
    }
    return varn::platform::GetPathKind(*path) == varn::platform::PathKind::Directory;
}

bool CUDirectory::Exists(CUSharedPtr<CUStringMac> path) {
    return Exists(path.get());
}
