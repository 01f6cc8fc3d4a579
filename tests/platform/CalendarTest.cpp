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
    struct Row {
        CFGregorianDate given, same; // `given` lies `shift` seconds after `same`
        double shift;
    } const rows[] = {
        {{2024, 13, 1, 0, 0, 0.0}, {2024, 1, 1, 0, 0, 0.0}, 0.0},
        {{2024, 1, 32, 0, 0, 0.0}, {2024, 2, 1, 0, 0, 0.0}, 0.0},
        {{2024, 1, 1, 0, -1, 0.0}, {2024, 1, 1, 0, 0, 0.0}, -60.0},
    };
    for (Row const& row : rows) {
        EXPECT_DOUBLE_EQ(cal::AbsoluteFromGregorian(row.same, cal::Zone{}) + row.shift,
                         cal::AbsoluteFromGregorian(row.given, cal::Zone{}));
    }
    EXPECT_FALSE(std::signbit(cal::GregorianFromAbsolute(-0.0, cal::Zone{}).second));
    EXPECT_EQ(0, cal::GregorianFromAbsolute(1e300, cal::Zone{}).year)
        << "instants beyond any calendar give an empty record";
}
