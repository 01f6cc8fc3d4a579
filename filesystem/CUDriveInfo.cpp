// CUDriveInfo.cpp — a volume's root, label, sizes, state and kind.
#include <VarnUtilityLib/CUDriveInfo.h>

#include "platform/Volume.h"

#include <cstdio>
#include <string>
#include <typeinfo>

namespace {

namespace vp = varn::platform;

CUStringMac makeString(std::string const& text) {
    return CUStringMac(text.c_str(), CUString_CharCode_UTF8);
}

// The name as UTF-8, or empty when it has no text (every query then fails quietly).
std::string utf8(CUStringMac& s) {
    std::string text;
    if (s.GetString(text) != kCUStatusSuccess) {
        text.clear();
    }
    return text;
}

} // namespace

CUDriveInfo::CUDriveInfo(CUStringMac& path) : m_driveType(CUDriveType_Unknown) {
    Init(&path);
}

CUDriveInfo::CUDriveInfo(CUSharedPtr<CUStringMac> path) : m_driveType(CUDriveType_Unknown) {
    Init(path.get());
}

CUDriveInfo::~CUDriveInfo() = default;

CUSharedPtr<CUDriveInfo> CUDriveInfo::CreateCUDriveInfo(CUStringMac& path) {
    try {
        return CUSharedPtr<CUDriveInfo>(new CUDriveInfo(path));
    } catch (...) {
        return CUSharedPtr<CUDriveInfo>();
    }
}

CUSharedPtr<CUDriveInfo> CUDriveInfo::CreateCUDriveInfo(CUSharedPtr<CUStringMac> path) {
    try {
        return CUSharedPtr<CUDriveInfo>(new CUDriveInfo(path));
    } catch (...) {
        return CUSharedPtr<CUDriveInfo>();
    }
}

bool CUDriveInfo::Init(CUStringMac* path) {
    if (path == nullptr) {
        throw static_cast<unsigned int>(CUError_InvalidArgument);
    }
    std::string text = utf8(*path);
    if (!vp::VolumeService::PathExists(text)) {
        CUStringMac parentPath;
        if (CUStatusFailed(path->PathRemoveLastComponent(parentPath))) {
            throw static_cast<unsigned int>(CUError_NotReady);
        }
        if (vp::IsMediaRootFolder(utf8(parentPath))) {
            // A would-be mount point: the name is the path as given, the type stays.
            m_drivePath = *path;
            m_name = *path;
            return true;
        }
        if (!Init(&parentPath)) {
            throw static_cast<unsigned int>(CUError_NotReady);
        }
        return true;
    }

    vp::VolumeService service = vp::CurrentVolumeService();
    std::optional<vp::MountEntry> mount = service.MountFor(text);
    if (!mount) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
    CUStringMac root = makeString(mount->mountPoint);
    if (root.GetCFStringRef() == nullptr) {
        throw static_cast<unsigned int>(CUError_NotReady); // a mount point that is not UTF-8
    }
    m_drivePath = root;
    m_name = root;
    m_driveType = static_cast<int>(service.Classify(*mount));
    return true;
}

CUSharedPtr<CUStringMac> CUDriveInfo::Description() {
    char text[512];
    std::snprintf(text, sizeof text, "%s(0x%p) = ", typeid(*this).name(), static_cast<void*>(this));
    CUStringMac prefix(text, CUString_CharCode_UTF8);
    return CUSharedPtr<CUStringMac>(new CUStringMac(prefix + m_name));
}

CUSharedPtr<CUStringMac> CUDriveInfo::GetName() {
    return CUSharedPtr<CUStringMac>(new CUStringMac(m_name));
}

CUSharedPtr<CUStringMac> CUDriveInfo::GetVolumeLabel() {
    vp::VolumeService service = vp::CurrentVolumeService();
    std::optional<vp::MountEntry> mount = service.MountFor(utf8(m_name));
    if (!mount) {
        return CUSharedPtr<CUStringMac>();
    }
    std::string label = service.LabelOf(*mount);
    CUSharedPtr<CUStringMac> result(new CUStringMac(label.c_str(), CUString_CharCode_UTF8));
    if (result->GetCFStringRef() == nullptr) {
        // Labels are bytes to the kernel; one that is not UTF-8 has no text to give.
        return CUSharedPtr<CUStringMac>();
    }
    return result;
}

CUSharedPtr<CUStringMac> CUDriveInfo::GetDisplayString() {
    return GetVolumeLabel();
}

bool CUDriveInfo::IsReady() {
    std::string name = utf8(m_name);
    return !name.empty() && vp::CurrentVolumeService().IsMountPoint(name);
}

unsigned long long CUDriveInfo::GetTotalSize() {
    vp::VolumeSizes sizes = vp::VolumeService::SizesOf(utf8(m_name));
    return sizes.ok ? sizes.total : 0;
}

unsigned long long CUDriveInfo::GetTotalFreeSize() {
    vp::VolumeSizes sizes = vp::VolumeService::SizesOf(utf8(m_name));
    return sizes.ok ? sizes.free : 0;
}

int CUDriveInfo::GetDriveType() {
    return m_driveType;
}

bool CUDriveInfo::IsSysytemDrive() {
    CUStringMac root("/", CUString_CharCode_UTF8);
    return m_name == root;
}
