// DriveCommand.cpp — prints what CUDriveInfo reports for a path, or for every mounted volume.
//
// The library answers every question; the mount table (for --all) and the device facts shown
// beside the answers come from the volume service of the platform layer, compiled into the
// tool because the shared library keeps that layer's symbols hidden.
#include "DriveCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/CUDriveInfo.h>

#include "platform/Volume.h"

#include <cstdio>
#include <string>
#include <vector>

namespace varnutil {
namespace {

namespace vp = varn::platform;

std::string g_path;
bool g_all = false;

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return TextOf(s, "(empty pointer)", "(null text)");
}

char const* typeName(int type) {
    switch (type) {
    case CUDriveType_Optical:
        return "optical";
    case CUDriveType_Fixed:
        return "fixed";
    case CUDriveType_NoDevice:
        return "no device";
    case CUDriveType_Ram:
        return "RAM";
    case CUDriveType_Removable:
        return "removable";
    case CUDriveType_Unknown:
        return "unknown";
    default:
        return "?";
    }
}

std::string bytes(unsigned long long n) {
    char line[64];
    double value = static_cast<double>(n);
    char const* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
    int unit = 0;
    while (value >= 1024.0 && unit < 5) {
        value /= 1024.0;
        ++unit;
    }
    std::snprintf(line, sizeof line, "%llu (%.1f %s)", n, value, units[unit]);
    return line;
}

void row(std::ostream& out, char const* label, std::string const& value) {
    char head[32];
    std::snprintf(head, sizeof head, "%-16s", label);
    out << head << value << '\n';
}

std::string join(std::vector<std::string> const& parts, char const* separator) {
    std::string out;
    for (std::string const& p : parts) {
        out += (out.empty() ? "" : separator) + p;
    }
    return out;
}

int showOne(std::ostream& out, std::ostream& err) {
    // The volume of a path that does not exist would be the volume of its nearest existing
    // parent, which answers a question nobody asked.
    if (std::string missing = PathReason(g_path, ' '); !missing.empty()) {
        ReportProblem(err, "drive", g_path, missing);
        return kExitFailed;
    }
    CUStringMac path(g_path.c_str(), CUString_CharCode_UTF8);
    CUSharedPtr<CUDriveInfo> drive;
    ClearSystemReason();
    try {
        drive = CUSharedPtr<CUDriveInfo>(new CUDriveInfo(path));
    } catch (unsigned int code) {
        std::string reason = SystemReason();
        ReportError(err, "drive", g_path, code,
                    "cannot be resolved to a volume" + (reason.empty() ? "" : ": " + reason));
        return kExitFailed;
    }
    row(out, "Path", g_path);
    row(out, "Name", text(drive->GetName()));
    row(out, "Volume label", text(drive->GetVolumeLabel()));
    row(out, "Display string", text(drive->GetDisplayString()));
    row(out, "Ready", drive->IsReady() ? "yes" : "no");
    row(out, "Total size", bytes(drive->GetTotalSize()));
    row(out, "Free size", bytes(drive->GetTotalFreeSize()));
    row(out, "Drive type",
        std::to_string(drive->GetDriveType()) + " (" + typeName(drive->GetDriveType()) + ")");
    row(out, "System drive", drive->IsSysytemDrive() ? "yes" : "no");
    row(out, "Description", text(drive->Description()));

    vp::VolumeService service;
    std::optional<vp::MountEntry> mount = service.MountFor(text(drive->GetName()));
    if (!mount) {
        row(out, "Mount", "(not mounted)");
        return 0;
    }
    row(out, "Mount",
        mount->source + " " + mount->fsType + " (" + std::to_string(mount->major) + ":" +
            std::to_string(mount->minor) + ")");
    std::optional<vp::BlockDeviceFacts> device = service.DeviceOf(*mount);
    if (!device) {
        row(out, "Device", "(none)");
        return 0;
    }
    row(out, "Device chain", join(device->chain, " -> "));
    if (device->inSysfs) {
        std::vector<std::string> facts;
        if (!device->deviceType.empty()) {
            facts.push_back("device type " + device->deviceType);
        }
        if (device->mediaRemovable) {
            facts.push_back("removable media");
        }
        if (device->deviceRemovable) {
            facts.push_back("removable port");
        }
        if (device->onUsb) {
            facts.push_back("USB");
        }
        if (device->udevCdrom) {
            facts.push_back("udev CD-ROM");
        }
        if (device->loop) {
            facts.push_back("image " + device->loopBackingFile);
        }
        row(out, "Device facts", facts.empty() ? "(none)" : join(facts, ", "));
        row(out, "Sysfs", device->sysfsPath);
    } else {
        row(out, "Device facts", "(not in sysfs)");
    }
    return 0;
}

int showAll(std::ostream& out) {
    std::vector<vp::MountEntry> mounts = vp::VolumeService().MountedVolumes();
    char line[512];
    std::snprintf(line, sizeof line, "%-12s %14s %14s %-10s %-24s %-16s %s", "TYPE", "1K-BLOCKS",
                  "AVAILABLE", "FSTYPE", "SOURCE", "LABEL", "MOUNTED ON");
    out << line << '\n';
    for (vp::MountEntry const& m : mounts) {
        CUStringMac point(m.mountPoint.c_str(), CUString_CharCode_UTF8);
        CUSharedPtr<CUDriveInfo> drive = CUDriveInfo::CreateCUDriveInfo(point);
        std::string type = "-";
        std::string total = "-";
        std::string avail = "-";
        std::string label = "-";
        std::string name = m.mountPoint;
        if (drive) {
            type = std::to_string(drive->GetDriveType()) + " " + typeName(drive->GetDriveType());
            total = std::to_string(drive->GetTotalSize() / 1024);
            avail = std::to_string(drive->GetTotalFreeSize() / 1024);
            label = text(drive->GetVolumeLabel());
            name = text(drive->GetName());
        }
        std::string shown = m.mountPoint;
        if (name != m.mountPoint) {
            shown += "  (resolves to " + name + ")"; // unreadable or hidden mount point
        }
        std::snprintf(line, sizeof line, "%-12s %14s %14s %-10s %-24s %-16s %s", type.c_str(),
                      total.c_str(), avail.c_str(), m.fsType.c_str(), m.source.c_str(),
                      label.c_str(), shown.c_str());
        out << line << '\n';
    }
    return 0;
}

} // namespace

CLI::App* AddDriveCommand(CLI::App& app) {
    CLI::App* drive =
        app.add_subcommand("drive", "Show the volume holding a path, or every mounted volume");
    drive->add_option("PATH", g_path, "A path; the volume holding it is shown");
    drive->add_flag("--all", g_all, "List every mounted volume");
    drive->require_option(1);
    return drive;
}

int RunDriveCommand(std::ostream& out, std::ostream& err) {
    return g_all ? showAll(out) : showOne(out, err);
}

} // namespace varnutil
