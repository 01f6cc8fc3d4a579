// CULogProcesses — threads and processes writing one ring, and lines refused by a file-size
// limit or a full disk. The scenarios with processes run in forked children.
#include "log/LogTesting.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace {

// Four threads, then each of two processes of four threads at once, log 5,000 lines apiece of
// about 150 bytes into one ring; `p` numbers the process.
constexpr int kThreads = 4;
constexpr int kLines = 5000;

void LogFromFourThreads(std::string const& folder, int p) {
    static char const* const kPadding =
        "................................................................................"
        "....................";
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
}

// Logs numbered lines until `limit` refuses one, then lifts it: only whole lines are written,
// a refused line is reported lost, and logging goes on in the same file.
void LoseWholeLinesAndRecover(ChildReport& report, std::string const& folder,
                              std::function<void()> const& limit,
                              std::function<void()> const& lift) {
    CULog log;
    report.Expect(log.Init(Str(folder), Str("L"), 3) == 0, "Init");
    auto line = [](int n) { return "line " + std::to_string(n) + " " + std::string(60, 'x'); };
    int written = 0;
    for (; written < 10; ++written) {
        report.Expect(log.WriteFileString(Str(line(written) + "\r\n")), "a line before the limit");
    }
    limit();
    while (written < 5000 && log.WriteFileString(Str(line(written) + "\r\n"))) {
        ++written;
    }
    report.Expect(written > 10 && written < 5000, "the limit stops a line in the file");
    report.Expect(!log.WriteFileString(Str("still too long " + std::string(60, 'y') + "\r\n")),
                  "a line past the limit is reported lost");
    lift();
    report.Expect(log.WriteFileString(Str("after\r\n")), "a line once the limit is lifted");
    std::vector<std::string> lines = LinesOf(ReadFile(folder + "/L0.log"));
    report.Expect(lines.size() == static_cast<std::size_t>(written) + 1 && lines.back() == "after",
                  std::to_string(lines.size()) + " lines for " + std::to_string(written) +
                      " and the one after");
    for (int i = 0; i + 1 < static_cast<int>(lines.size()); ++i) {
        report.Expect(lines[i] == line(i), "whole lines only: " + lines[i]);
    }
}

} // namespace

// The two processes' 40,000 lines fill six of the ten files, so both rotate while the other
// writes: a process that emptied a file the other had just moved to, or wrote over the other's
// bytes, would lose lines. Each writer's lines must also stay in order.
TEST(CULogProcesses, ThreadsAndProcessesSharingOneRingLoseAndTearNoLine) {
    for (int processes : {0, 2}) { // 0: the four threads of this process
        SCOPED_TRACE(testing::Message() << processes << " processes");
        TempFolder dir;
        std::string const folder = dir.Path().string();
        if (processes == 0) {
            LogFromFourThreads(folder, 0);
        }
        std::vector<Child> children;
        for (int p = 0; p < processes; ++p) {
            children.push_back(
                StartChild([&folder, p](ChildReport&) { LogFromFourThreads(folder, p); }));
        }
        for (Child const& child : children) {
            ASSERT_GT(child.pid, 0);
            EXPECT_EQ("", Finish(child));
        }
        std::regex const shape(
            R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t\[INFO\]\tp(\d) t(\d) n(\d{5}) \.{100})");
        std::map<std::string, int> seen;
        std::map<int, int> lastOfWriter;
        int files = 0;
        for (int i = 0; i < 10; ++i) {
            std::string const file = dir.File(("R" + std::to_string(i) + ".log").c_str());
            files += std::filesystem::exists(file) ? 1 : 0;
            EXPECT_LE(ReadFile(file).size(), 1000000u);
            for (std::string const& line : LinesOf(ReadFile(file))) {
                std::smatch parts;
                ASSERT_TRUE(std::regex_match(line, parts, shape)) << line;
                int const writer = std::stoi(parts[1]) * kThreads + std::stoi(parts[2]);
                int const number = std::stoi(parts[3]);
                auto [last, first] = lastOfWriter.emplace(writer, number);
                EXPECT_TRUE(first || last->second < number) << line << " after " << last->second;
                last->second = number;
                ++seen[MessageOf(line)];
            }
        }
        EXPECT_GE(files, processes == 0 ? 3 : 6);
        EXPECT_EQ(static_cast<std::size_t>(std::max(processes, 1) * kThreads * kLines),
                  seen.size());
        for (auto const& [message, count] : seen) {
            ASSERT_EQ(1, count) << message;
        }
    }
}

TEST(CULogProcesses, FileSizeLimitLosesWholeLinesAndLoggingRecovers) {
    TempFolder dir;
    Child child = StartChild([&dir](ChildReport& report) {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit lifted {};
        getrlimit(RLIMIT_FSIZE, &lifted);
        LoseWholeLinesAndRecover(
            report, dir.Path().string(),
            [&] {
                struct rlimit limit = lifted;
                limit.rlim_cur = 1000;
                report.Expect(setrlimit(RLIMIT_FSIZE, &limit) == 0, "a file-size limit is set");
            },
            [&] { setrlimit(RLIMIT_FSIZE, &lifted); });
    });
    ASSERT_GT(child.pid, 0);
    EXPECT_EQ("", Finish(child));
}

// Ten lines first, so that the file ends inside a block the filler cannot take: the line that
// crosses into the next block is the one refused.
TEST(CULogProcesses, FullDiskLosesWholeLinesAndLoggingRecovers) {
    TempFolder dir;
    std::string const root = dir.Path().string(), filler = root + "/filler";
    RunOnSmallDisk(root, "64k", [&](ChildReport& report) {
        LoseWholeLinesAndRecover(
            report, root, [&] { FillDisk(filler); }, [&] { std::remove(filler.c_str()); });
    });
}
