// CULog, the ring of ten files: its lines, files, instance, report, writers and limits.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CULog.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace fs = std::filesystem;

namespace {

// The lines of a log file without their ends; a line without "\r\n" is marked torn.
std::vector<std::string> LinesOf(std::string const& path) {
    std::vector<std::string> lines;
    std::istringstream in(ReadFile(path));
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line.ends_with('\r') ? line.substr(0, line.size() - 1) : "(torn) " + line);
    }
    return lines;
}

std::string MessageOf(std::string const& line) {
    return line.substr(line.rfind('\t') + 1);
}

// Runs body(i) in n forked children at once, which exit right after it; true if all ended well.
bool InChildren(int n, std::function<void(int)> const& body) {
    std::vector<pid_t> children;
    for (int i = 0; i < n; ++i) {
        pid_t const pid = fork();
        if (pid == 0) {
            body(i);
            _exit(0);
        }
        children.push_back(pid);
    }
    bool all = true;
    for (pid_t pid : children) {
        int status = 0;
        all = pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
              WEXITSTATUS(status) == 0 && all;
    }
    return all;
}

// Four threads log 5,000 lines apiece of about 150 bytes; `p` numbers the process.
void LogFromFourThreads(std::string const& folder, int p) {
    std::string const padding(100, '.');
    CULog::InitializeWithName(Str(folder), Str("R"), 3);
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([p, t, &padding] {
            for (int i = 0; i < 5000; ++i) {
                CULog::Write(3, "p%d t%d n%05d %s", p, t, i, padding.c_str());
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
void LoseWholeLinesAndRecover(std::function<void(bool, std::string const&)> const& expect,
                              std::string const& folder, std::function<void()> const& limit,
                              std::function<void()> const& lift) {
    CULog log;
    expect(log.Init(Str(folder), Str("L"), 3) == 0, "Init");
    auto line = [](int n) { return "line " + std::to_string(n) + " " + std::string(60, 'x'); };
    int written = 0;
    while (written < 5000 && log.WriteFileString(Str(line(written) + "\r\n"))) {
        if (++written == 10) {
            limit();
        }
    }
    expect(written > 10 && written < 5000, "the limit stops a line in the file");
    expect(!log.WriteFileString(Str("still too long " + std::string(60, 'y') + "\r\n")),
           "a line past the limit is reported lost");
    lift();
    expect(log.WriteFileString(Str("after\r\n")), "a line once the limit is lifted");
    std::vector<std::string> lines = LinesOf(folder + "/L0.log");
    expect(lines.size() == static_cast<std::size_t>(written) + 1 && lines.back() == "after",
           "the lines written, then the one after");
    for (int i = 0; i + 1 < static_cast<int>(lines.size()); ++i) {
        expect(lines[i] == line(i), "whole lines only: " + lines[i]);
    }
}

} // namespace

// A line is a local time stamp, the level label (DEBUG for unknown levels) and the message as a
// string of the expanded bytes gives it back: without a byte-order mark, U+FFFD for each byte
// that is not UTF-8, cut at a zero. Formats in and out of ASCII, C strings and strings, alike.
TEST(CULog, FirstWriteMakesFileZeroOfStampedLinesReadAsTheirStringsGiveThemBack) {
    TempFolder dir;
    struct {
        void (*write)();
        char const* line; // after the stamp; null: dropped
    } const rows[] = {
        // clang-format off
        {[] { CULog::Write(3, "hello %d from %s", 5, "me"); }, "[INFO]\thello 5 from me"},
        {[] { CULog::Write(1, "e"); }, "[ERROR]\te"},
        {[] { CULog::Write(2, "w"); }, "[WARNING]\tw"},
        {[] { CULog::Write(0, "zero"); }, "[DEBUG]\tzero"},
        {[] { CULog::Write(4, "dropped"); }, nullptr},
        {[] { CULog::Write(4, Str("dropped")); }, nullptr},
        {[] { CULog::Write(3, static_cast<char const*>(nullptr)); }, nullptr},
        {[] { CULog::Write(3, CUSharedPtr<CUStringMac>()); }, nullptr},
        {[] { CULog::Write(3, "%s", "\xEF\xBB\xBFmarked"); }, "[INFO]\tmarked"},
        {[] { CULog::Write(3, "caf\xC3\xA9 %d", 1); }, "[INFO]\tcaf\xC3\xA9 1"},
        {[] { CULog::Write(3, Str("caf\xC3\xA9 %d"), 2); }, "[INFO]\tcaf\xC3\xA9 2"},
        {[] { CULog::Write(3, "%s", "bad \xC3\x28"); }, "[INFO]\tbad \xEF\xBF\xBD("},
        {[] { CULog::Write(3, "bad %s", "a\xFF\xFE\xF0\x9F\x8C\x8D\xE0\x80" "b"); },
         "[INFO]\tbad a\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x9F\x8C\x8D\xEF\xBF\xBD\xEF\xBF\xBD" "b"},
        {[] { CULog::Write(3, "stray \xA9"); }, "[INFO]\tstray \xEF\xBF\xBD"},
        {[] { CULog::Write(3, "cut%c here", 0); }, "[INFO]\tcut"},
        {[] { CULog::Write(3, Str("%s"), "100%d %s%%"); }, "[INFO]\t100%d %s%%"},
        // clang-format on
    };
    std::vector<std::string> expected;
    CULog::InitializeWithName(Str(dir.File("logs")), Str("U"), 3);
    for (auto const& row : rows) {
        row.write();
        if (row.line != nullptr) {
            expected.push_back(row.line);
        }
    }
    CULog::Terminate();
    std::vector<std::string> lines = LinesOf(dir.File("logs/U0.log"));
    for (std::string& line : lines) {
        line.erase(0, line.find('\t') + 1); // the stamp
    }
    EXPECT_EQ(expected, lines);
}

TEST(CULog, HelpersSpellLabelsPathsAndStampsAndReadFileFacts) {
    CULog log;
    char const* const labels[] = {"DEBUG", "ERROR", "WARNING", "INFO", "DEBUG"};
    for (unsigned int level = 0; level < 5; ++level) {
        EXPECT_EQ(labels[level], Text(log.GetLogLevelString(level)));
    }
    EXPECT_EQ("/var/x/App10.log", Text(CULog::GetLogFilePath(Str("/var/x/"), Str("App"), 10)));
    EXPECT_FALSE(CULog::GetLogFilePath(CUSharedPtr<CUStringMac>(), Str("App"), 0));
    CUSharedPtr<CUDateTime> t = CUDateTime::Create(2024, 3, 5, 7, 8, 9);
    EXPECT_EQ("2024/03/05 07:08:09", Text(CULog::GetLogDateTimeString(t)));
    EXPECT_FALSE(CULog::GetLogDateTimeString(CUSharedPtr<CUDateTime>()));
    TempFolder dir;
    CUSharedPtr<CUStringMac> const file = Str(dir.File("d.log")), missing = Str(dir.File("none"));
    WriteFile(dir.File("d.log"), "x");
    fs::last_write_time(dir.File("d.log"),
                        fs::file_time_type::clock::now() - std::chrono::hours(1));
    CUSharedPtr<CUDateTime> modified = CULog::GetLogFileTime(file, _Log_DateTime_Type_Modify);
    ASSERT_TRUE(modified);
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    EXPECT_NEAR(now->AddSeconds(-3600)->GetAbsoluteTime(), modified->GetAbsoluteTime(), 61);
    // The birth time, where the file system records one, is that of the writing, not the
    // modification time moved back.
    if (CUSharedPtr<CUDateTime> created = CULog::GetLogFileTime(file, _Log_DateTime_Type_Create)) {
        EXPECT_NEAR(now->GetAbsoluteTime(), created->GetAbsoluteTime(), 61);
    }
    EXPECT_FALSE(CULog::GetLogFileTime(file, static_cast<_Log_DateTime_Type>(2)));
    EXPECT_FALSE(CULog::GetLogFileTime(missing, _Log_DateTime_Type_Modify));
    EXPECT_EQ(1u, CULog::GetLogFileSize(file));
    EXPECT_EQ(0u, CULog::GetLogFileSize(missing));
}

TEST(CULog, RotatesWhenTheWorstCaseSizeWouldPassAMillionBytes) {
    TempFolder dir;
    CULog log;
    ASSERT_EQ(0u, log.Init(Str(dir.Path().string()), Str("R"), 3));
    WriteFile(dir.File("R0.log"), std::string(999990, 'x'));
    EXPECT_EQ(dir.File("R0.log"), Text(log.GetWriteableLogPath(10))); // exactly 1,000,000
    WriteFile(dir.File("R1.log"), "stale");
    EXPECT_EQ(dir.File("R1.log"), Text(log.GetWriteableLogPath(11)));
    EXPECT_FALSE(fs::exists(dir.File("R1.log"))); // the next file is emptied first
    // A line's worst-case size counts, not its bytes: it exactly fits, then once more does not.
    unsigned int const worst = CULog::GetStringByteSize(Str("abc\r\n"));
    EXPECT_GT(worst, 5u);
    WriteFile(dir.File("R1.log"), std::string(1000000 - worst, 'y'));
    EXPECT_TRUE(log.WriteFileString(Str("abc\r\n")) && log.WriteFileString(Str("abc\r\n")));
    EXPECT_EQ(1000000 - worst + 5, fs::file_size(dir.File("R1.log")));
    EXPECT_EQ(5u, fs::file_size(dir.File("R2.log")));
}

// Rows: the files of the ring present (one old line each), their ages in seconds, a full one; the
// next line goes to `taker` (emptied first or appended to) and no other file changes.
TEST(CULog, ContinuesBeforeTheFirstMissingFileOrInTheNewestAndTheLowerOnEqualDates) {
    struct {
        int files, ages[10], full, taker;
        bool emptied;
    } const rows[] = {
        {3, {0, 50, 40}, -1, 2, false}, // file 0 is the newest, yet file 3 is missing
        {10, {500, 500, 500, 500, 500, 500, 5, 500, 500, 500}, -1, 6, false},
        {10, {30, 30, 30, 20, 30, 30, 30, 20, 30, 30}, -1, 3, false}, // the lower of two
        {10, {100, 99, 98, 97, 96, 95, 94, 93, 92, 91}, 9, 0, true},  // from nine to zero
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message() << "row taken by " << row.taker);
        TempFolder dir;
        auto name = [&](int i) { return dir.File(("N" + std::to_string(i) + ".log").c_str()); };
        auto const now = fs::file_time_type::clock::now();
        for (int i = 0; i < row.files; ++i) {
            WriteFile(name(i), i == row.full ? std::string(1000000, 'z') : "old\r\n");
            fs::last_write_time(name(i), now - std::chrono::seconds(row.ages[i]));
        }
        CULog log;
        ASSERT_EQ(0u, log.Init(Str(dir.Path().string()), Str("N"), 3));
        log.WriteLog(3, Str("next"));
        for (int i = 0; i < row.files; ++i) {
            std::vector<std::string> lines = LinesOf(name(i));
            if (i == row.taker) {
                ASSERT_EQ(row.emptied ? 1u : 2u, lines.size());
                EXPECT_EQ("next", MessageOf(lines.back()));
            } else {
                EXPECT_EQ(i == row.full ? 1000000u : 5u, fs::file_size(name(i))) << i;
            }
        }
    }
}

TEST(CULog, OnlyTheFirstGoodInitialisationMakesTheInstanceAndHoldersOutliveTerminate) {
    TempFolder dir;
    WriteFile(dir.File("file"), "x");
    CULog::InitializeWithName(Str(dir.File("file/logs")), Str("F"), 3);
    EXPECT_FALSE(CULog::GetInstance());
    EXPECT_EQ(0x10001u, CULog().Init(Str(dir.Path().string()), CUSharedPtr<CUStringMac>(), 3));
    CULog::InitializeWithName(Str(dir.File("first")), Str("A"), 3);
    CUSharedPtr<CULog> held = CULog::GetInstance();
    CULog::InitializeWithName(Str(dir.File("second")), Str("B"), 7);
    EXPECT_EQ(held.get(), CULog::GetInstance().get());
    CULog::Terminate();
    held->WriteLog(3, Str("still works"));
    CULog::Write(3, "dropped without an instance");
    EXPECT_TRUE(held->WriteFileString(Str("raw line\r\n"))); // appended as it is
    EXPECT_FALSE(held->WriteFileString(CUSharedPtr<CUStringMac>()));
    held->WriteSystemInfo(CUSharedPtr<CUStringMac>()); // no name: nothing happens
    z_WriteSystemInfo(CUSharedPtr<CUStringMac>());     // nothing to write to: nothing happens
    std::vector<std::string> lines = LinesOf(dir.File("first/A0.log"));
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("still works", MessageOf(lines[0]));
    EXPECT_EQ("raw line", lines[1]);
}

// The current file stays open between lines; whatever happens to it or its folder by name must
// still be seen by the next line, and logging never throws.
TEST(CULog, LinesFollowTheFileAtThePathWhenItOrItsFolderIsDeletedGrownOrReplaced) {
    TempFolder dir;
    CULog::InitializeWithName(Str(dir.File("logs")), Str("F"), 3);
    auto file = [&](std::string const& name) { return dir.File(("logs/" + name).c_str()); };
    auto only = [&](std::string const& name) {
        std::vector<std::string> lines = LinesOf(file(name));
        return lines.size() == 1 ? MessageOf(lines[0]) : std::to_string(lines.size()) + " lines";
    };
    CULog::Write(3, "one");
    fs::remove(file("F0.log"));
    CULog::Write(3, "two");
    EXPECT_EQ("two", only("F0.log"));
    // Bytes appended by someone else count towards rotation at once.
    std::ofstream(file("F0.log"), std::ios::app | std::ios::binary) << std::string(999990, 'x');
    CULog::Write(3, "three");
    EXPECT_EQ("three", only("F1.log"));
    // A file moved away and replaced is left within a second.
    fs::rename(file("F1.log"), file("moved.log"));
    WriteFile(file("F1.log"), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    CULog::Write(3, "four");
    EXPECT_EQ("three", only("moved.log"));
    EXPECT_EQ("four", only("F1.log"));
    fs::remove_all(dir.File("logs"));
    EXPECT_NO_THROW(CULog::Write(3, "while the folder is gone"));
    EXPECT_FALSE(fs::exists(file("F1.log")));
    fs::create_directory(dir.File("logs"));
    CULog::Write(3, "after");
    EXPECT_EQ("after", only("F1.log"));
    CULog::Terminate();
}

// The first report is asked for here, the others by processes that exit at once after asking:
// nothing the library started is waited for.
TEST(CULog, SystemReportGoesToExactlyTheNamedFileRunsNothingAndOutlivesItsProcess) {
    TempFolder dir;
    for (int run = 0; run < 5; ++run) {
        std::string const name =
            "report" + std::to_string(run) + " \"quoted\" $(touch pwned) `touch pwned2`.txt";
        auto ask = [&](int) {
            CULog::InitializeWithName(Str(dir.Path().string()), Str("S"), 3);
            CULog::GetInstance()->WriteSystemInfo(Str(name));
        };
        if (run == 0) {
            ask(0);
            CULog::Terminate();
        } else {
            EXPECT_TRUE(InChildren(1, ask));
        }
        std::string contents;
        for (int i = 0; i < 200 && contents.find("Volumes") == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            contents = ReadFile(dir.File(name.c_str()));
        }
        EXPECT_NE(std::string::npos, contents.find("Volumes")) << run; // its last section
    }
    for (auto const& entry : fs::directory_iterator(dir.Path())) { // nothing named pwned, no log
        std::string const name = entry.path().filename().string();
        EXPECT_TRUE(name == ".S.ring" || name.rfind("report", 0) == 0) << name;
    }
    EXPECT_FALSE(fs::exists("pwned"));
    EXPECT_FALSE(fs::exists("pwned2"));
}

// Four threads here, then two processes of four threads at once, into one ring. The processes'
// 40,000 lines fill six of the ten files, so both rotate while the other writes: a process that
// emptied a file the other had just moved to, or wrote over the other's bytes, would lose lines.
TEST(CULog, ThreadsAndProcessesSharingOneRingLoseAndTearNoLine) {
    std::regex const shape(
        R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t\[INFO\]\tp(\d) t(\d) n(\d{5}) \.{100})");
    for (int processes : {0, 2}) {
        SCOPED_TRACE(testing::Message() << processes << " processes");
        TempFolder dir;
        std::string const folder = dir.Path().string();
        if (processes == 0) {
            LogFromFourThreads(folder, 0);
        }
        EXPECT_TRUE(InChildren(processes, [&](int p) { LogFromFourThreads(folder, p); }));
        std::map<std::string, int> seen;
        std::map<int, int> lastOfWriter; // lines of one writer never go back in time
        int files = 0;
        for (int i = 0; i < 10; ++i) {
            std::string const file = dir.File(("R" + std::to_string(i) + ".log").c_str());
            files += fs::exists(file) ? 1 : 0;
            EXPECT_LE(ReadFile(file).size(), 1000000u);
            for (std::string const& line : LinesOf(file)) {
                std::smatch parts;
                ASSERT_TRUE(std::regex_match(line, parts, shape)) << line;
                int const number = std::stoi(parts[3]);
                int const writer = std::stoi(parts[1].str() + parts[2].str());
                auto [last, first] = lastOfWriter.emplace(writer, number);
                EXPECT_TRUE(first || last->second < number) << line << " after " << last->second;
                last->second = number;
                ++seen[MessageOf(line)];
            }
        }
        EXPECT_GE(files, processes == 0 ? 3 : 6);
        EXPECT_EQ(std::max(processes, 1) * 20000u, seen.size());
        for (auto const& [message, count] : seen) {
            ASSERT_EQ(1, count) << message;
        }
    }
}

// Ten lines first, so that on the small disk the file ends inside a block the filler cannot
// take: the line that crosses into the next block is the one refused.
TEST(CULog, FileSizeLimitAndFullDiskLoseWholeLinesAndLoggingRecovers) {
    // Process-wide settings, restored below; the tests of this program run one at a time.
    struct rlimit saved {};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &saved));
    auto previous = std::signal(SIGXFSZ, SIG_IGN);
    TempFolder dir, disk;
    LoseWholeLinesAndRecover([](bool ok, std::string const& what) { EXPECT_TRUE(ok) << what; },
                             dir.Path().string(),
                             [&] {
                                 struct rlimit limit = saved;
                                 limit.rlim_cur = 1000;
                                 EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
                             },
                             [&] { setrlimit(RLIMIT_FSIZE, &saved); });
    std::signal(SIGXFSZ, previous);
    std::string const root = disk.Path().string(), filler = root + "/filler";
    RunOnSmallDisk(root, "64k", [&](ChildReport& report) {
        LoseWholeLinesAndRecover([&](bool ok, std::string const& what) { report.Expect(ok, what); },
                                 root, [&] { FillDisk(filler); },
                                 [&] { std::remove(filler.c_str()); });
    });
}
