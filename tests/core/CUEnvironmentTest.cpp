// CUEnvironment: the processor count follows the affinity of the calling thread.
#include <VarnUtilityLib/CUEnvironment.h>

#include <gtest/gtest.h>
#include <sched.h>

#include <thread>

TEST(CUEnvironment, ProcessorCountIsTheAffinityOfTheCallingThread) {
    cpu_set_t original;
    ASSERT_EQ(0, sched_getaffinity(0, sizeof original, &original));
    EXPECT_EQ(CPU_COUNT(&original), CUEnvironment::ProcessorCount());
    int seen = -1; // narrow a helper thread's affinity to its first processor and ask from there
    std::thread narrowed([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        for (int first = 0; CPU_COUNT(&one) == 0; ++first) {
            if (CPU_ISSET(first, &original)) {
                CPU_SET(first, &one);
            }
        }
        if (sched_setaffinity(0, sizeof one, &one) == 0) {
            seen = CUEnvironment::ProcessorCount();
        }
    });
    narrowed.join();
    if (seen == -1) {
        GTEST_SKIP() << "the affinity cannot be changed here";
    }
    EXPECT_EQ(1, seen);
}
