// CUIdentifierGeneratorTest.cpp — increasing identifiers, alone and under contention.
#include <VarnUtilityLib/CUIdentifierGenerator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

TEST(CUIdentifierGenerator, FirstIdentifierIsOneAndEachCallAddsOne) {
    CUSharedPtr<CUIdentifierGenerator> generator(new CUIdentifierGenerator);
    EXPECT_EQ(1ull, generator->GenerateIdentifier());
    EXPECT_EQ(2ull, generator->GenerateIdentifier());
    EXPECT_EQ(3ull, generator->GenerateIdentifier());
}

TEST(CUIdentifierGenerator, SharedInstanceIsOneGeneratorForTheProcess) {
    CUSharedPtr<CUIdentifierGenerator> first = CUIdentifierGenerator::SharedInstance();
    CUSharedPtr<CUIdentifierGenerator> second = CUIdentifierGenerator::SharedInstance();
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_GE(first->GetRetainCount(), 3) << "the process keeps its own owner";
    unsigned long long a = first->GenerateIdentifier();
    unsigned long long b = second->GenerateIdentifier();
    EXPECT_GE(a, 1ull);
    EXPECT_EQ(a + 1, b);
}

TEST(CUIdentifierGenerator, FourThreadsGetExactlyOneToFourThousand) {
    CUSharedPtr<CUIdentifierGenerator> generator(new CUIdentifierGenerator);
    constexpr int kThreads = 4;
    constexpr int kPerThread = 1000;
    std::vector<std::vector<unsigned long long>> got(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            got[t].reserve(kPerThread);
            for (int i = 0; i < kPerThread; ++i) {
                got[t].push_back(generator->GenerateIdentifier());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::vector<unsigned long long> all;
    for (auto& ids : got) {
        EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end())) << "one thread sees them increase";
        all.insert(all.end(), ids.begin(), ids.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(4000u, all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(i + 1, all[i]);
    }
    EXPECT_EQ(4001ull, generator->GenerateIdentifier());
}
