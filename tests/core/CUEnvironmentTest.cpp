// CUEnvironmentTest.cpp — the processor count and CUSleep.
#include <VarnUtilityLib/CUEnvironment.h>

#include "platform/System.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <chrono>
#include <thread>

TEST(CUEnvironment, ProcessorCountIsTheAffinityOfTheProcess) {
    int count = CUEnvironment::ProcessorCount();
    EXPECT_GE(count, 1);
    cpu_set_t set;
    CPU_ZERO(&set);
    ASSERT_EQ(0, sched_getaffinity(0, sizeof set, &set));
    EXPECT_EQ(CPU_COUNT(&set), count);
}

TEST(CUEnvironment, ProcessorCountFollowsANarrowedAffinity) {
    cpu_set_t original;
    CPU_ZERO(&original);
    ASSERT_EQ(0, sched_getaffinity(0, sizeof original, &original));
    int first = 0;
    while (!CPU_ISSET(first, &original)) {
        ++first;
    }
    // Affinity is per thread: narrow a helper thread's and ask from there.
    int seen = 0;
    std::thread narrowed([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        if (sched_setaffinity(0, sizeof one, &one) == 0) {
            seen = CUEnvironment::ProcessorCount();
        } else {
            seen = -1;
        }
    });
    narrowed.join();
    if (seen == -1) {
        GTEST_SKIP() << "the affinity cannot be changed here";
    }
    EXPECT_EQ(1, seen);
}

TEST(CUEnvironment, SleepPausesForTheGivenMilliseconds) {
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, CUSleep(0));
    EXPECT_EQ(0, CUSleep(20));
    auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(20));
}
