// CUPerformanceCounter: elapsed time and its texts, on a fake clock and the real one.
#include <VarnUtilityLib/CUEnvironment.h>
#include <VarnUtilityLib/CUPerformanceCounter.h>

#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace {

std::atomic<unsigned long long> g_fakeTicks{0};

std::uint64_t fakeClock() {
    return g_fakeTicks.load();
}

class FakeClock {
  public:
    FakeClock() { varn::platform::SetTickSourceForTesting(&fakeClock); }
    ~FakeClock() { varn::platform::SetTickSourceForTesting(nullptr); }
    void Set(unsigned long long ticks) { g_fakeTicks.store(ticks); }
};

std::string text(CUPerformanceCounter& counter) {
    std::string out;
    counter.Description()->GetString(out);
    return out;
}

} // namespace

TEST(CUPerformanceCounter, IntervalIsReportedInThreeUnits) {
    FakeClock clock;
    CUPerformanceCounter counter;
    clock.Set(1000);
    EXPECT_EQ(1000ull, counter.StartCounter());
    clock.Set(1000 + 2500000);
    EXPECT_EQ(2501000ull, counter.EndCounter());
    EXPECT_EQ(2500ull, counter.GetProcessingTime());
    EXPECT_EQ("Processing time:2500micro sec, 2msec, 0sec.", text(counter));

    clock.Set(1000 + 3999999999ull);
    counter.EndCounter();
    EXPECT_EQ(3999999ull, counter.GetProcessingTime()) << "truncated, not rounded";
    EXPECT_EQ("Processing time:3999999micro sec, 3999msec, 3sec.", text(counter));
}

TEST(CUPerformanceCounter, MissingTicksOrTinyIntervalsReportAnError) {
    FakeClock clock;
    CUPerformanceCounter counter;
    EXPECT_EQ(0ull, counter.GetProcessingTime());
    EXPECT_EQ("CUPerformanceCounter err.", text(counter));
    clock.Set(5000);
    counter.StartCounter();
    EXPECT_EQ(0ull, counter.GetProcessingTime()) << "no end tick yet";
    EXPECT_EQ("CUPerformanceCounter err.", text(counter));
    clock.Set(5999);
    counter.EndCounter();
    EXPECT_EQ(0ull, counter.GetProcessingTime());
    EXPECT_EQ("CUPerformanceCounter err.", text(counter)) << "999 ns is under the threshold";
    clock.Set(6000);
    counter.EndCounter();
    EXPECT_EQ(1ull, counter.GetProcessingTime());
    EXPECT_EQ("Processing time:1micro sec, 0msec, 0sec.", text(counter));
}

TEST(CUPerformanceCounter, RealClockMeasuresASleep) {
    CUPerformanceCounter counter;
    unsigned long long start = counter.StartCounter();
    CUSleep(5);
    unsigned long long end = counter.EndCounter();
    EXPECT_GT(end, start);
    EXPECT_GE(counter.GetProcessingTime(), 5000ull);
    EXPECT_EQ(0u, text(counter).find("Processing time:"));
}
