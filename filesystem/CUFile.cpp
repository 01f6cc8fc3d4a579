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
    // A named pipe, socket or device counts as a file here, as listings show it; streams and
    // copies refuse it.
    varn::platform::PathKind const kind = varn::platform::GetPathKind(bytes.c_str());
    return kind == varn::platform::PathKind::File || kind == varn::platform::PathKind::Special;
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
