// LogCommand.cpp — writing to and reading back a log ring from the command line.
#include "LogCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CULog.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace varnutil {

namespace {

struct Options {
    CLI::App* log = nullptr;
    CLI::App* write = nullptr;
    CLI::App* show = nullptr;
    std::string folder;
    std::string name;
    std::string message;
    unsigned int level = 3;
};

Options g_options;

CUSharedPtr<CUStringMac> str(std::string const& text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

std::string absoluteFolder() {
    return std::filesystem::absolute(g_options.folder).lexically_normal().string();
}

// The log swallows every error of its own, so the folder is checked here before writing: it is
// made when missing, and must then be a folder this process can create files in.
bool usableFolder(std::string const& folder, std::ostream& err) {
    std::error_code ignored;
    if (!std::filesystem::exists(folder, ignored)) {
        ClearSystemReason();
        try {
            if (!CUDirectory::CreateDirectory(str(folder))) {
                throw static_cast<unsigned int>(kCUStatusFailure);
            }
        } catch (unsigned int code) {
            std::string reason = SystemReason();
            std::filesystem::path parent = std::filesystem::path(folder).parent_path();
            while (reason.empty() && !parent.empty() && parent != parent.parent_path()) {
                if (std::filesystem::exists(parent, ignored)) {
                    reason = PathReason(parent.string(), 'w');
                    break;
                }
                parent = parent.parent_path();
            }
            ReportError(err, "log write", g_options.folder, code, reason);
            return false;
        }
    }
    if (!std::filesystem::is_directory(folder, ignored)) {
        ReportProblem(err, "log write", g_options.folder, "not a folder");
        return false;
    }
    for (char access : {'w', 'x'}) {
        std::string reason = PathReason(folder, access);
        if (!reason.empty()) {
            ReportProblem(err, "log write", g_options.folder, reason);
            return false;
        }
    }
    return true;
}

// What each file of the ring looks like before a write, to find the one the line went into.
struct FileState {
    std::string path;
    bool exists = false;
    std::uintmax_t size = 0;
    std::filesystem::file_time_type modified;
};

std::vector<FileState> ringState(std::string const& folder) {
    std::vector<FileState> states;
    for (int i = 0; i < 10; ++i) {
        CUSharedPtr<CUStringMac> path = CULog::GetLogFilePath(str(folder), str(g_options.name), i);
        FileState state;
        if (!path || path->GetString(state.path) != kCUStatusSuccess) {
            continue;
        }
        std::error_code error;
        state.size = std::filesystem::file_size(state.path, error);
        state.exists = !error;
        if (state.exists) {
            state.modified = std::filesystem::last_write_time(state.path, error);
        }
        states.push_back(state);
    }
    return states;
}

bool endsWith(std::string const& path, std::string const& ending) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : 0;
    auto length = static_cast<std::streamoff>(ending.size());
    if (size < length) {
        return false;
    }
    std::string tail(ending.size(), '\0');
    in.seekg(size - length);
    in.read(tail.data(), length);
    return in && tail == ending;
}

// The log drops a line it cannot write without a word, so the tool looks for it: a file of the
// ring that changed and now ends with the message.
bool lineLanded(std::vector<FileState> const& before, std::string const& folder) {
    std::string ending = "\t" + g_options.message + "\r\n";
    for (FileState const& after : ringState(folder)) {
        for (FileState const& old : before) {
            if (old.path == after.path && after.exists &&
                (!old.exists || old.size != after.size || old.modified != after.modified) &&
                endsWith(after.path, ending)) {
                return true;
            }
        }
    }
    return false;
}

int write(std::ostream& err) {
    std::string folder = absoluteFolder();
    if (!usableFolder(folder, err)) {
        return kExitFailed;
    }
    std::vector<FileState> before = ringState(folder);
    CULog::InitializeWithName(str(folder), str(g_options.name), 7);
    if (!CULog::GetInstance()) {
        ReportProblem(err, "log write", g_options.folder, "the log could not be started there");
        return kExitFailed;
    }
    CULog::Write(g_options.level, "%s", g_options.message.c_str());
    CULog::Terminate();
    if (!lineLanded(before, folder)) {
        // Name the file of the ring that refuses writing, if one does.
        std::string shown = g_options.folder;
        std::string reason;
        for (FileState const& file : before) {
            if (file.exists) {
                if (std::string r = PathReason(file.path, 'w'); !r.empty()) {
                    shown = (std::filesystem::path(g_options.folder) /
                             std::filesystem::path(file.path).filename())
                                .string();
                    reason = r;
                    break;
                }
            }
        }
        ReportProblem(err, "log write", shown,
                      "the line could not be written" + (reason.empty() ? "" : ": " + reason));
        return kExitFailed;
    }
    return kExitOk;
}

// The ring is read oldest first: the file written last is the newest, and the one after it
// in the ring (if present) is the oldest.
int show(std::ostream& out, std::ostream& err) {
    namespace fs = std::filesystem;
    struct File {
        int index;
        fs::file_time_type modified;
        std::string path;
    };
    std::vector<File> files;
    for (int i = 0; i < 10; ++i) {
        CUSharedPtr<CUStringMac> path =
            CULog::GetLogFilePath(str(absoluteFolder()), str(g_options.name), i);
        std::string text;
        if (!path || path->GetString(text) != kCUStatusSuccess) {
            continue;
        }
        std::error_code error;
        fs::file_time_type modified = fs::last_write_time(text, error);
        if (!error) {
            files.push_back({i, modified, text});
        }
    }
    if (files.empty()) {
        std::string reason = PathReason(absoluteFolder(), 'x');
        ReportProblem(err, "log show", g_options.folder,
                      !reason.empty() ? reason
                                      : "no log files named " + g_options.name + "0.log to " +
                                            g_options.name + "9.log there");
        return kExitFailed;
    }
    auto newest = std::max_element(files.begin(), files.end(), [](File const& a, File const& b) {
        return a.modified < b.modified || (a.modified == b.modified && a.index > b.index);
    });
    std::rotate(files.begin(), newest + 1, files.end());
    for (File const& file : files) {
        std::ifstream in(file.path, std::ios::binary);
        if (!in) {
            ReportProblem(err, "log show", file.path, PathReason(file.path, 'r'));
            return kExitFailed;
        }
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            out << line << '\n';
        }
    }
    return kExitOk;
}

} // namespace

CLI::App* AddLogCommand(CLI::App& app) {
    Options& o = g_options;
    o.log = app.add_subcommand("log", "Write a line into a log ring (FOLDER/NAME0.log to "
                                      "NAME9.log), or show the ring");
    o.log->require_subcommand(1);
    o.write = o.log->add_subcommand("write", "Write MESSAGE into the ring NAME in FOLDER");
    o.write->add_option("FOLDER", o.folder, "The log folder (made if missing)")->required();
    o.write->add_option("NAME", o.name, "The base name of the files")->required();
    o.write->add_option("MESSAGE", o.message, "The line to write")->required();
    o.write
        ->add_option("-l,--level", o.level, "1 error, 2 warning, 3 info (default), 0 or 4-7 debug")
        ->check(CLI::Range(0u, 7u));
    o.show = o.log->add_subcommand("show", "Print the lines of the ring NAME in FOLDER, oldest "
                                           "first; creates nothing");
    o.show->add_option("FOLDER", o.folder, "The log folder")->required();
    o.show->add_option("NAME", o.name, "The base name of the files")->required();
    return o.log;
}

int RunLogCommand(std::ostream& out, std::ostream& err) {
    if (g_options.show->parsed()) {
        return show(out, err);
    }
    return write(err);
}

} // namespace varnutil
