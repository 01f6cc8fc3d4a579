// CUFile.cpp — operations on files by path.
#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUFile.h>

#include "platform/File.h"

#include <string>

bool CUFile::Exists(CUStringMac* path) {
    std::string bytes;
    if (!varn::PathBytes(path, bytes)) {
        return false;
    }
    return varn::platform::GetPathKind(bytes.c_str()) == varn::platform::PathKind::File;
}

bool CUFile::Exists(CUSharedPtr<CUStringMac> path) {
    return Exists(path.get());
}
