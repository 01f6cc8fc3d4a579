// CUDateTimeTest.cpp — instants, calendar fields in local time and GMT, texts, the null date.
//
// TestMain pins TZ=UTC and LANG=en_US.UTF-8; tests that need another zone or locale pin it
// with ScopedEnv.
#include "TimeTestSupport.h"

#include <VarnUtilityLib/CUDateTime.h>

#include <gtest/gtest.h>

#include <atomic>
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

TEST(CUDateTime, AddHoursCrossesTheMonthEnd) {
    CUDateTime date(2024, 1, 31, 23, 0, 0);
    CUSharedPtr<CUDateTime> later = date.AddHours(2);
    ASSERT_TRUE(later);
    EXPECT_EQ(2024, later->GetYear(true));
    EXPECT_EQ(2, later->GetMonth(true));
    EXPECT_EQ(1, later->GetDay(true));
    EXPECT_EQ(1, later->GetHour(true));
    EXPECT_EQ(0, later->GetMinute(true));
    EXPECT_EQ(23, date.GetHour(true)) << "the original is unchanged";

    CUSharedPtr<CUDateTime> earlier = date.AddDays(-1.5);
    ASSERT_TRUE(earlier);
    EXPECT_DOUBLE_EQ(-129600.0, earlier->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(90.0, date.AddMinutes(1.5)->GetAbsoluteTime() - date.GetAbsoluteTime());
    EXPECT_DOUBLE_EQ(0.25, date.AddSeconds(0.25)->GetAbsoluteTime() - date.GetAbsoluteTime());
}

TEST(CUDateTime, ZeroAbsoluteTimeIsTheStartOf2001InGMT) {
    CUDateTime origin(0.0);
    EXPECT_EQ(2001, origin.GetYear(false));
    EXPECT_EQ(1, origin.GetMonth(false));
    EXPECT_EQ(1, origin.GetDay(false));
    EXPECT_EQ(0, origin.GetHour(false));
    EXPECT_EQ(0, origin.GetMinute(false));
    EXPECT_EQ(0, origin.GetSecond(false));
}

TEST(CUDateTime, InstantsBeforeTheEpochBreakIntoNonNegativeFields) {
    CUDateTime before(-0.5);
    CFGregorianDate g = before.GregorianDate(false);
    EXPECT_EQ(2000, g.year);
    EXPECT_EQ(12, g.month);
    EXPECT_EQ(31, g.day);
    EXPECT_EQ(23, g.hour);
    EXPECT_EQ(59, g.minute);
    EXPECT_DOUBLE_EQ(59.5, g.second);
    // 1900 is not a leap year, 2000 is: 2000-02-29 exists, 1900-02-29 rolls into March.
    EXPECT_EQ(29, CUDateTime(2000, 2, 29, 0, 0, 0).GetDay(false));
    CUDateTime notLeap(1900, 2, 29, 0, 0, 0);
    EXPECT_EQ(3, notLeap.GetMonth(false));
    EXPECT_EQ(1, notLeap.GetDay(false));
}

TEST(CUDateTime, SecondsAreTruncatedTowardZero) {
    CUDateTime date(59.9);
    EXPECT_EQ(59, date.GetSecond(false));
    EXPECT_EQ(0, date.GetMinute(false));
    EXPECT_DOUBLE_EQ(59.9, date.GregorianDate(false).second);
}

TEST(CUDateTime, DateTimeInfoAppliesTheOffsetAndTheDaylightHour) {
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 3600, 0};
    CUDateTime standard(info);
    EXPECT_EQ(11, standard.GetHour(false));
    EXPECT_EQ(0, standard.GetMinute(false));
    info.daylightSaving = 1;
    CUDateTime daylight(info);
    EXPECT_EQ(10, daylight.GetHour(false));
    EXPECT_DOUBLE_EQ(3600.0, standard.GetAbsoluteTime() - daylight.GetAbsoluteTime());
}

TEST(CUDateTime, DateTimeInfoOffsetIsRoundedToWholeMinutes) {
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 3630, 0}; // 60.5 minutes -> 61
    CUDateTime east(info);
    EXPECT_EQ(10, east.GetHour(false));
    EXPECT_EQ(59, east.GetMinute(false));
    info.gmtOffset = -90; // -1.5 minutes -> -2
    CUDateTime west(info);
    EXPECT_EQ(12, west.GetHour(false));
    EXPECT_EQ(2, west.GetMinute(false));
    EXPECT_EQ(0, west.GetSecond(false));
}

TEST(CUDateTime, OffsetBeyondEighteenHoursThrowsNotReady) {
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 18 * 3600, 0};
    EXPECT_NO_THROW(CUDateTime{info});
    EXPECT_TRUE(CUDateTime::Create(info));
    info.gmtOffset = -18 * 3600 - 1;
    try {
        CUDateTime rejected(info);
        ADD_FAILURE() << "an offset past 18 hours was accepted";
    } catch (unsigned int code) {
        EXPECT_EQ(static_cast<unsigned int>(CUError_NotReady), code);
    }
    EXPECT_FALSE(CUDateTime::Create(info)) << "the factory swallows the error";
}

TEST(CUDateTime, NarrowFieldsKeepOnlyTheirLowEightBits) {
    // Month 257 keeps 1; minute 256 + 30 keeps 30.
    CUDateTime wrapped(2024, 257, 15, 10, 256 + 30, 0);
    EXPECT_EQ(1, wrapped.GetMonth(true));
    EXPECT_EQ(30, wrapped.GetMinute(true));
    // Month 200 becomes -56 in 8 bits: outside 1..12 it adds no month, so January.
    CUDateTime negative(2024, 200, 15, 0, 0, 0);
    EXPECT_TRUE(negative == *CUDateTime::Create(2024, 1, 15, 0, 0, 0));
    // Days count on from the first of the month: day 30 of February 2024 is March 1, day 0 is
    // the last day of the month before.
    CUDateTime rolled(2024, 2, 30, 0, 0, 0);
    EXPECT_EQ(3, rolled.GetMonth(true));
    EXPECT_EQ(1, rolled.GetDay(true));
    CUDateTime dayZero(2024, 3, 0, 0, 0, 0);
    EXPECT_EQ(2, dayZero.GetMonth(true));
    EXPECT_EQ(29, dayZero.GetDay(true));
    // Hour 24 is the next day's midnight.
    CUDateTime hour24(2024, 3, 5, 24, 0, 0);
    EXPECT_EQ(6, hour24.GetDay(true));
    EXPECT_EQ(0, hour24.GetHour(true));
}

TEST(CUDateTime, ADayIsAlways86400SecondsAcrossADaylightSavingChange) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    CUDateTime before(2024, 3, 30, 12, 0, 0); // CET, GMT+1
    EXPECT_EQ(11, before.GetHour(false));
    CUSharedPtr<CUDateTime> after = before.AddDays(1); // clocks went forward at 02:00
    ASSERT_TRUE(after);
    EXPECT_DOUBLE_EQ(86400.0, after->GetAbsoluteTime() - before.GetAbsoluteTime());
    EXPECT_EQ(31, after->GetDay(true));
    EXPECT_EQ(13, after->GetHour(true)) << "CEST shows one hour more";
    EXPECT_EQ(11, after->GetHour(false));
}

TEST(CUDateTime, WallTimesAroundDaylightChangesResolveInTwoSteps) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    // 02:30 on 2024-03-31 does not exist; the two-step offset gives 01:30 GMT = 03:30 CEST.
    CUDateTime skipped(2024, 3, 31, 2, 30, 0);
    EXPECT_EQ(1, skipped.GetHour(false));
    EXPECT_EQ(3, skipped.GetHour(true));
    // 02:30 on 2024-10-27 happens twice; the second (CET) is chosen: 01:30 GMT.
    CUDateTime repeated(2024, 10, 27, 2, 30, 0);
    EXPECT_EQ(1, repeated.GetHour(false));
    EXPECT_EQ(2, repeated.GetHour(true));
}

TEST(CUDateTime, OffsetsChangeExactlyAtTheTransition) {
    ScopedEnv tz("TZ", "Europe/Berlin");
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

TEST(CUDateTime, DescriptionIsLocalTimeInAFixedPattern) {
    ScopedEnv tz("TZ", "Europe/Berlin");
    ScopedEnv lang("LANG", "de_DE.UTF-8");
    EXPECT_EQ("2024/03/05 07:08:09", Utf8(CUDateTime(2024, 3, 5, 7, 8, 9).Description()));
    EXPECT_EQ("0987/01/02 03:04:05", Utf8(CUDateTime(987, 1, 2, 3, 4, 5).Description()));
    // The same instant in GMT is an hour earlier; the text stays local.
    CUDateTime fromGMT(kMarch5th2024);
    EXPECT_EQ("2024/03/05 08:08:09", Utf8(fromGMT.Description()));
}

TEST(CUDateTime, NullDateAnswersEveryOperationSafely) {
    CUDateTime null = makeNullDate();
    EXPECT_FALSE(null.HasDate());
    EXPECT_EQ("(NULL)", Utf8(null.Description()));
    EXPECT_EQ("(NULL)", Utf8(null.GetString(true)));
    EXPECT_EQ("(NULL)", Utf8(null.GetString(false, 1, 1)));
    EXPECT_EQ("(NULL)", Utf8(null.GetDateString(true)));
    EXPECT_EQ("(NULL)", Utf8(null.GetTimeString(false)));
    for (bool local : {true, false}) {
        EXPECT_EQ(0, null.GetYear(local));
        EXPECT_EQ(0, null.GetMonth(local));
        EXPECT_EQ(0, null.GetDay(local));
        EXPECT_EQ(0, null.GetHour(local));
        EXPECT_EQ(0, null.GetMinute(local));
        EXPECT_EQ(0, null.GetSecond(local));
    }
    EXPECT_FALSE(null.AddSeconds(1));
    EXPECT_FALSE(null.AddDays(1));
    CUDateTime other(0.0);
    EXPECT_FALSE(null == other);
    EXPECT_FALSE(other == null);
    EXPECT_FALSE(null == null) << "two null dates are not equal";
    EXPECT_FALSE(null < other);
    EXPECT_FALSE(other < null);
    // Assigning a null date makes the target null; assigning a real one revives it.
    CUDateTime target(5.0);
    target = null;
    EXPECT_FALSE(target.HasDate());
    target = other;
    EXPECT_TRUE(target == other);
}

TEST(CUDateTime, ComparisonsFollowTheInstant) {
    CUDateTime a(10.0), b(10.0), c(10.5);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(a < c);
    EXPECT_FALSE(c < a);
    EXPECT_FALSE(a < b);
    CUDateTime copy(c);
    EXPECT_TRUE(copy == c);
    EXPECT_EQ(0, copy.GetRetainCount());
}

TEST(CUDateTime, NowIsCloseToTheSystemClock) {
    CUSharedPtr<CUDateTime> now = CUDateTime::Create();
    ASSERT_TRUE(now);
    EXPECT_EQ(1, now->GetRetainCount());
    double expected = static_cast<double>(std::time(nullptr)) - 978307200.0;
    EXPECT_NEAR(expected, now->GetAbsoluteTime(), 5.0);
    EXPECT_GE(now->GetYear(false), 2024);
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

TEST(CUDateTime, StylesOutsideTheFiveMeanMediumAndNoStylesMeanEmpty) {
    CUDateTime date(kMarch5th2024);
    EXPECT_EQ(Utf8(date.GetString(false, 2, 2)), Utf8(date.GetString(false, 7, 9)));
    EXPECT_EQ(Utf8(date.GetString(false, 2, 2)), Utf8(date.GetString(false, -1, 5)));
    EXPECT_EQ("", Utf8(date.GetString(false, 0, 0)));
}

struct StyleCase {
    long dateStyle;
    long timeStyle;
    char const* enUS;
    char const* deDE;
};

class CUDateTimeStyles : public ::testing::TestWithParam<StyleCase> {};

TEST_P(CUDateTimeStyles, FormatsEveryStyleInTheUsersLocale) {
    StyleCase const& c = GetParam();
    CUDateTime date(kMarch5th2024);
    auto expand = [](char const* s) {
        std::string out(s);
        for (std::size_t at; (at = out.find('~')) != std::string::npos;) {
            out.replace(at, 1, kNNBSP);
        }
        return out;
    };
    {
        ScopedEnv lang("LANG", "en_US.UTF-8");
        EXPECT_EQ(expand(c.enUS), Utf8(date.GetString(false, c.dateStyle, c.timeStyle)));
    }
    {
        ScopedEnv lang("LANG", "de_DE.UTF-8");
        EXPECT_EQ(expand(c.deDE), Utf8(date.GetString(false, c.dateStyle, c.timeStyle)));
    }
}

// '~' stands for U+202F NARROW NO-BREAK SPACE.
INSTANTIATE_TEST_SUITE_P(
    AllStyles, CUDateTimeStyles,
    ::testing::Values(
        StyleCase{1, 0, "3/5/24", "05.03.24"}, StyleCase{2, 0, "Mar 5, 2024", "05.03.2024"},
        StyleCase{3, 0, "March 5, 2024", "5. M\xC3\xA4rz 2024"},
        StyleCase{4, 0, "Tuesday, March 5, 2024", "Dienstag, 5. M\xC3\xA4rz 2024"},
        StyleCase{0, 1, "7:08~AM", "07:08"}, StyleCase{0, 2, "7:08:09~AM", "07:08:09"},
        StyleCase{0, 3, "7:08:09~AM GMT", "07:08:09 GMT"},
        StyleCase{0, 4, "7:08:09~AM Greenwich Mean Time", "07:08:09 Mittlere Greenwich-Zeit"},
        StyleCase{1, 1, "3/5/24, 7:08~AM", "05.03.24, 07:08"},
        StyleCase{2, 2, "Mar 5, 2024, 7:08:09~AM", "05.03.2024, 07:08:09"},
        StyleCase{3, 3, "March 5, 2024 at 7:08:09~AM GMT", "5. M\xC3\xA4rz 2024 um 07:08:09 GMT"},
        StyleCase{4, 4, "Tuesday, March 5, 2024 at 7:08:09~AM Greenwich Mean Time",
                  "Dienstag, 5. M\xC3\xA4rz 2024 um 07:08:09 Mittlere Greenwich-Zeit"}),
    [](::testing::TestParamInfo<StyleCase> const& info) {
        return "Date" + std::to_string(info.param.dateStyle) + "Time" +
               std::to_string(info.param.timeStyle);
    });

TEST(CUDateTime, DateLocaleIsTheFirstNonEmptyOfLcAllLcTimeAndLang) {
    ScopedEnv all("LC_ALL", nullptr);
    ScopedEnv time("LC_TIME", nullptr);
    ScopedEnv lang("LANG", "de_DE.UTF-8@euro");
    EXPECT_EQ("de_DE", varn::platform::DateLocaleId());
    {
        ScopedEnv t("LC_TIME", "fr_FR.UTF-8");
        EXPECT_EQ("fr_FR", varn::platform::DateLocaleId());
        {
            ScopedEnv a("LC_ALL", "en_GB");
            EXPECT_EQ("en_GB", varn::platform::DateLocaleId());
        }
        ScopedEnv emptyAll("LC_ALL", "");
        EXPECT_EQ("fr_FR", varn::platform::DateLocaleId()) << "an empty value is skipped";
    }
    for (char const* plain : {"C", "C.UTF-8", "POSIX"}) {
        ScopedEnv l("LANG", plain);
        EXPECT_EQ("en_US_POSIX", varn::platform::DateLocaleId()) << plain;
    }
    ScopedEnv none("LANG", nullptr);
    EXPECT_EQ("en_US_POSIX", varn::platform::DateLocaleId());
}

TEST(CUDateTime, LocaleIsReadOnceUntilReset) {
    CUDateTime date(kMarch5th2024);
    ScopedEnv lang("LANG", "de_DE.UTF-8");
    EXPECT_EQ("05.03.2024", Utf8(date.GetDateString(false)));
    ::setenv("LANG", "en_US.UTF-8", 1); // not seen until the cache is reset
    EXPECT_EQ("05.03.2024", Utf8(date.GetDateString(false)));
    varn::platform::ResetDateLocaleCache();
    EXPECT_EQ("Mar 5, 2024", Utf8(date.GetDateString(false)));
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
