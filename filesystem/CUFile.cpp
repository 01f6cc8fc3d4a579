// CUFile.cpp — operations on files by path.
#include <VarnUtilityLib/CUFile.h>

#include "platform/File.h"

bool CUFile::Exists(CUStringMac* path) {
    if (path == nullptr) {
        return false;
    }
    return varn::platform::GetPathKind(*path) == varn::platform::PathKind::File;
}

bool CUFile::Exists(CUSharedPtr<CUStringMac> path) {
    return Exists(path.get());
}
