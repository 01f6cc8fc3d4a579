// CUIdentifierGenerator: increasing identifiers, the shared instance, and eight threads drawing
// identifiers for VARN_STRESS_SECONDS (2 s by default).
#include "support/Stress.h"

#include <VarnUtilityLib/CUIdentifierGenerator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

// Counting from one on a fresh generator is the stress test's: its threads get exactly 1..N.
TEST(CUIdentifierGenerator, SharedInstanceIsOnePerProcessAndCountsOnForEveryHolder) {
    CUSharedPtr<CUIdentifierGenerator> first = CUIdentifierGenerator::SharedInstance();
    CUSharedPtr<CUIdentifierGenerator> second = CUIdentifierGenerator::SharedInstance();
    EXPECT_GE(first->GetRetainCount(), 3) << "the process keeps its own owner";
    unsigned long long a = first->GenerateIdentifier();
    EXPECT_EQ(a + 1, second->GenerateIdentifier()) << "the same generator";
}

// Together the threads get 1, 2, 3, ... with no number twice and none left out, each thread
// seeing its own rise.
TEST(CUIdentifierGenerator, EightThreadsUnderContentionGetNoDuplicateAndNoGap) {
    constexpr int kThreads = 8;
    constexpr std::size_t kCapPerThread = 1u << 20; // bounds the memory of a long run
    CUSharedPtr<CUIdentifierGenerator> generator(new CUIdentifierGenerator);
    std::vector<std::vector<unsigned long long>> got(kThreads);
    std::atomic<int> ready{0};
    auto const end = std::chrono::steady_clock::now() + varn::test::StressDuration();
    {
        std::vector<std::jthread> threads; // joined at the end of the block
        for (auto& mine : got) {
            threads.emplace_back([&] {
                mine.reserve(kCapPerThread);
                ready.fetch_add(1);
                while (ready.load() < kThreads) {
                }
                // The clock is read once every 1024 identifiers, to keep the contention high.
                while (mine.size() < kCapPerThread &&
                       (mine.size() % 1024 != 0 || std::chrono::steady_clock::now() < end)) {
                    mine.push_back(generator->GenerateIdentifier());
                }
            });
        }
    }
    std::vector<unsigned long long> all;
    for (auto const& ids : got) {
        EXPECT_TRUE(std::adjacent_find(ids.begin(), ids.end(), std::greater_equal<>()) == ids.end())
            << "one thread sees its identifiers strictly rise";
        all.insert(all.end(), ids.begin(), ids.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_FALSE(all.empty());
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(i + 1, all[i]) << "duplicate or gap at " << i;
    }
    EXPECT_EQ(all.size() + 1, generator->GenerateIdentifier());
    RecordProperty("identifiers", std::to_string(all.size()));
}
