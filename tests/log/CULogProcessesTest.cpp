// CULogProcessesTest.cpp — several processes writing one ring, and a file-size limit reached
// while logging. Each scenario runs in forked children, which report broken expectations
// through a pipe, one a line.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CULog.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using varn::test::ReadFile;
using varn::test::Str;
using varn::test::TempFolder;

namespace fs = std::filesystem;

namespace {

struct Child {
    pid_t pid;
    int output;
};

// Runs `body` in a child process; whatever it writes to the given descriptor is a failure.
Child StartChild(std::function<void(int)> const& body) {
    int pipes[2];
    if (pipe(pipes) != 0) {
        return {-1, -1};
    }
    pid_t pid = fork();
    if (pid == 0) {
        close(pipes[0]);
        body(pipes[1]);
        _exit(0);
    }
    close(pipes[1]);
    return {pid, pipes[0]};
}

// The child's complaints, or why it did not end normally.
std::string Finish(Child child) {
    std::string output;
    char buffer[512];
    for (ssize_t n; (n = read(child.output, buffer, sizeof buffer)) > 0;) {
        output.append(buffer, static_cast<std::size_t>(n));
    }
    close(child.output);
    int status = 0;
    if (waitpid(child.pid, &status, 0) != child.pid || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        output += "the child did not exit normally\n";
    }
    return output;
}

std::vector<std::string> LinesOf(std::string const& contents) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = contents.find("\r\n", start)) != std::string::npos;
         start = end + 2) {
        lines.push_back(contents.substr(start, end - start));
    }
    if (start != contents.size()) {
        lines.push_back("(torn) " + contents.substr(start));
    }
    return lines;
}

} // namespace

// Two processes of four threads each log 20,000 lines apiece into one ring. The lines take more
// than five files, so both processes rotate while the other writes: a process that emptied a
// file the other had just moved to, or wrote over the other's bytes, would lose lines.
TEST(CULogProcesses, TwoProcessesOfFourThreadsShareOneRingLosingNoLine) {
    TempFolder dir;
    std::string const folder = dir.Path().string();
    constexpr int kProcesses = 2;
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    // About 150 bytes a line: the 40,000 lines fill six of the ten files.
    static char const* const kPadding =
        "................................................................................"
        "....................";
    std::vector<Child> children;
    for (int p = 0; p < kProcesses; ++p) {
        children.push_back(StartChild([&folder, p](int) {
            CULog::InitializeWithName(Str(folder), Str("R"), 3);
            std::vector<std::thread> writers;
            for (int t = 0; t < kThreads; ++t) {
                writers.emplace_back([p, t] {
                    for (int i = 0; i < kLines; ++i) {
                        CULog::Write(3, "p%d t%d n%05d %s", p, t, i, kPadding);
                    }
                });
            }
            for (std::thread& w : writers) {
                w.join();
            }
            CULog::Terminate();
        }));
    }
    for (Child const& child : children) {
        ASSERT_GT(child.pid, 0);
        EXPECT_EQ("", Finish(child));
    }

    std::regex const shape(
        R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t\[INFO\]\tp(\d) t(\d) n(\d{5}) \.{100})");
    std::map<std::string, int> seen;
    std::map<int, int> lastOfWriter; // per process and thread: lines must not go back in time
    int files = 0;
    for (int i = 0; i < 10; ++i) {
        std::string const file = dir.File(("R" + std::to_string(i) + ".log").c_str());
        if (!fs::exists(file)) {
            continue;
        }
        ++files;
        EXPECT_LE(fs::file_size(file), 1000000u);
        for (std::string const& line : LinesOf(ReadFile(file))) {
            std::smatch parts;
            ASSERT_TRUE(std::regex_match(line, parts, shape)) << line;
            int const writer = std::stoi(parts[1]) * kThreads + std::stoi(parts[2]);
            int const number = std::stoi(parts[3]);
            auto [last, first] = lastOfWriter.emplace(writer, number);
            EXPECT_TRUE(first || last->second < number) << line << " after " << last->second;
            last->second = number;
            ++seen[line.substr(line.rfind('\t') + 1)];
        }
    }
    EXPECT_GE(files, 6);
    EXPECT_EQ(static_cast<std::size_t>(kProcesses * kThreads * kLines), seen.size());
    for (auto const& [message, count] : seen) {
        ASSERT_EQ(1, count) << message;
    }
}

// With the file-size limit reached, the line that does not fit is reported lost and leaves no
// part of itself behind; the lines before it are intact, and once the limit is lifted the log
// goes on in the same file.
TEST(CULogProcesses, FileSizeLimitLosesOneWholeLineAndLoggingRecovers) {
    TempFolder dir;
    std::string const folder = dir.Path().string();
    std::string const file = dir.File("L0.log");
    Child child = StartChild([&folder](int fd) {
        varn::test::ChildReport report{fd};
        std::signal(SIGXFSZ, SIG_IGN);
        CULog log;
        if (log.Init(Str(folder), Str("L"), 3) != 0) {
            report.Fail("Init failed");
            return;
        }
        struct rlimit limit {};
        getrlimit(RLIMIT_FSIZE, &limit);
        struct rlimit const lifted = limit;
        limit.rlim_cur = 1000;
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            report.Fail("cannot set a file-size limit");
            return;
        }
        int written = 0;
        while (written < 100 && log.WriteFileString(Str("line " + std::to_string(written) + " " +
                                                        std::string(40, 'x') + "\r\n"))) {
            ++written;
        }
        report.Expect(written > 0 && written < 100,
                      "the limit stops a line, not the first: " + std::to_string(written));
        report.Expect(!log.WriteFileString(Str("still too long " + std::string(40, 'y') + "\r\n")),
                      "a line past the limit is reported lost");
        setrlimit(RLIMIT_FSIZE, &lifted);
        report.Expect(log.WriteFileString(Str("after\r\n")),
                      "the first line after lifting the limit is written");
    });
    ASSERT_GT(child.pid, 0);
    EXPECT_EQ("", Finish(child));

    std::vector<std::string> lines = LinesOf(ReadFile(file));
    ASSERT_GE(lines.size(), 2u);
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        EXPECT_EQ("line " + std::to_string(i) + " " + std::string(40, 'x'), lines[i]);
    }
    EXPECT_EQ("after", lines.back());
}

// The same on a real disk that fills up: a line that does not fit is lost whole, and logging
// goes on in the same file once space is back.
TEST(CULogProcesses, FullDiskLosesWholeLinesAndLoggingRecovers) {
    TempFolder dir;
    std::string const root = dir.Path().string();
    varn::test::RunOnSmallDisk(root, "64k", [&root](varn::test::ChildReport& report) {
        CULog log;
        report.Expect(log.Init(Str(root), Str("D"), 3) == 0, "Init on the small disk");
        // Lines first, so that the file ends inside a block the filler cannot take: the line
        // that crosses into the next block is the one cut short.
        int written = 0;
        auto line = [&written] {
            return Str("line " + std::to_string(written) + " " + std::string(60, 'x') + "\r\n");
        };
        for (; written < 10; ++written) {
            report.Expect(log.WriteFileString(line()), "a line before the disk fills");
        }
        std::string const filler = root + "/filler";
        varn::test::FillDisk(filler);
        while (written < 5000 && log.WriteFileString(line())) {
            ++written;
        }
        report.Expect(written > 10 && written < 5000, "the full disk stops the log in a block");
        std::vector<std::string> lines = LinesOf(ReadFile(root + "/D0.log"));
        report.Expect(lines.size() == static_cast<std::size_t>(written),
                      "whole lines only: " + std::to_string(lines.size()) + " lines for " +
                          std::to_string(written) + " written");
        std::remove(filler.c_str());
        report.Expect(log.WriteFileString(Str("after\r\n")), "a line once space is back");
        lines = LinesOf(ReadFile(root + "/D0.log"));
        report.Expect(!lines.empty() && lines.back() == "after", "it follows the earlier lines");
    });
}
