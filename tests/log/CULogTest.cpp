// CULogTest.cpp — the ring-of-ten-files log: lines, levels, rotation, continuation, the single
// instance, concurrent writers and the system report.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CULog.h>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using varn::test::ReadFile;
using varn::test::Str;
using varn::test::TempFolder;
using varn::test::Text;
using varn::test::WriteFile;

namespace fs = std::filesystem;

namespace {

// Every test leaves no instance behind, whatever it asserted.
struct LogSession {
    LogSession(std::string const& folder, std::string const& name, unsigned int level) {
        CULog::InitializeWithName(Str(folder), Str(name), level);
    }
    ~LogSession() { CULog::Terminate(); }
    LogSession(LogSession const&) = delete;
    LogSession& operator=(LogSession const&) = delete;
};

std::vector<std::string> linesOf(std::string const& contents) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = contents.find("\r\n", start)) != std::string::npos;
         start = end + 2) {
        lines.push_back(contents.substr(start, end - start));
    }
    EXPECT_EQ(contents.size(), start) << "text after the last line end";
    return lines;
}

std::string messageOf(std::string const& line) {
    return line.substr(line.rfind('\t') + 1);
}

void setAge(std::string const& path, int secondsAgo) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
}

} // namespace

TEST(CULog, LevelsAboveTheInstanceLevelAreDroppedAndUnknownOnesAreDebug) {
    TempFolder dir;
    {
        LogSession session(dir.Path().string(), "L", 3);
        CULog::Write(1, "e");
        CULog::Write(2, "w");
        CULog::Write(4, "dropped");
        CULog::Write(0, "zero");
        CULog::Write(7, "seven dropped");
    }
    std::string contents = ReadFile(dir.File("L0.log"));
    EXPECT_NE(std::string::npos, contents.find("[ERROR]\te\r\n"));
    EXPECT_NE(std::string::npos, contents.find("[WARNING]\tw\r\n"));
    EXPECT_NE(std::string::npos, contents.find("[DEBUG]\tzero\r\n"));
    EXPECT_EQ(std::string::npos, contents.find("dropped"));
    {
        LogSession session(dir.Path().string(), "L", 7);
        CULog::Write(7, "seven written");
    }
    EXPECT_NE(std::string::npos, ReadFile(dir.File("L0.log")).find("[DEBUG]\tseven written\r\n"));
}

// A line is a local time stamp, the level label and the message. The message is the text of a
// string made from the expanded bytes: a leading byte-order mark is dropped, a stray 0xA9 becomes
// U+FFFD, bytes that are not UTF-8 are each replaced by U+FFFD, a zero ends it and expanded percent
// signs stay as they are. Formats in and out of ASCII, as C strings and as strings, alike.
TEST(CULog, FirstWriteMakesFileZeroOfStampedLinesReadAsTheirStringsGiveThemBack) {
    TempFolder dir;
    LogSession session(dir.File("logs"), "U", 3);
    ASSERT_TRUE(CULog::GetInstance());
    CULog::Write(3, "hello %d from %s", 5, "me");
    CULog::Write(3, "%s", "\xEF\xBB\xBFmarked");
    CULog::Write(3, "caf\xC3\xA9 %d", 1);
    CULog::Write(3, Str("caf\xC3\xA9 %d"), 2);
    CULog::Write(3, "%s", "bad \xC3\x28");
    CULog::Write(3, "bad %s",
                 "a\xFF\xFE\xF0\x9F\x8C\x8D\xE0\x80"
                 "b");
    CULog::Write(3, "stray \xA9");
    CULog::Write(3, "cut%c here", 0);
    CULog::Write(3, Str("%s"), "100%d %s%%");
    CULog::Write(3, "plain %%d");
    std::vector<std::string> lines = linesOf(ReadFile(dir.File("logs/U0.log")));
    std::vector<std::string> const expected = {
        "hello 5 from me",
        "marked",
        "caf\xC3\xA9 1",
        "caf\xC3\xA9 2",
        "bad \xEF\xBF\xBD(",
        "bad a\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x9F\x8C\x8D\xEF\xBF\xBD\xEF\xBF\xBD"
        "b",
        "stray \xEF\xBF\xBD",
        "cut",
        "100%d %s%%",
        "plain %d"};
    ASSERT_EQ(expected.size(), lines.size());
    EXPECT_TRUE(std::regex_match(
        lines[0], std::regex(R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t\[INFO\]\thello 5 from me)")))
        << lines[0];
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], messageOf(lines[i])) << i;
    }
}

TEST(CULog, LevelLabelsFilePathsAndTimeStampsAreSpelledExactly) {
    CULog log;
    EXPECT_EQ("DEBUG", Text(log.GetLogLevelString(0)));
    EXPECT_EQ("DEBUG", Text(log.GetLogLevelString(4)));
    EXPECT_EQ(log.GetLogLevelString(0).get(), log.GetLogLevelString(99).get());
    EXPECT_EQ("INFO", Text(log.GetLogLevelString(3)));
    EXPECT_EQ("(NULL)", Text(g_pLogNULL));

    EXPECT_EQ("/var/x/App3.log", Text(CULog::GetLogFilePath(Str("/var/x"), Str("App"), 3)));
    EXPECT_EQ("/var/x/App10.log", Text(CULog::GetLogFilePath(Str("/var/x/"), Str("App"), 10)));
    EXPECT_FALSE(CULog::GetLogFilePath(CUSharedPtr<CUStringMac>(), Str("App"), 0));
    EXPECT_FALSE(CULog::GetLogFilePath(Str("/x"), CUSharedPtr<CUStringMac>(), 0));

    CUSharedPtr<CUDateTime> t = CUDateTime::Create(2024, 3, 5, 7, 8, 9);
    EXPECT_EQ("2024/03/05 07:08:09", Text(CULog::GetLogDateTimeString(t)));
    EXPECT_FALSE(CULog::GetLogDateTimeString(CUSharedPtr<CUDateTime>()));
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

    // The worst-case size is what counts, not the real byte count of the line.
    unsigned int worst = CULog::GetStringByteSize(Str("abc"));
    EXPECT_GT(worst, 4u);
    WriteFile(dir.File("R1.log"), std::string(1000000 - worst + 1, 'y'));
    log.WriteLog(3, Str("abc"));
    EXPECT_TRUE(fs::exists(dir.File("R2.log")));
    EXPECT_EQ(1000000 - worst + 1, fs::file_size(dir.File("R1.log")));
}

TEST(CULog, RingWrapsFromNineToZeroDeletingZero) {
    TempFolder dir;
    for (int i = 0; i < 10; ++i) {
        WriteFile(dir.File(("W" + std::to_string(i) + ".log").c_str()),
                  "file " + std::to_string(i) + "\r\n");
        setAge(dir.File(("W" + std::to_string(i) + ".log").c_str()), 100 - i); // 9 is the newest
    }
    WriteFile(dir.File("W9.log"), std::string(1000000, 'z'));
    CULog log;
    ASSERT_EQ(0u, log.Init(Str(dir.Path().string()), Str("W"), 3));
    log.WriteLog(3, Str("after the wrap"));
    std::vector<std::string> lines = linesOf(ReadFile(dir.File("W0.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("after the wrap", messageOf(lines[0]));
    EXPECT_EQ(1000000u, fs::file_size(dir.File("W9.log")));
}

TEST(CULog, ContinuesBeforeTheFirstMissingFileOrWithAllTenInTheNewestAndTheLowerOnEqualDates) {
    TempFolder dir;
    auto name = [&](int i) { return dir.File(("N" + std::to_string(i) + ".log").c_str()); };
    for (int i = 0; i < 3; ++i) {
        WriteFile(name(i), "");
    }
    setAge(name(1), 50);
    setAge(name(2), 40); // file 0 is the newest, yet file 3 is missing
    {
        CULog log;
        ASSERT_EQ(0u, log.Init(Str(dir.Path().string()), Str("N"), 3));
        log.WriteLog(3, Str("next"));
        EXPECT_EQ(0u, fs::file_size(name(0)));
        EXPECT_NE(0u, fs::file_size(name(2)));
    }

    for (int i = 0; i < 10; ++i) {
        WriteFile(name(i), "");
        setAge(name(i), i == 6 ? 5 : 500);
    }
    {
        // Scoped: while a writer of the ring lives, a newcomer takes its number, not the dates'.
        CULog newest;
        ASSERT_EQ(0u, newest.Init(Str(dir.Path().string()), Str("N"), 3));
        newest.WriteLog(3, Str("to six"));
        EXPECT_NE(0u, fs::file_size(name(6)));
    }

    auto same = fs::file_time_type::clock::now() - std::chrono::seconds(30);
    for (int i = 0; i < 10; ++i) {
        WriteFile(name(i), "");
        fs::last_write_time(name(i), same);
    }
    fs::last_write_time(name(3), same + std::chrono::seconds(10));
    fs::last_write_time(name(7), same + std::chrono::seconds(10));
    CULog tie;
    ASSERT_EQ(0u, tie.Init(Str(dir.Path().string()), Str("N"), 3));
    tie.WriteLog(3, Str("to three"));
    EXPECT_NE(0u, fs::file_size(name(3)));
    EXPECT_EQ(0u, fs::file_size(name(7)));
}

TEST(CULog, OnlyTheFirstGoodInitialisationMakesTheInstanceAndHoldersOutliveTerminate) {
    TempFolder dir;
    WriteFile(dir.File("file"), "x");
    CULog::InitializeWithName(Str(dir.File("file/logs")), Str("F"), 3);
    EXPECT_FALSE(CULog::GetInstance());
    CULog::Write(1, "nowhere"); // a no-op, not a crash
    CULog::InitializeWithName(CUSharedPtr<CUStringMac>(), Str("F"), 3);
    EXPECT_FALSE(CULog::GetInstance());
    CULog log;
    EXPECT_EQ(0x10001u, log.Init(Str(dir.Path().string()), CUSharedPtr<CUStringMac>(), 3));

    CULog::InitializeWithName(Str(dir.File("first")), Str("A"), 3);
    CUSharedPtr<CULog> held = CULog::GetInstance();
    CULog::InitializeWithName(Str(dir.File("second")), Str("B"), 7);
    EXPECT_EQ(held.get(), CULog::GetInstance().get());
    EXPECT_FALSE(fs::exists(dir.File("second")));
    CULog::Terminate();
    EXPECT_FALSE(CULog::GetInstance());
    held->WriteLog(3, Str("still works"));
    CULog::Write(3, "dropped without an instance");
    std::vector<std::string> lines = linesOf(ReadFile(dir.File("first/A0.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("still works", messageOf(lines[0]));
}

TEST(CULog, FileDatesComeFromTheFileSystem) {
    TempFolder dir;
    WriteFile(dir.File("d.log"), "x");
    setAge(dir.File("d.log"), 3600);
    CUSharedPtr<CUDateTime> modified =
        CULog::GetLogFileTime(Str(dir.File("d.log")), _Log_DateTime_Type_Modify);
    ASSERT_TRUE(modified);
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    CUSharedPtr<CUDateTime> hourAgo = now->AddSeconds(-3600);
    EXPECT_LE(std::abs(modified->GetHour(true) * 60 + modified->GetMinute(true) -
                       (hourAgo->GetHour(true) * 60 + hourAgo->GetMinute(true))),
              1);
    CUSharedPtr<CUDateTime> created =
        CULog::GetLogFileTime(Str(dir.File("d.log")), _Log_DateTime_Type_Create);
    if (created) { // only where the file system records birth times
        EXPECT_FALSE(*now < *created);
    }
    EXPECT_FALSE(CULog::GetLogFileTime(Str(dir.File("d.log")), static_cast<_Log_DateTime_Type>(2)));
    EXPECT_FALSE(CULog::GetLogFileTime(Str(dir.File("missing")), _Log_DateTime_Type_Modify));
    EXPECT_EQ(1u, CULog::GetLogFileSize(Str(dir.File("d.log"))));
    EXPECT_EQ(0u, CULog::GetLogFileSize(Str(dir.File("missing"))));
    CULog::DeleteLogFile(Str(dir.File("d.log")));
    CULog::DeleteLogFile(Str(dir.File("d.log")));
    EXPECT_FALSE(fs::exists(dir.File("d.log")));
}

TEST(CULog, FourThreadsLoseAndTearNoLine) {
    TempFolder dir;
    LogSession session(dir.Path().string(), "M", 3);
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) {
                CULog::Write(3, "thread %d line %d with some padding text", t, i);
            }
        });
    }
    for (std::thread& w : writers) {
        w.join();
    }
    std::map<std::string, int> seen;
    std::regex shape(
        R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t\[INFO\]\tthread \d line \d+ with some padding text)");
    for (int i = 0; i < 10; ++i) {
        std::string file = dir.File(("M" + std::to_string(i) + ".log").c_str());
        if (!fs::exists(file)) {
            continue;
        }
        for (std::string const& line : linesOf(ReadFile(file))) {
            ASSERT_TRUE(std::regex_match(line, shape)) << line;
            ++seen[messageOf(line)];
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kLines), seen.size());
    for (auto const& [message, count] : seen) {
        ASSERT_EQ(1, count) << message;
    }
}

TEST(CULog, AFolderRemovedWhileLoggingNeverThrows) {
    TempFolder dir;
    LogSession session(dir.File("gone"), "G", 3);
    CULog::Write(3, "before");
    fs::remove_all(dir.File("gone"));
    EXPECT_NO_THROW(CULog::Write(3, "while gone"));
    EXPECT_FALSE(fs::exists(dir.File("gone/G0.log")));
    fs::create_directory(dir.File("gone"));
    CULog::Write(3, "after");
    std::vector<std::string> lines = linesOf(ReadFile(dir.File("gone/G0.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("after", messageOf(lines[0]));
}

// The current file stays open between lines; whatever happens to it by name must still be
// seen by the next line.
TEST(CULog, LinesFollowTheFileAtThePathWhenItIsDeletedGrownOrReplaced) {
    TempFolder dir;
    LogSession session(dir.Path().string(), "F", 3);
    CULog::Write(3, "one");
    fs::remove(dir.File("F0.log"));
    CULog::Write(3, "two");
    std::vector<std::string> lines = linesOf(ReadFile(dir.File("F0.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("two", messageOf(lines[0]));

    // Bytes appended by someone else count towards rotation at once.
    std::ofstream(dir.File("F0.log"), std::ios::app | std::ios::binary) << std::string(999990, 'x');
    CULog::Write(3, "three");
    lines = linesOf(ReadFile(dir.File("F1.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("three", messageOf(lines[0]));

    // A file moved away and replaced is left within a second.
    fs::rename(dir.File("F1.log"), dir.File("moved.log"));
    WriteFile(dir.File("F1.log"), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    CULog::Write(3, "four");
    EXPECT_EQ(1u, linesOf(ReadFile(dir.File("moved.log"))).size());
    lines = linesOf(ReadFile(dir.File("F1.log")));
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("four", messageOf(lines[0]));
}

TEST(CULog, SystemReportGoesToExactlyTheNamedFileAndRunsNothing) {
    TempFolder dir;
    LogSession session(dir.Path().string(), "S", 3);
    std::string name = "report \"quoted\" $(touch pwned) `touch pwned2`.txt";
    CULog::GetInstance()->WriteSystemInfo(Str(name));
    std::string path = dir.File(name.c_str());
    std::string contents;
    for (int i = 0; i < 100 && contents.find("Volumes") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        contents = ReadFile(path);
    }
    EXPECT_NE(std::string::npos, contents.find("Operating system:"));
    EXPECT_NE(std::string::npos, contents.find("Processors online:"));
    int entries = 0;
    for (auto const& entry : fs::directory_iterator(dir.Path())) {
        entries += entry.path().filename() != ".S.ring" ? 1 : 0;
    }
    EXPECT_EQ(1, entries); // the report and the ring's state only: nothing named pwned, no log
    EXPECT_FALSE(fs::exists("pwned"));
    EXPECT_FALSE(fs::exists("pwned2"));
}

TEST(CULog, SystemReportOutlivesAProcessThatExitsRightAfterAskingForIt) {
    TempFolder dir;
    for (int run = 0; run < 5; ++run) {
        std::string const name = "report" + std::to_string(run) + ".txt";
        pid_t const child = fork();
        ASSERT_NE(-1, child);
        if (child == 0) {
            CULog::InitializeWithName(Str(dir.Path().string()), Str("R"), 3);
            CULog::GetInstance()->WriteSystemInfo(Str(name));
            _exit(0); // at once: no destructor, no waiting for anything the library started
        }
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        std::string contents;
        for (int i = 0; i < 200 && contents.find("Volumes") == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            contents = ReadFile(dir.File(name.c_str()));
        }
        EXPECT_NE(std::string::npos, contents.find("Volumes")) << "run " << run;
    }
}

TEST(CULog, WriteFileStringAppendsTheLineAsItIs) {
    TempFolder dir;
    LogSession session(dir.Path().string(), "W", 3);
    CULog* log = CULog::GetInstance().get();
    EXPECT_TRUE(log->WriteFileString(Str("raw line\r\n")));
    EXPECT_FALSE(log->WriteFileString(CUSharedPtr<CUStringMac>()));
    EXPECT_EQ("raw line\r\n", ReadFile(dir.File("W0.log")));
    z_WriteSystemInfo(CUSharedPtr<CUStringMac>()); // nothing to write to: nothing happens
    EXPECT_EQ(2, std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()))
        << "the ring's file and state only";
}
