// CUFileSysytemInfo.cpp — the path of an entry and renaming it in place.
#include "filesystem/FileNames.h"

#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUFileSysytemInfo.h>

#include "platform/FileSystem.h"

#include <string>

namespace {

CUStringMac const& checkedPath(CUStringMac const& path) {
    if (const_cast<CUStringMac&>(path).Length() == 0) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
    return path;
}

CUStringMac const& checkedPath(CUSharedPtr<CUStringMac> const& path) {
    if (!path) {
        throw static_cast<unsigned int>(CUError_InvalidArgument);
    }
    return checkedPath(*path);
}

} // namespace

CUFileSysytemInfo::CUFileSysytemInfo(CUStringMac& path) : m_fullName(checkedPath(path)) {}

CUFileSysytemInfo::CUFileSysytemInfo(CUSharedPtr<CUStringMac> path)
    : m_fullName(checkedPath(path)) {}

CUFileSysytemInfo::~CUFileSysytemInfo() = default;

CUSharedPtr<CUStringMac> CUFileSysytemInfo::Description() {
    CUSharedPtr<CUStringMac> base = CUObject::Description();
    return CUSharedPtr<CUStringMac>(new CUStringMac(*base + m_fullName));
}

CUSharedPtr<CUStringMac> CUFileSysytemInfo::GetFullName() {
    return CUSharedPtr<CUStringMac>(new CUStringMac(m_fullName));
}

void CUFileSysytemInfo::Rename(CUSharedPtr<CUStringMac> newName) {
    if (!newName) {
        throw static_cast<unsigned int>(CUError_InvalidArgument);
    }
    if (newName->Length() == 0) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
    CUStringMac parent;
    CUStringMac newPath;
    if (m_fullName.PathRemoveLastComponent(parent) != kCUStatusSuccess ||
        parent.PathAppend(*newName, newPath) != kCUStatusSuccess) {
        return;
    }
    std::string current = cu_files::Utf8(m_fullName);
    if (!varn::platform::EntryExists(current.c_str())) {
        throw static_cast<unsigned int>(CUError_PlatformFailure);
    }
    // "." and ".." name the folder itself and its parent: no entry can take them. Refused
    // loudly, unlike a name too long to store, which leaves the entry as it is.
    std::string const asGiven = cu_files::Utf8(*newName);
    if (asGiven == "." || asGiven == "..") {
        throw static_cast<unsigned int>(CUError_PlatformFailure);
    }
    std::string fileName;
    if (!cu_files::PosixFileName(newName, fileName)) {
        return;
    }
    std::string target = cu_files::Utf8(parent);
    target += target.empty() || target.back() != '/' ? "/" : "";
    target += fileName;
    if (varn::platform::RenameNoReplace(current.c_str(), target.c_str()) != 0) {
        throw static_cast<unsigned int>(CUError_PlatformFailure);
    }
    m_fullName = newPath;
}
