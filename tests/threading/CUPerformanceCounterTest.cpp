// CUPerformanceCounter: elapsed time and its texts, on a fake clock and then the real one.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUEnvironment.h>
#include <VarnUtilityLib/CUPerformanceCounter.h>

#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>

using varn::test::Text;

TEST(CUPerformanceCounter, ShowsIntervalsInThreeUnitsAndMissingOrTinyOnesAsAnErrorOnBothClocks) {
    struct {
        unsigned long long start, end, micro;
        char const* text;
    } const rows[] = {
        {5000, 0, 0, "CUPerformanceCounter err."},    // no end tick yet
        {0, 5000, 0, "CUPerformanceCounter err."},    // no start tick
        {5000, 5999, 0, "CUPerformanceCounter err."}, // 999 ns is under the threshold
        {5000, 6000, 1, "Processing time:1micro sec, 0msec, 0sec."},
        {1000, 4000000999, 3999999,
         "Processing time:3999999micro sec, 3999msec, 3sec."}, // truncated
    };
    static std::atomic<unsigned long long> ticks{0}; // the fake clock
    varn::platform::SetTickSourceForTesting([]() -> std::uint64_t { return ticks.load(); });
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message() << row.start << " to " << row.end);
        CUPerformanceCounter counter;
        ticks.store(row.start);
        EXPECT_EQ(row.start, counter.StartCounter());
        ticks.store(row.end);
        EXPECT_EQ(row.end, counter.EndCounter());
        EXPECT_EQ(row.micro, counter.GetProcessingTime());
        EXPECT_EQ(row.text, Text(counter.Description()));
    }
    varn::platform::SetTickSourceForTesting(nullptr);
    CUPerformanceCounter real; // the monotonic clock itself
    unsigned long long const start = real.StartCounter();
    CUSleep(5);
    EXPECT_GT(real.EndCounter(), start);
    EXPECT_GE(real.GetProcessingTime(), 5000ull);
}
