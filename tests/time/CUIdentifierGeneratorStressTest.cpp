// Eight threads drawing identifiers for VARN_STRESS_SECONDS (2 s by default): together they get
// 1, 2, 3, ... with no number twice and none left out, each thread seeing its own rise.
#include "support/Stress.h"

#include <VarnUtilityLib/CUIdentifierGenerator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

TEST(CUIdentifierGenerator, EightThreadsUnderContentionGetNoDuplicateAndNoGap) {
    constexpr int kThreads = 8;
    constexpr std::size_t kCapPerThread = 1u << 20; // bounds the memory of a long run
    auto const duration = varn::test::StressDuration();
    CUSharedPtr<CUIdentifierGenerator> generator(new CUIdentifierGenerator);
    std::vector<std::vector<unsigned long long>> got(kThreads);
    std::atomic<bool> stop{false};
    std::atomic<int> ready{0};
    std::atomic<int> full{0}; // threads that have stopped
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            auto& mine = got[t];
            mine.reserve(kCapPerThread);
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            while (!stop.load(std::memory_order_relaxed) && mine.size() < kCapPerThread) {
                mine.push_back(generator->GenerateIdentifier());
            }
            full.fetch_add(1);
        });
    }
    auto const start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < duration && full.load() < kThreads) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop.store(true);
    for (auto& thread : threads) {
        thread.join();
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
    std::printf("%zu identifiers from %d threads\n", all.size(), kThreads);
}
