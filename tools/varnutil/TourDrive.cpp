// TourDrive.cpp — the tour's drive section: the volume holding "/".
#include "Errors.h"
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <string>

namespace varnutil {
namespace {

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return QuotedTextOf(s, "(none)");
}

void drives(std::ostream& out) {
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUSharedPtr<CUDriveInfo> drive = CUDriveInfo::CreateCUDriveInfo(root);
    if (!drive) {
        Show(out, "CUDriveInfo of \"/\"", "could not be resolved");
        return;
    }
    Show(out, "GetName() of \"/\"", text(drive->GetName()).c_str());
    Show(out, "GetVolumeLabel()", text(drive->GetVolumeLabel()).c_str());
    Show(out, "IsReady()", drive->IsReady() ? "true" : "false");
    Show(out, "IsSysytemDrive()", drive->IsSysytemDrive() ? "true" : "false");
    Show(out, "GetTotalSize() in bytes", std::to_string(drive->GetTotalSize()).c_str());
    Show(out, "GetTotalFreeSize() in bytes", std::to_string(drive->GetTotalFreeSize()).c_str());
    static char const* const names[] = {"optical", "fixed",     "no device", "(never)",
                                        "RAM",     "removable", "unknown"};
    int type = drive->GetDriveType();
    std::string typeText = std::to_string(type);
    if (type >= 0 && type <= 6) {
        typeText += std::string(" (") + names[type] + ")";
    }
    Show(out, "GetDriveType()", typeText.c_str());
    Show(out, "Description()", text(drive->Description()).c_str());

    // A missing path below a media root names a volume that is not mounted.
    CUStringMac absent("/media/nobody/UNPLUGGED/DCIM", CUString_CharCode_UTF8);
    Show(out, "unplugged", "/media/nobody/UNPLUGGED/DCIM");
    CUSharedPtr<CUDriveInfo> unplugged = CUDriveInfo::CreateCUDriveInfo(absent);
    if (unplugged) {
        Show(out, "unplugged: GetName()", text(unplugged->GetName()).c_str());
        Show(out, "unplugged: type, IsReady()",
             (std::to_string(unplugged->GetDriveType()) +
              (unplugged->IsReady() ? ", true" : ", false"))
                 .c_str());
    }
    CUStringMac bare("no-such-relative-name", CUString_CharCode_UTF8);
    Show(out, "Create...(\"no-such-relative-name\")",
         CUDriveInfo::CreateCUDriveInfo(bare) ? "non-null" : "empty pointer (error 1 caught)");
}

TourSection driveSection(90, "Drives", drives);

} // namespace
} // namespace varnutil
