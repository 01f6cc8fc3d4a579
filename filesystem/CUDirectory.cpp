// CUDirectory.cpp — operations on folders by path.
#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUDirectory.h>

#include "platform/File.h"

#include <string>

bool CUDirectory::Exists(CUStringMac* path) {
    std::string bytes;
    if (!varn::PathBytes(path, bytes)) {
        return false;
    }
    return varn::platform::GetPathKind(bytes.c_str()) == varn::platform::PathKind::Directory;
}

bool CUDirectory::Exists(CUSharedPtr<CUStringMac> path) {
    return Exists(path.get());
}
