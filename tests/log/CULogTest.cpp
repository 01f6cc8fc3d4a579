// CULogTest.cpp — the ring-of-ten-files log: lines, levels, rotation, continuation, the single
// instance, files changed behind its back and the system report.
#include "log/LogTesting.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace fs = std::filesystem;

namespace {

void SetAge(std::string const& path, int secondsAgo) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
}

} // namespace

// A line is a local time stamp, the level label and the message; levels above the instance's
// are dropped and unknown ones are DEBUG. The message is the text of a string made from the
// expanded bytes: a leading byte-order mark is dropped, a stray 0xA9 becomes U+FFFD, bytes that
// are not UTF-8 are each replaced by U+FFFD, a zero ends it and expanded percent signs stay as
// they are. Formats in and out of ASCII, as C strings and as strings, alike.
TEST(CULog, FirstWriteMakesFileZeroOfStampedLinesReadAsTheirStringsGiveThemBack) {
    TempFolder dir;
    {
        LogSession session(dir.File("logs"), "U", 3);
        CULog::Write(3, "hello %d from %s", 5, "me");
        CULog::Write(1, "e");
        CULog::Write(2, "w");
        CULog::Write(4, "dropped");
        CULog::Write(4, Str("dropped too"));
        CULog::Write(0, "zero");
        CULog::Write(7, "seven dropped");
        CULog::Write(3, static_cast<char const*>(nullptr)); // no format: nothing
        CULog::Write(3, CUSharedPtr<CUStringMac>());
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
    }
    {
        LogSession session(dir.File("logs"), "U", 7);
        CULog::Write(7, "seven written");
    }
    std::vector<std::string> lines = LinesOf(ReadFile(dir.File("logs/U0.log")));
    std::vector<std::string> const expected = {
        "[INFO]\thello 5 from me",
        "[ERROR]\te",
        "[WARNING]\tw",
        "[DEBUG]\tzero",
        "[INFO]\tmarked",
        "[INFO]\tcaf\xC3\xA9 1",
        "[INFO]\tcaf\xC3\xA9 2",
        "[INFO]\tbad \xEF\xBF\xBD(",
        "[INFO]\tbad a\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x9F\x8C\x8D\xEF\xBF\xBD\xEF\xBF\xBD"
        "b",
        "[INFO]\tstray \xEF\xBF\xBD",
        "[INFO]\tcut",
        "[INFO]\t100%d %s%%",
        "[INFO]\tplain %d",
        "[DEBUG]\tseven written"};
    ASSERT_EQ(expected.size(), lines.size());
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]\t.*)")))
        << lines[0];
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], lines[i].substr(lines[i].find('\t') + 1)) << i;
    }
}

TEST(CULog, HelpersSpellLabelsPathsAndStampsAndReadFileFacts) {
    CULog log;
    char const* const labels[] = {"DEBUG", "ERROR", "WARNING", "INFO", "DEBUG"};
    for (unsigned int level = 0; level < 5; ++level) {
        EXPECT_EQ(labels[level], Text(log.GetLogLevelString(level)));
    }
    EXPECT_EQ(log.GetLogLevelString(0).get(), log.GetLogLevelString(99).get());
    EXPECT_EQ("(NULL)", Text(g_pLogNULL));
    EXPECT_EQ("/var/x/App3.log", Text(CULog::GetLogFilePath(Str("/var/x"), Str("App"), 3)));
    EXPECT_EQ("/var/x/App10.log", Text(CULog::GetLogFilePath(Str("/var/x/"), Str("App"), 10)));
    EXPECT_FALSE(CULog::GetLogFilePath(CUSharedPtr<CUStringMac>(), Str("App"), 0));
    EXPECT_FALSE(CULog::GetLogFilePath(Str("/x"), CUSharedPtr<CUStringMac>(), 0));
    CUSharedPtr<CUDateTime> t = CUDateTime::Create(2024, 3, 5, 7, 8, 9);
    EXPECT_EQ("2024/03/05 07:08:09", Text(CULog::GetLogDateTimeString(t)));
    EXPECT_FALSE(CULog::GetLogDateTimeString(CUSharedPtr<CUDateTime>()));

    TempFolder dir;
    CUSharedPtr<CUStringMac> const file = Str(dir.File("d.log")), missing = Str(dir.File("none"));
    WriteFile(dir.File("d.log"), "x");
    SetAge(dir.File("d.log"), 3600);
    CUSharedPtr<CUDateTime> modified = CULog::GetLogFileTime(file, _Log_DateTime_Type_Modify);
    ASSERT_TRUE(modified);
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    CUSharedPtr<CUDateTime> hourAgo = now->AddSeconds(-3600);
    EXPECT_LE(std::abs(modified->GetHour(true) * 60 + modified->GetMinute(true) -
                       (hourAgo->GetHour(true) * 60 + hourAgo->GetMinute(true))),
              1);
    CUSharedPtr<CUDateTime> created = CULog::GetLogFileTime(file, _Log_DateTime_Type_Create);
    if (created) { // only where the file system records birth times
        EXPECT_FALSE(*now < *created);
    }
    EXPECT_FALSE(CULog::GetLogFileTime(file, static_cast<_Log_DateTime_Type>(2)));
    EXPECT_FALSE(CULog::GetLogFileTime(missing, _Log_DateTime_Type_Modify));
    EXPECT_EQ(1u, CULog::GetLogFileSize(file));
    EXPECT_EQ(0u, CULog::GetLogFileSize(missing));
    CULog::DeleteLogFile(file);
    CULog::DeleteLogFile(file);
    EXPECT_FALSE(fs::exists(dir.File("d.log")));
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

// Each row: how many files of the ring exist (each holding one old line), their ages in seconds
// and a full one; the next line goes to `taker`, emptied first or appended to, and no other file
// changes.
TEST(CULog, ContinuesBeforeTheFirstMissingFileOrInTheNewestAndTheLowerOnEqualDates) {
    struct {
        int files;
        int ages[10];
        int full, taker;
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
            std::vector<std::string> lines = LinesOf(ReadFile(name(i)));
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
    EXPECT_TRUE(held->WriteFileString(Str("raw line\r\n"))); // appended as it is
    EXPECT_FALSE(held->WriteFileString(CUSharedPtr<CUStringMac>()));
    z_WriteSystemInfo(CUSharedPtr<CUStringMac>()); // nothing to write to: nothing happens
    std::vector<std::string> lines = LinesOf(ReadFile(dir.File("first/A0.log")));
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("still works", MessageOf(lines[0]));
    EXPECT_EQ("raw line", lines[1]);
    EXPECT_EQ(2, std::distance(fs::directory_iterator(dir.File("first")), fs::directory_iterator()))
        << "the ring's file and state only";
}

// The current file stays open between lines; whatever happens to it or its folder by name must
// still be seen by the next line, and logging never throws.
TEST(CULog, LinesFollowTheFileAtThePathWhenItOrItsFolderIsDeletedGrownOrReplaced) {
    TempFolder dir;
    LogSession session(dir.File("logs"), "F", 3);
    auto file = [&](std::string const& name) { return dir.File(("logs/" + name).c_str()); };
    auto only = [&](std::string const& name) {
        std::vector<std::string> lines = LinesOf(ReadFile(file(name)));
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
}

// The first report is asked for here, the others by processes that exit at once after asking: no
// destructor runs and nothing the library started is waited for.
TEST(CULog, SystemReportGoesToExactlyTheNamedFileRunsNothingAndOutlivesItsProcess) {
    TempFolder dir;
    for (int run = 0; run < 5; ++run) {
        std::string const name =
            "report" + std::to_string(run) + " \"quoted\" $(touch pwned) `touch pwned2`.txt";
        if (run == 0) {
            LogSession session(dir.Path().string(), "S", 3);
            CULog::GetInstance()->WriteSystemInfo(Str(name));
        } else {
            Child child = StartChild([&](ChildReport&) {
                CULog::InitializeWithName(Str(dir.Path().string()), Str("S"), 3);
                CULog::GetInstance()->WriteSystemInfo(Str(name));
            });
            ASSERT_GT(child.pid, 0);
            EXPECT_EQ("", Finish(child));
        }
        std::string contents;
        for (int i = 0; i < 200 && contents.find("Volumes") == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            contents = ReadFile(dir.File(name.c_str()));
        }
        EXPECT_NE(std::string::npos, contents.find("Operating system:")) << run;
        EXPECT_NE(std::string::npos, contents.find("Processors online:")) << run;
        EXPECT_NE(std::string::npos, contents.find("Volumes")) << run;
    }
    for (auto const& entry : fs::directory_iterator(dir.Path())) { // nothing named pwned, no log
        std::string const name = entry.path().filename().string();
        EXPECT_TRUE(name == ".S.ring" || name.rfind("report", 0) == 0) << name;
    }
    EXPECT_FALSE(fs::exists("pwned"));
    EXPECT_FALSE(fs::exists("pwned2"));
}
