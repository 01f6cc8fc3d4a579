// SysinfoCommand.cpp — the library's view of the machine: version, processors, date, time
// zone and locale, and the volumes that hold files (fixed, removable, optical and RAM drives).
#include "SysinfoCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include "platform/Volume.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace varnutil {
namespace {

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return TextOf(s, "(none)");
}

void row(std::ostream& out, char const* label, std::string const& value) {
    char head[32];
    std::snprintf(head, sizeof head, "%-18s", label);
    out << head << value << '\n';
}

std::string env(char const* name) {
    char const* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : "(unset)";
}

std::string gibibytes(unsigned long long n) {
    char line[32];
    std::snprintf(line, sizeof line, "%.1f GiB", static_cast<double>(n) / (1024.0 * 1024 * 1024));
    return line;
}

char const* kindName(int type) {
    switch (type) {
    case CUDriveType_Fixed:
        return "fixed";
    case CUDriveType_Removable:
        return "removable";
    case CUDriveType_Optical:
        return "optical";
    case CUDriveType_Ram:
        return "RAM";
    default:
        return nullptr; // pseudo file systems and unknown kinds are not listed
    }
}

} // namespace

CLI::App* AddSysinfoCommand(CLI::App& app) {
    return app.add_subcommand("sysinfo",
                              "Show what the library knows of this machine: version, processors, "
                              "date and locale, drives");
}

int RunSysinfoCommand(std::ostream& out, std::ostream& err) {
    out << Paint(out, Style::Heading, "VarnUtilityLib") << '\n';
    row(out, "Version", VARN_UTILITY_LIB_VERSION_STRING);
    row(out, "Processors", std::to_string(CUEnvironment::ProcessorCount()));

    out << '\n' << Paint(out, Style::Heading, "Date and locale") << '\n';
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    if (!now) {
        ReportFailure(err, "sysinfo", "the current time cannot be had");
        return kExitFailed;
    }
    row(out, "Local time", text(now->GetString(true, 4, 4)));
    row(out, "GMT", text(now->GetString(false, 2, 2)));
    row(out, "TZ", env("TZ"));
    row(out, "LANG", env("LANG"));
    row(out, "LC_ALL", env("LC_ALL"));

    out << '\n' << Paint(out, Style::Heading, "Drives") << '\n';
    char line[512];
    std::snprintf(line, sizeof line, "%-10s %12s %12s  %-16s %s", "KIND", "SIZE", "FREE", "LABEL",
                  "MOUNTED ON");
    out << line << '\n';
    int shown = 0;
    std::set<std::string> seen; // a folder mounted twice is listed once
    for (varn::platform::MountEntry const& m : varn::platform::VolumeService().MountedVolumes()) {
        if (!seen.insert(m.mountPoint).second) {
            continue;
        }
        CUStringMac point(m.mountPoint.c_str(), CUString_CharCode_UTF8);
        CUSharedPtr<CUDriveInfo> drive = CUDriveInfo::CreateCUDriveInfo(point);
        if (!drive) {
            continue;
        }
        char const* kind = kindName(drive->GetDriveType());
        if (kind == nullptr || text(drive->GetName()) != m.mountPoint) {
            continue;
        }
        std::string label = text(drive->GetVolumeLabel());
        std::snprintf(line, sizeof line, "%-10s %12s %12s  %-16s %s", kind,
                      gibibytes(drive->GetTotalSize()).c_str(),
                      gibibytes(drive->GetTotalFreeSize()).c_str(),
                      label.empty() ? "-" : label.c_str(), m.mountPoint.c_str());
        out << line << (drive->IsSysytemDrive() ? "  (system)" : "") << '\n';
        ++shown;
    }
    if (shown == 0) {
        out << "(no drives with files found)\n";
    }
    return kExitOk;
}

} // namespace varnutil
