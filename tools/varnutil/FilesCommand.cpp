// FilesCommand.cpp — file and folder subcommands, with a progress bar for copies and moves.
#include "FilesCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>

#include "platform/Interrupt.h"
#include "platform/Terminal.h"
#include "platform/TextWidth.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

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

// The reason to show for a failed library call: the system's, read right after the call,
// else what looking at the paths in turn shows, else none (the code's meaning is shown).
struct Blame {
    std::string subject;
    std::string reason;
};

Blame blame(std::string const& systemReason,
            std::initializer_list<std::pair<std::string, char>> paths) {
    for (auto const& [path, access] : paths) {
        std::string reason = PathReason(text(str(path)), access);
        if (!reason.empty()) {
            return {path, reason};
        }
    }
    return {paths.begin()->first, systemReason};
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
    ClearSystemReason();
    try {
        status = isCopy ? CUFile::CopyWithProgress(str(g_options.source), str(g_options.dest),
                                                   &info, g_options.force)
                        : CUFile::MoveWithProgress(str(g_options.source), str(g_options.dest),
                                                   &info, g_options.force);
    } catch (unsigned int code) {
        std::string system = SystemReason();
        std::filesystem::path dest = std::filesystem::absolute(g_options.dest);
        Blame b = blame(system, {{g_options.source, 'r'}, {dest.parent_path().string(), 'w'}});
        std::error_code ignored;
        std::filesystem::file_status const source =
            std::filesystem::status(g_options.source, ignored);
        if (b.subject == g_options.source && std::filesystem::is_directory(source)) {
            b.reason = "is a folder; only files are copied and moved";
        } else if (b.subject == g_options.source && std::filesystem::exists(source) &&
                   !std::filesystem::is_regular_file(source)) {
            // The library's code for anything but a regular file is "not found"; the entry
            // is there, so say what it is instead.
            b.reason = "is not a regular file (a pipe, a device or a socket); only files are "
                       "copied and moved";
        } else if (code == 4 && std::filesystem::exists(std::filesystem::symlink_status(dest))) {
            b = {g_options.dest,
                 std::filesystem::is_directory(dest)
                     ? "is a folder; name the new file in full, e.g. " + g_options.dest + "/" +
                           std::filesystem::path(g_options.source).filename().string()
                     : "exists; --force replaces it"};
        }
        ReportError(err, command, b.subject, code, b.reason);
        return kExitFailed;
    }
    std::string system = SystemReason();
    if (bar.drawn) {
        err << '\n';
    }
    if (varn::platform::Interrupted()) {
        ReportFailure(err, command, "interrupted; no partial destination was left");
        return 130;
    }
    if (status != 0) {
        std::filesystem::path dest = std::filesystem::absolute(g_options.dest);
        Blame b = blame(system, {{g_options.source, 'r'}, {dest.parent_path().string(), 'w'}});
        if (std::filesystem::is_directory(dest)) {
            b = {g_options.dest, "is a folder; name the new file in full, e.g. " + g_options.dest +
                                     "/" +
                                     std::filesystem::path(g_options.source).filename().string()};
        }
        ReportError(err, command, b.subject, status, b.reason);
        return kExitFailed;
    }
    (void)out;
    return kExitOk;
}

struct Row {
    CUSharedPtr<CUStringMac> name;
    std::string text;
    std::string size;
};

// Names in the order of the locale's collation; the library's strings compare that way.
void sortRows(std::vector<Row>& rows) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](Row const& a, Row const& b) { return *a.name < *b.name; });
}

int list(std::ostream& out, std::ostream& err) {
    std::string path = text(str(g_options.path));
    std::vector<Row> folders;
    std::vector<Row> files;
    ClearSystemReason();
    try {
        CUSharedPtr<CUArray> folderList = CUDirectory::GetDirectories(str(g_options.path));
        CUSharedPtr<CUArray> fileList = CUDirectory::GetFiles(str(g_options.path));
        for (unsigned long i = 0; i < folderList->Count(); ++i) {
            CUSharedPtr<CUFileSysytemInfo> entry = folderList->ObjectAtIndex(i);
            std::string full = text(entry->GetFullName());
            std::string name = full.substr(full.rfind('/') + 1);
            folders.push_back(
                {CUSharedPtr<CUStringMac>(new CUStringMac(name.c_str(), CUString_CharCode_UTF8)),
                 name + "/", ""});
        }
        for (unsigned long i = 0; i < fileList->Count(); ++i) {
            CUSharedPtr<CUFileInfo> entry = fileList->ObjectAtIndex(i);
            std::string full = text(entry->GetFullName());
            std::string name = full.substr(full.rfind('/') + 1);
            files.push_back(
                {CUSharedPtr<CUStringMac>(new CUStringMac(name.c_str(), CUString_CharCode_UTF8)),
                 name, humanBytes(static_cast<double>(entry->Length()))});
        }
    } catch (unsigned int code) {
        std::string system = SystemReason();
        Blame b = blame(system, {{g_options.path, 'r'}});
        if (b.reason.empty() && !std::filesystem::is_directory(path)) {
            b.reason = "not a folder";
        }
        ReportError(err, "ls", g_options.path, code, b.reason);
        return kExitFailed;
    }
    // A folder that cannot be read lists as empty in the library; say why instead.
    if (folders.empty() && files.empty()) {
        std::string reason = PathReason(path, 'r');
        if (reason.empty()) {
            reason = PathReason(path, 'x');
        }
        if (!reason.empty()) {
            ReportProblem(err, "ls", g_options.path, reason);
            return kExitFailed;
        }
    }
    sortRows(folders);
    sortRows(files);
    int width = 0;
    for (auto const* rows : {&folders, &files}) {
        for (Row const& row : *rows) {
            width = std::max(width, varn::platform::DisplayWidth(row.text));
        }
    }
    std::size_t sizeWidth = 0;
    for (Row const& row : files) {
        sizeWidth = std::max(sizeWidth, row.size.size());
    }
    for (Row const& row : folders) {
        out << Paint(out, Style::Heading, row.text) << '\n';
    }
    for (Row const& row : files) {
        int pad = width - varn::platform::DisplayWidth(row.text);
        out << row.text << std::string(static_cast<std::size_t>(pad) + 2, ' ')
            << std::string(sizeWidth - row.size.size(), ' ') << row.size << '\n';
    }
    return kExitOk;
}

template <typename F> int guarded(char const* command, std::ostream& err, char access, F&& action) {
    ClearSystemReason();
    try {
        action();
    } catch (unsigned int code) {
        std::string system = SystemReason();
        std::filesystem::path full = std::filesystem::absolute(g_options.path);
        Blame b = blame(system, {{g_options.path, access}});
        if (b.reason.empty() && access == ' ') {
            b = blame(system, {{full.parent_path().string(), 'w'}});
            b.subject = g_options.path;
        }
        ReportError(err, command, b.subject, code, b.reason);
        return kExitFailed;
    }
    return kExitOk;
}

int makeFolder(std::ostream& err) {
    ClearSystemReason();
    try {
        if (!CUDirectory::CreateDirectory(str(g_options.path))) {
            throw static_cast<unsigned int>(kCUStatusFailure);
        }
    } catch (unsigned int code) {
        std::string reason = SystemReason();
        // The folder that stopped it is the nearest one that exists.
        std::error_code ignored;
        std::string full = text(str(g_options.path));
        std::filesystem::path at = full;
        while (at.has_parent_path() && at != at.parent_path() &&
               !std::filesystem::exists(at, ignored)) {
            at = at.parent_path();
        }
        std::string subject = g_options.path;
        if (std::filesystem::exists(std::filesystem::symlink_status(at, ignored)) &&
            at.string() != full) {
            // Named as the user named it: relative when they gave a relative path.
            std::string shown = std::filesystem::path(g_options.path).is_relative()
                                    ? std::filesystem::relative(at, ignored).string()
                                    : at.string();
            if (!std::filesystem::is_directory(at, ignored)) {
                subject = shown;
                reason = "not a folder";
            } else if (std::string r = PathReason(at.string(), 'w'); !r.empty()) {
                subject = shown;
                reason = r;
            }
        } else if (std::filesystem::exists(at, ignored) && !std::filesystem::is_directory(at)) {
            reason = "exists and is not a folder";
        }
        ReportError(err, "mkdir", subject, code, reason);
        return kExitFailed;
    }
    return kExitOk;
}

int remove(std::ostream& err) {
    std::string path = text(str(g_options.path));
    std::error_code ignored;
    std::filesystem::file_status status = std::filesystem::symlink_status(path, ignored);
    if (!std::filesystem::exists(status)) {
        ReportProblem(err, "rm", g_options.path, PathReason(path, ' '));
        return kExitFailed;
    }
    if (std::filesystem::is_symlink(status)) {
        // The link itself goes, whatever it points to; the target is never touched.
        return guarded("rm", err, ' ', [&] { CUFile::Delete(str(g_options.path)); });
    }
    if (std::filesystem::is_directory(status)) {
        return guarded("rm", err, ' ',
                       [&] { CUDirectory::Delete(str(g_options.path), g_options.recursive); });
    }
    return guarded("rm", err, ' ', [&] { CUFile::Delete(str(g_options.path)); });
}

int trash(std::ostream& err) {
    std::string path = text(str(g_options.path));
    std::error_code ignored;
    std::filesystem::file_status status = std::filesystem::symlink_status(path, ignored);
    if (!std::filesystem::exists(status)) {
        ReportProblem(err, "trash", g_options.path, PathReason(path, ' '));
        return kExitFailed;
    }
    if (!std::filesystem::is_directory(status)) {
        ReportProblem(err, "trash", g_options.path,
                      "only folders can be trashed; `varnutil rm` deletes a file or a link");
        return kExitFailed;
    }
    return guarded("trash", err, 'w', [&] { CUDirectory::Recycle(str(g_options.path)); });
}

} // namespace

void AddFilesCommands(CLI::App& app) {
    Options& o = g_options;
    o.ls = app.add_subcommand(
        "ls", "List a folder: sub-folders first, then files with sizes, in the locale's order");
    o.ls->add_option("FOLDER", o.path, "The folder")->required();

    o.cp = app.add_subcommand("cp", "Copy a file with a progress bar (Ctrl-C cancels cleanly)");
    o.mv = app.add_subcommand("mv", "Move a file with a progress bar (Ctrl-C cancels cleanly)");
    for (CLI::App* sub : {o.cp, o.mv}) {
        sub->add_option("SOURCE", o.source, "The file")->required();
        sub->add_option("DEST", o.dest, "The full path of the new file")->required();
        sub->add_flag("-f,--force", o.force, "Replace an existing destination");
        sub->add_flag("-q,--quiet", o.quiet, "No progress bar");
    }

    o.mkdir = app.add_subcommand("mkdir", "Create a folder with its missing parents");
    o.mkdir->add_option("FOLDER", o.path, "The folder")->required();
    o.mkdir->add_flag("-p,--parents", o.parents, "Accepted for habit; parents are always made");

    o.rm = app.add_subcommand("rm", "Delete a file, a link (never what it points to), an empty "
                                    "folder, or with -r a whole tree");
    o.rm->add_option("PATH", o.path, "The file or folder")->required();
    o.rm->add_flag("-r,--recursive", o.recursive,
                   "Delete a folder's contents too (links are removed, never followed)");

    o.trash = app.add_subcommand("trash", "Move a folder to the trash (files: use rm)");
    o.trash->add_option("FOLDER", o.path, "The folder")->required();
}

bool RunFilesCommands(std::ostream& out, std::ostream& err, int* exitCode) {
    Options& o = g_options;
    if (o.ls->parsed()) {
        *exitCode = list(out, err);
    } else if (o.cp->parsed() || o.mv->parsed()) {
        *exitCode = copyOrMove(o.cp->parsed(), out, err);
    } else if (o.mkdir->parsed()) {
        *exitCode = makeFolder(err);
    } else if (o.rm->parsed()) {
        *exitCode = remove(err);
    } else if (o.trash->parsed()) {
        *exitCode = trash(err);
    } else {
        return false;
    }
    return true;
}

} // namespace varnutil
