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

void CUFile::Delete(CUStringMac& path) {
    CUFileInfo(path).Delete();
}

void CUFile::Delete(CUSharedPtr<CUStringMac> path) {
    CUFileInfo(path).Delete();
}

void CUFile::Rename(CUSharedPtr<CUStringMac> path, CUSharedPtr<CUStringMac> newName) {
    CUFileInfo(path).Rename(newName);
}

unsigned int CUFile::Copy(CUSharedPtr<CUStringMac> source, CUSharedPtr<CUStringMac> dest) {
    return CUFileInfo(source).CopyFile(dest);
}

unsigned int CUFile::CopyWithProgress(CUSharedPtr<CUStringMac> source,
                                      CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                      bool overwrite) {
    return CUFileInfo(source).CopyWithProgress(dest, info, overwrite);
}

unsigned int CUFile::MoveWithProgress(CUSharedPtr<CUStringMac> source,
                                      CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                      bool overwrite) {
    return CUFileInfo(source).MoveWithProgress(dest, info, overwrite);
}
