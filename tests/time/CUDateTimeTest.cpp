// CUDateTime: instants, calendar fields in local time and GMT, texts, the null date. TZ=UTC and
// LANG=en_US.UTF-8 unless a test pins another with ScopedEnv.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDateTime.h>

#include "platform/Calendar.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <latch>
#include <optional>
#include <string>
#include <thread>

using varn::test::CodeOf;
using varn::test::Text;

namespace {

// 2024-03-05 07:08:09 GMT: 8,464 days after 2001-01-01 plus 25,689 seconds.
constexpr double kMarch5th2024 = 8464.0 * 86400.0 + 25689.0;

// Pins a variable that the date code reads (TZ, LANG...) and restores it when it goes, dropping
// the cached zone and locale each time.
struct ScopedEnv {
    ScopedEnv(char const* name, char const* value) : name(name) {
        if (char const* was = std::getenv(name)) {
            old = was;
        }
        Set(value);
    }
    ~ScopedEnv() { Set(old ? old->c_str() : nullptr); }
    void Set(char const* value) {
        value != nullptr ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
        varn::platform::ResetSystemZoneCache();
        varn::platform::ResetDateLocaleCache();
    }
    std::string name;
    std::optional<std::string> old;
};

// The six fields as "YYYY-MM-DD hh:mm:ss", in local time or GMT.
std::string fields(CUDateTime& d, bool local) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", d.GetYear(local),
                  d.GetMonth(local), d.GetDay(local), d.GetHour(local), d.GetMinute(local),
                  d.GetSecond(local));
    return text;
}

} // namespace

// The calendar arithmetic itself is checked day by day in tests/platform/CalendarTest.cpp.
TEST(CUDateTime, FieldsOfInstantsAroundTheEpochAndAfterAddedIntervals) {
    EXPECT_DOUBLE_EQ(kMarch5th2024, CUDateTime(2024, 3, 5, 7, 8, 9).GetAbsoluteTime());
    CUDateTime date(2024, 1, 31, 23, 0, 0);
    EXPECT_EQ("2024-02-01 01:00:00", fields(*date.AddHours(2), true));
    EXPECT_DOUBLE_EQ(-129600.0, date.AddDays(-1.5)->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(90.0, date.AddMinutes(1.5)->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(0.25, date.AddSeconds(0.25)->GetAbsoluteTime() - date.GetAbsoluteTime());
    CUDateTime origin(0.0), truncated(59.9);
    EXPECT_EQ("2001-01-01 00:00:00", fields(origin, false));
    EXPECT_EQ("2001-01-01 00:00:59", fields(truncated, false)); // toward zero
    double const now = static_cast<double>(std::time(nullptr)) - 978307200.0;
    EXPECT_NEAR(now, CUDateTime::Create()->GetAbsoluteTime(), 5.0) << "now is the system clock";
}

// Dates made from wall-clock fields in the system zone, read back in GMT and locally.
TEST(CUDateTime, WallClockFieldsResolveInTheSystemZoneAndItsDaylightSavingChanges) {
    struct {
        char const* zone;
        int year, month, day, hour, minute, second;
        char const* gmt;
        char const* local; // null: as in GMT
    } const rows[] = {
        // clang-format off
        // 8-bit fields: month 257 keeps 1, minute 286 keeps 30; month 200 is -56: no month added.
        {"UTC", 2024, 257, 15, 10, 286, 0, "2024-01-15 10:30:00", nullptr},
        {"UTC", 2024, 200, 15, 0, 0, 0, "2024-01-15 00:00:00", nullptr},
        {"UTC", 2024, 3, 0, 0, 0, 0, "2024-02-29 00:00:00", nullptr},
        {"Asia/Tokyo", 2024, 3, 5, 7, 8, 9, "2024-03-04 22:08:09", "2024-03-05 07:08:09"},
        // Skipped or repeated wall times: east of GMT moved forward or the second taken, west
        // of GMT moved back or the first taken (the offset is found in two steps).
        {"America/New_York", 2024, 3, 10, 2, 30, 0, "2024-03-10 06:30:00", "2024-03-10 01:30:00"},
        {"America/New_York", 2024, 11, 3, 1, 30, 0, "2024-11-03 05:30:00", "2024-11-03 01:30:00"},
        // Both sides of 2024-03-31 01:00:00 GMT and far away, in turn: no offset leaks across.
        {"Europe/Berlin", 2024, 3, 30, 12, 0, 0, "2024-03-30 11:00:00", "2024-03-30 12:00:00"},
        {"Europe/Berlin", 2024, 3, 31, 13, 0, 0, "2024-03-31 11:00:00", "2024-03-31 13:00:00"},
        {"Europe/Berlin", 2024, 3, 31, 1, 59, 59, "2024-03-31 00:59:59", "2024-03-31 01:59:59"},
        // 01:59:60 makes the first summer second with the winter offset looked up last; the
        // local read (GMT reads look nothing up) must not reuse it past the change.
        {"Europe/Berlin", 2024, 3, 31, 1, 59, 60, "2024-03-31 01:00:00", "2024-03-31 03:00:00"},
        {"Europe/Berlin", 2024, 3, 31, 2, 30, 0, "2024-03-31 01:30:00", "2024-03-31 03:30:00"},
        {"Europe/Berlin", 2024, 10, 27, 2, 30, 0, "2024-10-27 01:30:00", "2024-10-27 02:30:00"},
        {"Europe/Berlin", 1950, 7, 1, 13, 0, 0, "1950-07-01 12:00:00", "1950-07-01 13:00:00"},
        {"Europe/Berlin", 2100, 1, 1, 12, 0, 0, "2100-01-01 11:00:00", "2100-01-01 12:00:00"},
        // clang-format on
    };
    ScopedEnv tz("TZ", nullptr);
    for (int round = 0; round < 3; ++round) {
        std::string zone; // set anew only when it changes
        for (auto const& r : rows) {
            if (zone != r.zone) {
                tz.Set(r.zone);
                zone = r.zone;
            }
            CUDateTime date(r.year, r.month, r.day, r.hour, r.minute, r.second);
            EXPECT_EQ(r.gmt, fields(date, false)) << r.zone << " " << r.gmt;
            EXPECT_EQ(r.local ? r.local : r.gmt, fields(date, true)) << r.zone << " " << r.gmt;
        }
    }
}

// Rounding and the eighteen-hour bound of fixed offsets: tests/platform/CalendarTest.cpp.
TEST(CUDateTime, DateTimeInfoAppliesItsOffsetAndDaylightHourAndThrowsForOffsetsOutOfBounds) {
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 3600, 0};
    CUDateTime standard(info);
    EXPECT_EQ("2024-06-01 11:00:00", fields(standard, false));
    info.daylightSaving = 1;
    EXPECT_DOUBLE_EQ(3600.0, standard.GetAbsoluteTime() - CUDateTime(info).GetAbsoluteTime());
    info.gmtOffset = -18 * 3600 - 1;
    EXPECT_EQ(static_cast<unsigned int>(CUError_NotReady), CodeOf([&] { CUDateTime{info}; }));
    EXPECT_FALSE(CUDateTime::Create(info)) << "the factory swallows the error";
}

TEST(CUDateTime, SystemZoneComesFromTZOrElseTheMachine) {
    ScopedEnv tz("TZ", nullptr);
    for (char const* name : {":Asia/Tokyo", "/usr/share/zoneinfo/Asia/Tokyo"}) {
        tz.Set(name);
        EXPECT_EQ("Asia/Tokyo", varn::platform::SystemZoneId()) << name;
    }
    tz.Set("Bogus/Zone"); // not kept as an unknown zone that behaves like GMT
    EXPECT_NE("Bogus/Zone", varn::platform::SystemZoneId());
}

TEST(CUDateTime, ComparisonsFollowTheInstantAndANullDateAnswersEveryOperationSafely) {
    CUDateTime a(10.0), b(10.0), c(10.5), copy(c);
    EXPECT_TRUE(a == b && a < c && copy == c);
    EXPECT_FALSE(a == c || c < a || a < b);
    EXPECT_EQ(0, copy.GetRetainCount());
    CUDateTime self(0.0), &alias = self;
    self = alias; // drops its own date first, as assigning any null date does
    CUDateTime null(self);
    EXPECT_FALSE(null.HasDate());
    // Instants past the calendar's range, or none at all, read like a date that is not there.
    ScopedEnv tz("TZ", "America/New_York");
    for (double t : {std::nan(""), 1.81e14, -8.9e12, 1e300, -HUGE_VAL}) {
        CUDateTime past(t);
        for (CUDateTime* date : {&null, &past}) {
            std::string const row = date == &null ? "null date" : std::to_string(t);
            EXPECT_EQ("(NULL)", Text(date->Description())) << row;
            EXPECT_EQ("(NULL)", Text(date->GetString(true, 1, 1))) << row;
            EXPECT_EQ("0000-00-00 00:00:00", fields(*date, true)) << row;
        }
    }
    for (double t : {1.79e14, -8.7e12}) { // still inside: fields and text agree
        CUDateTime far(t);
        int const year = far.GetYear(true);
        std::string const text = Text(far.Description());
        EXPECT_EQ(std::to_string(year <= 0 ? 1 - year : year), text.substr(0, text.find('/'))) << t;
    }
    EXPECT_FALSE(null.AddSeconds(1) || null.AddDays(1));
    EXPECT_FALSE(null == a || a == null || null < a || a < null);
    self = a; // assigning a real date revives a null one
    EXPECT_TRUE(self == a);
}

// After each change of TZ the zone is made anew on first use; threads that read local fields
// at that moment share it from its first transition query on (which once aborted one of them).
TEST(CUDateTime, ThreadsReadingANewlyChosenZoneAllAtOnceAgree) {
    struct {
        char const* zone;
        int hour; // at 07:08:09 GMT
    } const rows[] = {{"Europe/Berlin", 8}, {"America/New_York", 2}, {"Asia/Tokyo", 16}};
    CUDateTime date(kMarch5th2024);
    for (int round = 0; round < 30; ++round) {
        auto const& row = rows[round % 3];
        ScopedEnv tz("TZ", row.zone);
        std::latch start(4);
        std::atomic<int> wrong{0};
        auto read = [&] {
            start.arrive_and_wait();
            wrong += date.GetHour(true) != row.hour ? 1 : 0;
        };
        {
            std::jthread a(read), b(read), c(read);
            read();
        }
        EXPECT_EQ(0, wrong.load()) << row.zone;
    }
}

// U+202F NARROW NO-BREAK SPACE stands before AM/PM since CLDR 42.
TEST(CUDateTime, FormatsEveryStyleInTheUsersLocaleAndTheChosenZoneAlsoFromThreadsAtOnce) {
    struct {
        long date, time;
        char const* text;
    } const rows[] = {
        {1, 0, "3/5/24"},
        {4, 0, "Tuesday, March 5, 2024"},
        {0, 1, "7:08\u202FAM"},
        {0, 4, "7:08:09\u202FAM Greenwich Mean Time"},
        {3, 3, "March 5, 2024 at 7:08:09\u202FAM GMT"},
        {4, 4, "Tuesday, March 5, 2024 at 7:08:09\u202FAM Greenwich Mean Time"},
        {-1, 5, "Mar 5, 2024, 7:08:09\u202FAM"}, // styles outside the five mean medium
        {0, 0, ""},
    };
    ScopedEnv tz("TZ", "Europe/Berlin"); // GMT+1; the rows show GMT
    CUDateTime date(kMarch5th2024);
    for (auto const& row : rows) {
        EXPECT_EQ(row.text, Text(date.GetString(false, row.date, row.time)))
            << "date style " << row.date << " time style " << row.time;
    }
    auto formatAgain = [&date] {
        for (int round = 0; round < 200; ++round) {
            EXPECT_EQ("2024/03/05 08:08:09", Text(date.Description()));
            EXPECT_EQ("3/5/24", Text(date.GetString(false, 1, 0)));
            EXPECT_EQ(8, date.GetHour(true));
        }
    };
    {
        // Each thread keeps formatters of its own: one shared between threads garbles texts.
        std::jthread other(formatAgain), third(formatAgain);
        formatAgain();
    }
    EXPECT_EQ("Mar 5, 2024, 7:08:09\u202FAM", Text(date.GetString(false)));
    EXPECT_EQ("Mar 5, 2024", Text(date.GetDateString(true)));
    EXPECT_EQ("8:08:09\u202FAM", Text(date.GetTimeString(true)));
    // Near midnight the local date differs from GMT's.
    CUDateTime late(kMarch5th2024 + 16 * 3600.0 + 30 * 60.0); // 23:38 GMT
    EXPECT_EQ("Mar 5, 2024", Text(late.GetDateString(false)));
    EXPECT_EQ("Mar 6, 2024", Text(late.GetDateString(true)));
    ScopedEnv de("LANG", "de_DE.UTF-8"); // the styles above, now with German texts
    EXPECT_EQ("Dienstag, 5. M\u00E4rz 2024 um 07:08:09 Mittlere Greenwich-Zeit",
              Text(date.GetString(false, 4, 4)));
}

TEST(CUDateTime, DescriptionIsLocalTimeInAFixedProlepticPatternAndPlainLocalesAreUsEnglish) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    ScopedEnv lang("LANG", "de_DE.UTF-8");
    EXPECT_EQ("2024/03/05 07:08:09", Text(CUDateTime(2024, 3, 5, 7, 8, 9).Description()));
    EXPECT_EQ("0987/01/02 03:04:05", Text(CUDateTime(987, 1, 2, 3, 4, 5).Description()));
    ScopedEnv time("LC_TIME", nullptr); // LC_ALL is unset for every test (TestMain.cpp)
    for (char const* plain : {"C.UTF-8", "POSIX"}) {
        lang.Set(plain);
        EXPECT_EQ("en_US_POSIX", varn::platform::DateLocaleId()) << plain;
    }
}
