// SystemReport.cpp — the machine report behind the log's system information.
#include "platform/SystemReport.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <spawn.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

extern char** environ;

#ifndef VARN_SYSTEM_REPORT_HELPER
#define VARN_SYSTEM_REPORT_HELPER "/usr/libexec/VarnUtilityLib/varn-system-report"
#endif

namespace varn::platform {

namespace {

constexpr char const* kProfiler = "/usr/sbin/system_profiler";

std::string firstLineWith(char const* file, char const* key) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind(key, 0) == 0) {
            return line;
        }
    }
    return {};
}

std::string valueOf(std::string const& line) {
    std::size_t colon = line.find_first_of(":=");
    if (colon == std::string::npos) {
        return line;
    }
    std::string value = line.substr(colon + 1);
    value.erase(0, value.find_first_not_of(" \t\""));
    while (!value.empty() && (value.back() == '"' || value.back() == ' ')) {
        value.pop_back();
    }
    return value;
}

std::string environment(char const* name) {
    char const* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): read only
    return value != nullptr ? value : "(unset)";
}

// Runs the installed profiler with its standard output on `path`, no shell involved.
void runProfiler(std::string const& path) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(kProfiler), nullptr};
    pid_t child = 0;
    if (::posix_spawn(&child, kProfiler, &actions, nullptr, argv, environ) == 0) {
        int status = 0;
        ::waitpid(child, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
}

} // namespace

std::string SystemReportText() {
    std::ostringstream out;
    out << "System report\n\n";
    out << "Operating system: " << valueOf(firstLineWith("/etc/os-release", "PRETTY_NAME="))
        << '\n';
    struct utsname names {};
    if (::uname(&names) == 0) {
        out << "Kernel: " << names.sysname << ' ' << names.release << ' ' << names.version << '\n';
        out << "Machine: " << names.machine << '\n';
        out << "Host name: " << names.nodename << '\n';
    }
    out << "Processor: " << valueOf(firstLineWith("/proc/cpuinfo", "model name")) << '\n';
    out << "Processors online: " << ::sysconf(_SC_NPROCESSORS_ONLN) << '\n';
    out << "Memory total: " << valueOf(firstLineWith("/proc/meminfo", "MemTotal")) << '\n';
    out << "Memory available: " << valueOf(firstLineWith("/proc/meminfo", "MemAvailable")) << '\n';
    out << "Locale: LANG=" << environment("LANG") << " LC_ALL=" << environment("LC_ALL") << '\n';
    out << "Time zone: TZ=" << environment("TZ") << '\n';
    out << "\nVolumes (mount point, type, device, total bytes, available bytes):\n";
    std::ifstream mounts("/proc/self/mounts");
    std::string device;
    std::string mountPoint;
    std::string type;
    std::string rest;
    while (mounts >> device >> mountPoint >> type && std::getline(mounts, rest)) {
        if (device.rfind("/dev/", 0) != 0) {
            continue; // pseudo and network file systems say little about the machine
        }
        struct statvfs fs {};
        if (::statvfs(mountPoint.c_str(), &fs) != 0) {
            continue;
        }
        out << "  " << mountPoint << "  " << type << "  " << device << "  "
            << static_cast<unsigned long long>(fs.f_blocks) * fs.f_frsize << "  "
            << static_cast<unsigned long long>(fs.f_bavail) * fs.f_frsize << '\n';
    }
    return out.str();
}

void WriteSystemReport(std::string const& path) {
    if (::access(kProfiler, X_OK) == 0) {
        runProfiler(path);
        return;
    }
    std::string const text = SystemReportText();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

void StartSystemReport(std::string const& path) {
    // The report outlives the caller only in a process of its own: a thread of the caller's
    // dies with it, and a process that logs its system information and exits would leave no
    // report, or half of one.
    char const* helper = ::secure_getenv("VARN_SYSTEM_REPORT_HELPER");
    if (helper == nullptr || *helper == '\0') {
        helper = VARN_SYSTEM_REPORT_HELPER;
    }
    char* argv[] = {const_cast<char*>(helper), const_cast<char*>(path.c_str()), nullptr};
    pid_t child = 0;
    if (::access(helper, X_OK) == 0 &&
        ::posix_spawn(&child, helper, nullptr, nullptr, argv, environ) == 0) {
        // The helper forks the writer and exits at once; reaping it leaves no zombie behind.
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            return;
        }
    }
    try {
        WriteSystemReport(path);
    } catch (...) {
        // No memory for the text: the report is skipped, as a failed profiler run would be.
    }
}

int SystemReportProgram(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    pid_t const writer = ::fork();
    if (writer > 0) {
        return 0;
    }
    if (writer == 0) {
        ::setsid(); // no terminal's hang-up or the caller's process group reaches the writer
    }
    try {
        WriteSystemReport(argv[1]); // in the writer, or here when there is no second process
    } catch (...) {
    }
    return 0;
}

} // namespace varn::platform
