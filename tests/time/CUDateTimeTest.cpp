// CUDateTime: instants, calendar fields in local time and GMT, texts, the null date. TZ=UTC and
// LANG=en_US.UTF-8 unless a test pins another with ScopedEnv.
#include "TimeTestSupport.h"

#include <VarnUtilityLib/CUDateTime.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr char kNNBSP[] = "\xE2\x80\xAF"; // U+202F before AM/PM since CLDR 42

// 2024-03-05 07:08:09 GMT: 8,464 days after 2001-01-01 plus 25,689 seconds.
constexpr double kMarch5th2024 = 8464.0 * 86400.0 + 25689.0;

// A date whose platform date is null: assigning a date to itself drops its own date first.
CUDateTime makeNullDate() {
    CUDateTime date(0.0);
    CUDateTime& alias = date;
    date = alias;
    return CUDateTime(date);
}

// The six fields as "YYYY-MM-DD hh:mm:ss", in local time or GMT.
std::string fields(CUDateTime& d, bool local) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", d.GetYear(local),
                  d.GetMonth(local), d.GetDay(local), d.GetHour(local), d.GetMinute(local),
                  d.GetSecond(local));
    return text;
}

} // namespace

TEST(CUDateTime, CalendarConstructorReadsLocalWallClock) {
    CUDateTime date(2024, 3, 5, 7, 8, 9);
    EXPECT_DOUBLE_EQ(kMarch5th2024, date.GetAbsoluteTime());
    ScopedEnv tz("TZ", "Asia/Tokyo");
    CUDateTime tokyo(2024, 3, 5, 7, 8, 9);
    EXPECT_DOUBLE_EQ(kMarch5th2024 - 9 * 3600.0, tokyo.GetAbsoluteTime());
    EXPECT_EQ(7, tokyo.GetHour(true));
    EXPECT_EQ(22, tokyo.GetHour(false));
    EXPECT_EQ(4, tokyo.GetDay(false));
}

TEST(CUDateTime, FieldsOfInstantsAroundTheEpochMonthEndsAndLeapYears) {
    CUDateTime date(2024, 1, 31, 23, 0, 0);
    EXPECT_EQ("2024-02-01 01:00:00", fields(*date.AddHours(2), true));
    EXPECT_EQ("2024-01-31 23:00:00", fields(date, true)) << "the original is unchanged";
    EXPECT_DOUBLE_EQ(-129600.0, date.AddDays(-1.5)->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(90.0, date.AddMinutes(1.5)->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(0.25, date.AddSeconds(0.25)->GetAbsoluteTime() - date.GetAbsoluteTime());
    CUDateTime origin(0.0), before(-0.5), truncated(59.9);
    EXPECT_EQ("2001-01-01 00:00:00", fields(origin, false));
    EXPECT_EQ("2000-12-31 23:59:59", fields(before, false)); // non-negative fields
    EXPECT_DOUBLE_EQ(59.5, before.GregorianDate(false).second);
    EXPECT_EQ("2001-01-01 00:00:59", fields(truncated, false)); // toward zero
    EXPECT_DOUBLE_EQ(59.9, truncated.GregorianDate(false).second);
    CUDateTime leap(2000, 2, 29, 0, 0, 0), notLeap(1900, 2, 29, 0, 0, 0);
    EXPECT_EQ("2000-02-29 00:00:00", fields(leap, false));
    EXPECT_EQ("1900-03-01 00:00:00", fields(notLeap, false));
}

TEST(CUDateTime, DateTimeInfoAppliesTheOffsetRoundedToMinutesUpToEighteenHoursAndTheDaylightHour) {
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 3600, 0};
    CUDateTime standard(info);
    EXPECT_EQ("2024-06-01 11:00:00", fields(standard, false));
    info.daylightSaving = 1;
    CUDateTime daylight(info);
    EXPECT_DOUBLE_EQ(3600.0, standard.GetAbsoluteTime() - daylight.GetAbsoluteTime());
    info = {2024, 6, 1, 12, 0, 0, 3630, 0}; // 60.5 minutes -> 61
    CUDateTime east(info);
    EXPECT_EQ("2024-06-01 10:59:00", fields(east, false));
    info.gmtOffset = -90; // -1.5 minutes -> -2
    CUDateTime west(info);
    EXPECT_EQ("2024-06-01 12:02:00", fields(west, false));

    info.gmtOffset = 18 * 3600;
    EXPECT_NO_THROW(CUDateTime{info});
    EXPECT_TRUE(CUDateTime::Create(info));
    info.gmtOffset = -18 * 3600 - 1;
    unsigned int code = 0;
    try {
        CUDateTime rejected(info);
    } catch (unsigned int thrown) {
        code = thrown;
    }
    EXPECT_EQ(static_cast<unsigned int>(CUError_NotReady), code);
    EXPECT_FALSE(CUDateTime::Create(info)) << "the factory swallows the error";
}

TEST(CUDateTime, NarrowFieldsKeepOnlyTheirLowEightBitsAndDaysRollOver) {
    CUDateTime wrapped(2024, 257, 15, 10, 256 + 30, 0); // month 257 keeps 1, minute 286 keeps 30
    EXPECT_EQ("2024-01-15 10:30:00", fields(wrapped, true));
    // Month 200 becomes -56 in 8 bits: outside 1..12 it adds no month, so January.
    CUDateTime negative(2024, 200, 15, 0, 0, 0);
    EXPECT_TRUE(negative == *CUDateTime::Create(2024, 1, 15, 0, 0, 0));
    CUDateTime rolled(2024, 2, 30, 0, 0, 0), dayZero(2024, 3, 0, 0, 0, 0),
        hour24(2024, 3, 5, 24, 0, 0);
    EXPECT_EQ("2024-03-01 00:00:00", fields(rolled, true));
    EXPECT_EQ("2024-02-29 00:00:00", fields(dayZero, true));
    EXPECT_EQ("2024-03-06 00:00:00", fields(hour24, true));
}

TEST(CUDateTime,
     DaysAre86400SecondsAndOffsetsChangeExactlyAtTransitionsAroundWhichWallTimesResolveInTwoSteps) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    CUDateTime before(2024, 3, 30, 12, 0, 0); // CET, GMT+1
    EXPECT_EQ(11, before.GetHour(false));
    CUSharedPtr<CUDateTime> after = before.AddDays(1); // clocks went forward at 02:00
    ASSERT_TRUE(after);
    EXPECT_DOUBLE_EQ(86400.0, after->GetAbsoluteTime() - before.GetAbsoluteTime());
    EXPECT_EQ(31, after->GetDay(true));
    EXPECT_EQ(13, after->GetHour(true)) << "CEST shows one hour more";
    EXPECT_EQ(11, after->GetHour(false));
    // Wall times that the change skips or repeats. East of GMT the two-step offset moves a
    // skipped time forward and takes the second of a repeated one; west of GMT it moves a
    // skipped time back and takes the first.
    struct Change {
        char const* zone;
        int month, day, hour, gmtHour, localHour;
    };
    for (Change c :
         {Change{"Europe/Berlin", 3, 31, 2, 1, 3}, Change{"Europe/Berlin", 10, 27, 2, 1, 2},
          Change{"America/New_York", 3, 10, 2, 6, 1}, Change{"America/New_York", 11, 3, 1, 5, 1}}) {
        ScopedEnv zone("TZ", c.zone);
        CUDateTime wall(2024, c.month, c.day, c.hour, 30, 0);
        EXPECT_EQ(c.gmtHour, wall.GetHour(false)) << c.zone << " " << c.month;
        EXPECT_EQ(c.localHour, wall.GetHour(true)) << c.zone << " " << c.month;
    }

    // Summer time began at 2024-03-31 01:00:00 GMT; read both sides in turn, and far away,
    // so that no remembered offset leaks from one instant to another.
    CUDateTime lastWinterSecond(2024, 3, 31, 1, 59, 59);
    CUSharedPtr<CUDateTime> firstSummerSecond = lastWinterSecond.AddSeconds(1);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(1, lastWinterSecond.GetHour(true));
        EXPECT_EQ(0, lastWinterSecond.GetHour(false));
        EXPECT_EQ(3, firstSummerSecond->GetHour(true));
        EXPECT_EQ(1, firstSummerSecond->GetHour(false));
        EXPECT_EQ(13, CUDateTime(1950, 7, 1, 13, 0, 0).GetHour(true));
        EXPECT_EQ(12, CUDateTime(2100, 1, 1, 12, 0, 0).GetHour(true));
        EXPECT_EQ(11, CUDateTime(2100, 1, 1, 12, 0, 0).GetHour(false));
    }
}

TEST(CUDateTime, SystemZoneComesFromTZOrElseTheMachine) {
    {
        ScopedEnv tz("TZ", ":Asia/Tokyo");
        EXPECT_EQ("Asia/Tokyo", varn::platform::SystemZoneId());
    }
    {
        ScopedEnv tz("TZ", "/usr/share/zoneinfo/America/New_York");
        EXPECT_EQ("America/New_York", varn::platform::SystemZoneId());
        CUDateTime date(2024, 1, 15, 12, 0, 0);
        EXPECT_EQ(17, date.GetHour(false));
    }
    {
        // An unknown name is not kept as a zone that behaves like GMT.
        ScopedEnv tz("TZ", "Bogus/Zone");
        EXPECT_NE("Bogus/Zone", varn::platform::SystemZoneId());
        EXPECT_FALSE(varn::platform::SystemZoneId().empty());
    }
    EXPECT_EQ("UTC", varn::platform::SystemZoneId());
}

TEST(CUDateTime, NullDateAnswersEveryOperationSafely) {
    CUDateTime null = makeNullDate();
    EXPECT_FALSE(null.HasDate());
    // Instants past the calendar's range, or none at all, read like a date that is not there.
    ScopedEnv tz("TZ", "America/New_York");
    for (double t : {std::nan(""), 1.81e14, -8.9e12, 1e300, -HUGE_VAL}) {
        CUDateTime past(t);
        for (CUDateTime* date : {&null, &past}) {
            std::string const row = date == &null ? "null date" : std::to_string(t);
            for (CUSharedPtr<CUStringMac> text :
                 {date->Description(), date->GetString(true), date->GetString(false, 1, 1),
                  date->GetDateString(true), date->GetTimeString(false)}) {
                EXPECT_EQ("(NULL)", Utf8(text)) << row;
            }
            EXPECT_EQ("0000-00-00 00:00:00", fields(*date, true)) << row;
            EXPECT_EQ("0000-00-00 00:00:00", fields(*date, false)) << row;
        }
    }
    for (double t : {1.79e14, -8.7e12}) { // still inside: fields and text agree
        CUDateTime far(t);
        int const year = far.GetYear(true);
        std::string const text = Utf8(far.Description());
        EXPECT_EQ(std::to_string(year <= 0 ? 1 - year : year), text.substr(0, text.find('/'))) << t;
    }
    EXPECT_FALSE(null.AddSeconds(1) || null.AddDays(1));
    CUDateTime other(0.0);
    EXPECT_FALSE(null == other || other == null || null < other || other < null);
    EXPECT_FALSE(null == null) << "two null dates are not equal";
    CUDateTime target(5.0); // assigning a null date makes the target null; a real one revives it
    target = null;
    EXPECT_FALSE(target.HasDate());
    target = other;
    EXPECT_TRUE(target == other);
}

TEST(CUDateTime, ComparisonsFollowTheInstantAndNowIsTheSystemClock) {
    CUDateTime a(10.0), b(10.0), c(10.5);
    EXPECT_TRUE(a == b && a < c);
    EXPECT_FALSE(a == c || c < a || a < b);
    CUDateTime copy(c);
    EXPECT_TRUE(copy == c);
    EXPECT_EQ(0, copy.GetRetainCount());
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    EXPECT_EQ(1, now->GetRetainCount());
    double expected = static_cast<double>(std::time(nullptr)) - 978307200.0;
    EXPECT_NEAR(expected, now->GetAbsoluteTime(), 5.0);
}

TEST(CUDateTime, GetStringShowsTheChosenZonesWallClock) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    CUDateTime date(kMarch5th2024);
    EXPECT_EQ(std::string("Mar 5, 2024, 7:08:09") + kNNBSP + "AM", Utf8(date.GetString(false)));
    EXPECT_EQ(std::string("Mar 5, 2024, 8:08:09") + kNNBSP + "AM", Utf8(date.GetString(true)));
    EXPECT_EQ("Mar 5, 2024", Utf8(date.GetDateString(true)));
    EXPECT_EQ(std::string("8:08:09") + kNNBSP + "AM", Utf8(date.GetTimeString(true)));
    // Near midnight the local date differs from GMT's.
    CUDateTime late(kMarch5th2024 + 16 * 3600.0 + 30 * 60.0); // 23:38 GMT
    EXPECT_EQ("Mar 5, 2024", Utf8(late.GetDateString(false)));
    EXPECT_EQ("Mar 6, 2024", Utf8(late.GetDateString(true)));
}

TEST(CUDateTime, FormatsEveryStyleInTheUsersLocale) {
    struct {
        long date, time;
        char const* enUS;
        char const* deDE;
    } const rows[] = {
        // '~' stands for U+202F NARROW NO-BREAK SPACE
        // clang-format off
        {1, 0, "3/5/24", "05.03.24"}, {2, 0, "Mar 5, 2024", "05.03.2024"},
        {4, 0, "Tuesday, March 5, 2024", "Dienstag, 5. M\xC3\xA4rz 2024"},
        {0, 1, "7:08~AM", "07:08"}, {0, 2, "7:08:09~AM", "07:08:09"},
        {0, 4, "7:08:09~AM Greenwich Mean Time", "07:08:09 Mittlere Greenwich-Zeit"},
        {3, 3, "March 5, 2024 at 7:08:09~AM GMT", "5. M\xC3\xA4rz 2024 um 07:08:09 GMT"},
        {4, 4, "Tuesday, March 5, 2024 at 7:08:09~AM Greenwich Mean Time",
               "Dienstag, 5. M\xC3\xA4rz 2024 um 07:08:09 Mittlere Greenwich-Zeit"},
        // clang-format on
    };
    auto expand = [](char const* s) {
        std::string out(s);
        for (std::size_t at; (at = out.find('~')) != std::string::npos;) {
            out.replace(at, 1, kNNBSP);
        }
        return out;
    };
    CUDateTime date(kMarch5th2024);
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message() << "date style " << row.date << " time style " << row.time);
        ScopedEnv en("LANG", "en_US.UTF-8");
        EXPECT_EQ(expand(row.enUS), Utf8(date.GetString(false, row.date, row.time)));
        ScopedEnv de("LANG", "de_DE.UTF-8");
        EXPECT_EQ(expand(row.deDE), Utf8(date.GetString(false, row.date, row.time)));
    }
    // Styles outside the five mean medium; no styles at all mean an empty text.
    EXPECT_EQ(Utf8(date.GetString(false, 2, 2)), Utf8(date.GetString(false, 7, 9)));
    EXPECT_EQ(Utf8(date.GetString(false, 2, 2)), Utf8(date.GetString(false, -1, 5)));
    EXPECT_EQ("", Utf8(date.GetString(false, 0, 0)));
}

TEST(CUDateTime, ConcurrentFormattingGivesTheSameTexts) {
    CUDateTime date(kMarch5th2024);
    std::string expected = Utf8(date.GetString(false, 4, 4));
    std::string expectedDescription = Utf8(date.Description());
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            CUDateTime mine(kMarch5th2024);
            for (int i = 0; i < 200; ++i) {
                if (Utf8(mine.GetString(false, 4, 4)) != expected ||
                    Utf8(mine.Description()) != expectedDescription || mine.GetDay(true) != 5) {
                    ++mismatches;
                }
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(0, mismatches.load());
}

TEST(CUDateTime, PlainLocalesFormatAsUsEnglish) {
    ScopedEnv all("LC_ALL", nullptr);
    ScopedEnv time("LC_TIME", nullptr);
    for (char const* plain : {"C", "C.UTF-8", "POSIX"}) {
        ScopedEnv lang("LANG", plain);
        EXPECT_EQ("en_US_POSIX", varn::platform::DateLocaleId()) << plain;
    }
}

TEST(CUDateTime, DescriptionIsLocalTimeInAFixedProlepticPattern) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    ScopedEnv lang("LANG", "de_DE.UTF-8");
    EXPECT_EQ("2024/03/05 07:08:09", Utf8(CUDateTime(2024, 3, 5, 7, 8, 9).Description()));
    EXPECT_EQ("0987/01/02 03:04:05", Utf8(CUDateTime(987, 1, 2, 3, 4, 5).Description()));
    // The same instant in GMT is an hour earlier; the text stays local.
    CUDateTime fromGMT(kMarch5th2024);
    EXPECT_EQ("2024/03/05 08:08:09", Utf8(fromGMT.Description()));
}
