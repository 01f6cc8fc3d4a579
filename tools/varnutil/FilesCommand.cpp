// FilesCommand.cpp — file and folder subcommands, with a progress bar for copies and moves.
#include "FilesCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>

#include "platform/Interrupt.h"
#include "platform/Terminal.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

namespace varnutil {

namespace {

struct Options {
    CLI::App* ls = nullptr;
    CLI::App* cp = nullptr;
    CLI::App* mv = nullptr;
    CLI::App* mkdir = nullptr;
    CLI::App* rm = nullptr;
    CLI::App* trash = nullptr;
    std::string path;
    std::string source;
    std::string dest;
    bool force = false;
    bool recursive = false;
    bool parents = false;
    bool quiet = false;
};

Options g_options;

// The library takes a parent from the text of a path, so a relative name like "a" has none:
// paths from the command line are made absolute first.
CUSharedPtr<CUStringMac> str(std::string const& text) {
    std::string path = text;
    if (!path.empty()) {
        std::error_code ignored;
        std::filesystem::path absolute =
            std::filesystem::absolute(path, ignored).lexically_normal();
        path = absolute.string();
        while (path.size() > 1 && path.back() == '/') {
            path.pop_back();
        }
    }
    return CUSharedPtr<CUStringMac>(new CUStringMac(path.c_str(), CUString_CharCode_UTF8));
}

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return TextOf(s, "");
}

std::string humanBytes(double bytes) {
    char const* units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    int unit = 0;
    while (bytes >= 1024 && unit < 4) {
        bytes /= 1024;
        ++unit;
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return buffer;
}

// ---- the progress bar ----

struct Bar {
    std::ostream* err = nullptr;
    bool draw = false;
    bool drawn = false;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

bool onProgress(unsigned long long total, unsigned long long completed, void* data) {
    auto* bar = static_cast<Bar*>(data);
    if (varn::platform::Interrupted()) {
        return false;
    }
    if (!bar->draw || total == 0) {
        return true;
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - bar->start).count();
    double rate = seconds > 0 ? static_cast<double>(completed) / seconds : 0;
    double left = rate > 0 ? static_cast<double>(total - completed) / rate : 0;
    int width = 30;
    int filled =
        static_cast<int>(static_cast<double>(completed) * width / static_cast<double>(total));
    char line[160];
    std::snprintf(line, sizeof line, "\r[%-*s] %3d%%  %s/s  %d:%02d left ", width,
                  std::string(static_cast<std::size_t>(filled), '#').c_str(),
                  static_cast<int>(completed * 100 / total), humanBytes(rate).c_str(),
                  static_cast<int>(left) / 60, static_cast<int>(left) % 60);
    *bar->err << line << std::flush;
    bar->drawn = true;
    return true;
}

int copyOrMove(bool isCopy, std::ostream& out, std::ostream& err) {
    char const* command = isCopy ? "cp" : "mv";
    varn::platform::WatchInterrupts();
    Bar bar;
    bar.err = &err;
    bar.draw =
        !g_options.quiet && varn::platform::IsTerminal(varn::platform::StandardStream::Error);
    _CopyProgress_Info info{onProgress, &bar, nullptr};
    unsigned int status = 0;
    try {
        status = isCopy ? CUFile::CopyWithProgress(str(g_options.source), str(g_options.dest),
                                                   &info, g_options.force)
                        : CUFile::MoveWithProgress(str(g_options.source), str(g_options.dest),
                                                   &info, g_options.force);
    } catch (unsigned int code) {
        ReportFailure(err, command,
                      g_options.source + " -> " + g_options.dest + ": " + DescribeError(code) +
                          (code == 4 ? " (the destination exists; --force replaces it)" : ""));
        return kExitFailed;
    }
    if (bar.drawn) {
        err << '\n';
    }
    if (varn::platform::Interrupted()) {
        ReportFailure(err, command, "interrupted; no partial destination was left");
        return 130;
    }
    if (status != 0) {
        ReportFailure(err, command,
                      g_options.source + " -> " + g_options.dest + ": " + DescribeError(status));
        return kExitFailed;
    }
    (void)out;
    return kExitOk;
}

int list(std::ostream& out, std::ostream& err) {
    try {
        CUSharedPtr<CUArray> folders = CUDirectory::GetDirectories(str(g_options.path));
        CUSharedPtr<CUArray> files = CUDirectory::GetFiles(str(g_options.path));
        for (unsigned long i = 0; i < folders->Count(); ++i) {
            CUSharedPtr<CUFileSysytemInfo> entry = folders->ObjectAtIndex(i);
            std::string full = text(entry->GetFullName());
            out << Paint(out, Style::Heading, full.substr(full.rfind('/') + 1) + "/") << '\n';
        }
        for (unsigned long i = 0; i < files->Count(); ++i) {
            CUSharedPtr<CUFileInfo> entry = files->ObjectAtIndex(i);
            std::string full = text(entry->GetFullName());
            out << full.substr(full.rfind('/') + 1) << "  "
                << humanBytes(static_cast<double>(entry->Length())) << '\n';
        }
    } catch (unsigned int code) {
        ReportFailure(err, "ls", g_options.path + ": " + DescribeError(code));
        return kExitFailed;
    }
    return kExitOk;
}

template <typename F> int guarded(char const* command, std::ostream& err, F&& action) {
    try {
        action();
    } catch (unsigned int code) {
        ReportFailure(err, command, g_options.path + ": " + DescribeError(code));
        return kExitFailed;
    }
    return kExitOk;
}

} // namespace

void AddFilesCommands(CLI::App& app) {
    Options& o = g_options;
    o.ls = app.add_subcommand("ls", "List a folder: sub-folders first, then files with sizes");
    o.ls->add_option("folder", o.path, "The folder")->required();

    o.cp = app.add_subcommand("cp", "Copy a file with a progress bar (Ctrl-C cancels cleanly)");
    o.mv = app.add_subcommand("mv", "Move a file with a progress bar (Ctrl-C cancels cleanly)");
    for (CLI::App* sub : {o.cp, o.mv}) {
        sub->add_option("source", o.source, "The file")->required();
        sub->add_option("dest", o.dest, "The full path of the new file")->required();
        sub->add_flag("-f,--force", o.force, "Replace an existing destination");
        sub->add_flag("-q,--quiet", o.quiet, "No progress bar");
    }

    o.mkdir = app.add_subcommand("mkdir", "Create a folder with its missing parents");
    o.mkdir->add_option("folder", o.path, "The folder")->required();
    o.mkdir->add_flag("-p,--parents", o.parents, "Accepted for habit; parents are always made");

    o.rm = app.add_subcommand("rm", "Delete a file, an empty folder, or with -r a whole tree");
    o.rm->add_option("path", o.path, "The file or folder")->required();
    o.rm->add_flag("-r,--recursive", o.recursive,
                   "Delete a folder's contents too (links are removed, never followed)");

    o.trash = app.add_subcommand("trash", "Move a folder to the trash");
    o.trash->add_option("folder", o.path, "The folder")->required();
}

bool RunFilesCommands(std::ostream& out, std::ostream& err, int* exitCode) {
    Options& o = g_options;
    if (o.ls->parsed()) {
        *exitCode = list(out, err);
    } else if (o.cp->parsed() || o.mv->parsed()) {
        *exitCode = copyOrMove(o.cp->parsed(), out, err);
    } else if (o.mkdir->parsed()) {
        *exitCode = guarded("mkdir", err, [&] { CUDirectory::CreateDirectory(str(o.path)); });
    } else if (o.rm->parsed()) {
        *exitCode = guarded("rm", err, [&] {
            if (CUDirectory::Exists(str(o.path))) {
                CUDirectory::Delete(str(o.path), o.recursive);
            } else {
                CUFile::Delete(str(o.path));
            }
        });
    } else if (o.trash->parsed()) {
        *exitCode = guarded("trash", err, [&] { CUDirectory::Recycle(str(o.path)); });
    } else {
        return false;
    }
    return true;
}

} // namespace varnutil
