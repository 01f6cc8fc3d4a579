// LogCommand.cpp — writing to and reading back a log ring from the command line.
#include "LogCommand.h"

#include "Errors.h"

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

int write(std::ostream& err) {
    std::string folder = std::filesystem::absolute(g_options.folder).lexically_normal().string();
    CULog::InitializeWithName(str(folder), str(g_options.name), 7);
    if (!CULog::GetInstance()) {
        ReportFailure(err, "log", folder + ": the log folder cannot be made or used");
        return kExitFailed;
    }
    CULog::Write(g_options.level, "%s", g_options.message.c_str());
    CULog::Terminate();
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
            CULog::GetLogFilePath(str(g_options.folder), str(g_options.name), i);
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
        ReportFailure(err, "log show",
                      "no log files named " + g_options.name + "0-9.log in " + g_options.folder);
        return kExitFailed;
    }
    auto newest = std::max_element(files.begin(), files.end(), [](File const& a, File const& b) {
        return a.modified < b.modified || (a.modified == b.modified && a.index > b.index);
    });
    std::rotate(files.begin(), newest + 1, files.end());
    for (File const& file : files) {
        std::ifstream in(file.path, std::ios::binary);
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
    o.log =
        app.add_subcommand("log", "Write a line into a log ring (FOLDER/NAME0-9.log), or show it");
    o.log->add_option("folder", o.folder, "The log folder (made if missing)")->required();
    o.log->add_option("name", o.name, "The base name of the files")->required();
    o.log->add_option("message", o.message, "The line to write");
    o.log->add_option("-l,--level", o.level, "1 error, 2 warning, 3 info, 0 or 4+ debug")
        ->check(CLI::Range(0u, 7u));
    o.show = o.log->add_subcommand("show", "Print the ring's lines, oldest first");
    o.log->require_subcommand(0, 1);
    return o.log;
}

int RunLogCommand(std::ostream& out, std::ostream& err) {
    if (g_options.show->parsed()) {
        return show(out, err);
    }
    if (g_options.message.empty()) {
        ReportFailure(err, "log", "a message to write is needed (or `show`)");
        return kExitUsage;
    }
    return write(err);
}

} // namespace varnutil
