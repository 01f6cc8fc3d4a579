// CUDirectory.cpp — operations on folders by path.
#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUError.h>

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

// The entry goes through a shared pointer: it is what CreateDirectory hands back.
namespace {

CUSharedPtr<CUDirectoryInfo> entryOn(CUSharedPtr<CUStringMac> path) {
    return CUSharedPtr<CUDirectoryInfo>(new CUDirectoryInfo(path));
}

CUSharedPtr<CUStringMac> shared(CUStringMac* path) {
    if (path == nullptr) {
        throw static_cast<unsigned int>(CUError_InvalidArgument);
    }
    return CUSharedPtr<CUStringMac>(new CUStringMac(*path));
}

} // namespace

CUSharedPtr<CUDirectoryInfo> CUDirectory::CreateDirectory(CUSharedPtr<CUStringMac> path) {
    CUSharedPtr<CUDirectoryInfo> entry = entryOn(path);
    entry->Create();
    return entry;
}

CUSharedPtr<CUDirectoryInfo> CUDirectory::CreateDirectory(CUStringMac* path) {
    return CreateDirectory(shared(path));
}

void CUDirectory::Delete(CUSharedPtr<CUStringMac> path) {
    entryOn(path)->Delete();
}

void CUDirectory::Delete(CUStringMac* path) {
    Delete(shared(path));
}

void CUDirectory::Delete(CUSharedPtr<CUStringMac> path, bool recursive) {
    entryOn(path)->Delete(recursive);
}

void CUDirectory::Delete(CUStringMac* path, bool recursive) {
    Delete(shared(path), recursive);
}

void CUDirectory::Recycle(CUSharedPtr<CUStringMac> path) {
    entryOn(path)->Recycle();
}

void CUDirectory::Rename(CUSharedPtr<CUStringMac> path, CUSharedPtr<CUStringMac> newName) {
    entryOn(path)->Rename(newName);
}

CUSharedPtr<CUArray> CUDirectory::GetDirectories(CUSharedPtr<CUStringMac> path) {
    return entryOn(path)->GetDirectories();
}

CUSharedPtr<CUArray> CUDirectory::GetDirectories(CUStringMac* path) {
    return GetDirectories(shared(path));
}

CUSharedPtr<CUArray> CUDirectory::GetFiles(CUSharedPtr<CUStringMac> path) {
    return entryOn(path)->GetFiles();
}

CUSharedPtr<CUArray> CUDirectory::GetFiles(CUStringMac* path) {
    return GetFiles(shared(path));
}
