// Calendar arithmetic checked against the standard library's civil calendar; fixed-offset zones.
#include "platform/Calendar.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

namespace cal = varn::platform;

TEST(Calendar, FieldsMatchTheCivilCalendarForEveryDayOf1500To2500) {
    using namespace std::chrono;
    constexpr double kDay = 86400.0;
    sys_days const epoch2001 = sys_days(year(2001) / January / 1);
    for (sys_days d = sys_days(year(1500) / January / 1); d < sys_days(year(2500) / January / 1);
         d += days(1)) {
        double at = static_cast<double>((d - epoch2001).count()) * kDay + 3723.25; // 01:02:03.25
        CFGregorianDate g = cal::GregorianFromAbsolute(at, cal::Zone{});
        year_month_day ymd(d);
        ASSERT_EQ(static_cast<int>(ymd.year()), g.year);
        ASSERT_EQ(static_cast<unsigned>(ymd.month()), static_cast<unsigned>(g.month));
        ASSERT_EQ(static_cast<unsigned>(ymd.day()), static_cast<unsigned>(g.day));
        ASSERT_EQ(1, g.hour);
        ASSERT_EQ(2, g.minute);
        ASSERT_DOUBLE_EQ(3.25, g.second);
        ASSERT_DOUBLE_EQ(at, cal::AbsoluteFromGregorian(g, cal::Zone{}));
    }
}

TEST(Calendar, FixedOffsetsRoundToMinutesAndStopAtEighteenHours) {
    struct Case {
        double in;
        bool accepted;
        int out;
    } const cases[] = {
        {0, true, 0},        {3630, true, 3660}, {90, true, 120},      {-90, true, -120},
        {29, true, 0},       {-30, true, -60},   {64800, true, 64800}, {-64800, true, -64800},
        {64800.5, false, 0}, {-64801, false, 0},
    };
    for (Case const& c : cases) {
        cal::Zone zone;
        EXPECT_EQ(c.accepted, cal::MakeFixedOffsetZone(c.in, zone)) << c.in;
        if (c.accepted) {
            EXPECT_EQ(c.out, zone.offsetSeconds) << c.in;
            EXPECT_EQ(c.out, cal::ZoneOffsetAt(zone, 0.0));
        }
    }
}

TEST(Calendar, OutOfRangeFieldsRollOverAndNegativeZeroSecondsBecomeZero) {
    CFGregorianDate g{2024, 13, 1, 0, 0, 0.0};
    CFGregorianDate january{2024, 1, 1, 0, 0, 0.0};
    EXPECT_DOUBLE_EQ(cal::AbsoluteFromGregorian(january, cal::Zone{}),
                     cal::AbsoluteFromGregorian(g, cal::Zone{}));
    CFGregorianDate day32{2024, 1, 32, 0, 0, 0.0};
    CFGregorianDate feb1{2024, 2, 1, 0, 0, 0.0};
    EXPECT_DOUBLE_EQ(cal::AbsoluteFromGregorian(feb1, cal::Zone{}),
                     cal::AbsoluteFromGregorian(day32, cal::Zone{}));
    CFGregorianDate negativeMinute{2024, 1, 1, 0, -1, 0.0};
    EXPECT_DOUBLE_EQ(cal::AbsoluteFromGregorian(january, cal::Zone{}) - 60.0,
                     cal::AbsoluteFromGregorian(negativeMinute, cal::Zone{}));
    CFGregorianDate zero = cal::GregorianFromAbsolute(-0.0, cal::Zone{});
    EXPECT_FALSE(std::signbit(zero.second));
    CFGregorianDate absurd = cal::GregorianFromAbsolute(1e300, cal::Zone{});
    EXPECT_EQ(0, absurd.year) << "instants beyond any calendar give an empty record";
}
