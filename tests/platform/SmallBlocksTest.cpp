// The small-block allocator: blocks of every class, reuse, frees on other threads and at
// thread exit, the large block kept between documents, and the callers that free by size
// (texts that shrink after decoding, objects freed through a virtual base).
#include "platform/SmallBlocks.h"

#include "support/Stress.h"

#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUStringMac.h>

#include "platform/Text.h"

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace platform = varn::platform;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
#else
constexpr bool kThreadSanitizer = false;
#endif

// Under AddressSanitizer every block is a plain operator new of its exact size: classes,
// reuse and the counts do not exist there.
bool Pooled() {
    return platform::SameSmallBlock(9, 16);
}

std::int64_t ThreadBytes() {
    return platform::GetSmallBlockStats().threadBytesInUse;
}

void Fill(void* block, std::size_t size, unsigned char seed) {
    auto* bytes = static_cast<unsigned char*>(block);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(seed + i);
    }
}

bool Holds(void const* block, std::size_t size, unsigned char seed) {
    auto const* bytes = static_cast<unsigned char const*>(block);
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != static_cast<unsigned char>(seed + i)) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(SmallBlocks, BlocksOfEverySizeAreAlignedAndKeepTheirBytes) {
    struct Held {
        void* block;
        std::size_t size;
    };
    std::vector<Held> held;
    for (int round = 0; round < 40; ++round) {
        for (std::size_t size = 0; size <= platform::kMaxSmallBlock + 64; ++size) {
            void* block = platform::AllocateSmall(size);
            ASSERT_NE(nullptr, block);
            auto const at = reinterpret_cast<std::uintptr_t>(block);
            ASSERT_EQ(0u, at % 8) << size;
            if (size != 0 && size % 16 == 0) {
                ASSERT_EQ(0u, at % 16) << size;
            }
            Fill(block, size, static_cast<unsigned char>(size + round));
            held.push_back({block, size});
        }
    }
    // Every block still holds what was written into it: no two blocks overlap.
    for (std::size_t i = 0; i < held.size(); ++i) {
        unsigned char const seed = static_cast<unsigned char>(held[i].size + i / 577);
        ASSERT_TRUE(Holds(held[i].block, held[i].size, seed)) << held[i].size;
    }
    for (Held const& h : held) {
        platform::FreeSmall(h.block, h.size);
    }
}

TEST(SmallBlocks, SizesOfOneClassAreInterchangeable) {
    if (!Pooled()) {
        EXPECT_TRUE(platform::SameSmallBlock(40, 40));
        EXPECT_FALSE(platform::SameSmallBlock(40, 38));
        GTEST_SKIP() << "plain blocks under AddressSanitizer";
    }
    EXPECT_TRUE(platform::SameSmallBlock(33, 40));
    EXPECT_TRUE(platform::SameSmallBlock(0, 8));
    EXPECT_FALSE(platform::SameSmallBlock(40, 41));
    EXPECT_FALSE(platform::SameSmallBlock(platform::kMaxSmallBlock, platform::kMaxSmallBlock + 1));
    EXPECT_TRUE(platform::SameSmallBlock(platform::kMaxSmallBlock + 1, 100000));
}

TEST(SmallBlocks, FreedBlocksAreReusedInTheOrderTheyWereFreed) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer";
    }
    // A size no other test of this program uses, so that the lists hold only these blocks.
    constexpr std::size_t kSize = 488;
    constexpr int kCount = 5000; // several batches
    std::vector<void*> first(kCount);
    for (void*& block : first) {
        block = platform::AllocateSmall(kSize);
    }
    for (void* block : first) {
        platform::FreeSmall(block, kSize);
    }
    std::vector<void*> second(kCount);
    for (void*& block : second) {
        block = platform::AllocateSmall(kSize);
    }
    // The second round gets the same blocks and, batch by batch, in the same order; whatever
    // the lists held before this test may come first.
    std::vector<void*> sortedFirst = first, sortedSecond = second;
    std::sort(sortedFirst.begin(), sortedFirst.end());
    std::sort(sortedSecond.begin(), sortedSecond.end());
    std::size_t common = 0;
    for (void* block : second) {
        common += std::binary_search(sortedFirst.begin(), sortedFirst.end(), block) ? 1 : 0;
    }
    EXPECT_GT(common, std::size_t{kCount} * 9 / 10);
    std::size_t forwards = 0;
    for (std::size_t i = 1; i < second.size(); ++i) {
        forwards += second[i] > second[i - 1] ? 1 : 0;
    }
    EXPECT_GT(forwards, std::size_t{kCount} * 9 / 10);
    for (void* block : second) {
        platform::FreeSmall(block, kSize);
    }
}

TEST(SmallBlocks, CountsFollowEveryBlockTakenAndFreed) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer";
    }
    std::int64_t const before = ThreadBytes();
    void* a = platform::AllocateSmall(1);
    void* b = platform::AllocateSmall(41);
    void* big = platform::AllocateSmall(platform::kMaxSmallBlock + 1);
    EXPECT_EQ(before + 8 + 48, ThreadBytes());
    platform::FreeSmall(b, 48); // a size of the same class
    platform::FreeSmall(a, 1);
    platform::FreeSmall(big, platform::kMaxSmallBlock + 1);
    EXPECT_EQ(before, ThreadBytes());
}

TEST(SmallBlocks, BlocksFreedOnAnotherThreadServeBothThreads) {
    // A producer makes blocks, a consumer checks and frees them, for the stress duration;
    // both also make and free blocks of their own. Every block must hold what its maker wrote.
    struct Item {
        void* block;
        std::size_t size;
        unsigned char seed;
    };
    std::mutex lock;
    std::vector<Item> queue;
    std::atomic<bool> done{false};
    std::atomic<long> corrupted{0};
    std::atomic<long> passed{0};
    auto const until = std::chrono::steady_clock::now() + varn::test::StressDuration() / 2;

    std::thread consumer([&] {
        std::vector<Item> taken;
        while (true) {
            {
                std::lock_guard<std::mutex> hold(lock);
                taken.swap(queue);
            }
            if (taken.empty() && done.load()) {
                break;
            }
            for (Item const& item : taken) {
                if (!Holds(item.block, item.size, item.seed)) {
                    ++corrupted;
                }
                void* own = platform::AllocateSmall(item.size);
                Fill(own, item.size, 7);
                platform::FreeSmall(item.block, item.size);
                if (!Holds(own, item.size, 7)) {
                    ++corrupted;
                }
                platform::FreeSmall(own, item.size);
                ++passed;
            }
            taken.clear();
            std::this_thread::yield();
        }
    });
    unsigned counter = 0;
    while (std::chrono::steady_clock::now() < until) {
        std::vector<Item> made;
        for (int i = 0; i < 256; ++i, ++counter) {
            std::size_t const size = 8 + (counter * 37) % 300;
            unsigned char const seed = static_cast<unsigned char>(counter);
            void* block = platform::AllocateSmall(size);
            Fill(block, size, seed);
            made.push_back({block, size, seed});
        }
        std::lock_guard<std::mutex> hold(lock);
        queue.insert(queue.end(), made.begin(), made.end());
    }
    done.store(true);
    consumer.join();
    EXPECT_EQ(0, corrupted.load());
    EXPECT_GT(passed.load(), 0);
}

TEST(SmallBlocks, ThreadExitHandsItsFreeBlocksBack) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer";
    }
    // A size no other test of this program uses.
    constexpr std::size_t kSize = 472;
    constexpr int kCount = 20000;
    auto churn = [] {
        std::vector<void*> blocks(kCount);
        for (void*& block : blocks) {
            block = platform::AllocateSmall(kSize);
        }
        for (void* block : blocks) {
            platform::FreeSmall(block, kSize);
        }
    };
    std::thread(churn).join();
    std::uint64_t const reserved = platform::GetSmallBlockStats().bytesReserved;
    // The same again on new threads: the blocks the first thread left are taken up again
    // instead of new chunks.
    for (int i = 0; i < 3; ++i) {
        std::thread(churn).join();
    }
    churn();
    EXPECT_EQ(reserved, platform::GetSmallBlockStats().bytesReserved);
}

TEST(SmallBlocks, ShortLivedThreadsDoNotEachHoldAPieceOfMemory) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer";
    }
    // Each thread carves new blocks from a piece of a chunk of its own; what it leaves unused
    // goes back when it ends. 200 threads that each keep a few new blocks (freed here later)
    // fit in one or two chunks.
    std::uint64_t const reserved = platform::GetSmallBlockStats().bytesReserved;
    std::vector<void*> kept(800);
    for (int i = 0; i < 200; ++i) {
        std::thread([&kept, i] {
            for (int k = 0; k < 4; ++k) {
                kept[static_cast<std::size_t>(i * 4 + k)] = platform::AllocateSmall(456);
            }
        }).join();
    }
    EXPECT_LE(platform::GetSmallBlockStats().bytesReserved, reserved + (std::uint64_t{4} << 20));
    for (void* block : kept) {
        platform::FreeSmall(block, 456); // a size no other test uses
    }
}

TEST(SmallBlocks, TheLatestLargeBlockIsKeptForTheNextRequest) {
    void* first = platform::AllocateLarge(3 * platform::kMinLargeBlock);
    ASSERT_NE(nullptr, first);
    std::memset(first, 1, 3 * platform::kMinLargeBlock);
    platform::FreeLarge(first);
    void* second = platform::AllocateLarge(2 * platform::kMinLargeBlock);
    ASSERT_NE(nullptr, second);
    if (Pooled()) {
        EXPECT_EQ(first, second);
    }
    // A request the kept block cannot hold gets a block of its own.
    platform::FreeLarge(second);
    void* larger = platform::AllocateLarge(8 * platform::kMinLargeBlock);
    ASSERT_NE(nullptr, larger);
    std::memset(larger, 2, 8 * platform::kMinLargeBlock);
    platform::FreeLarge(larger);
    void* small = platform::AllocateLarge(100);
    ASSERT_NE(nullptr, small);
    platform::FreeLarge(small);
}

TEST(SmallBlocks, TextsShrunkAfterDecodingAreFreedByTheirLength) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer (which checks the sizes itself)";
    }
    // Multi-byte characters leave a text shorter than its bytes; each length below lands on
    // either side of a class boundary. A free of the wrong class shows in the thread's count.
    std::int64_t const before = ThreadBytes();
    for (std::size_t ascii = 0; ascii < 200; ++ascii) {
        for (std::size_t wide = 1; wide < 12; ++wide) {
            std::string utf8(ascii, 'a');
            for (std::size_t i = 0; i < wide; ++i) {
                utf8 += "\xC3\xA9"; // é: two bytes, one unit
            }
            platform::Text const* content = platform::DecodeUTF8Content(utf8.data(), utf8.size());
            platform::Text const* decoded =
                platform::Decode(utf8.data(), utf8.size(), platform::Encoding::UTF8);
            ASSERT_NE(nullptr, content);
            ASSERT_NE(nullptr, decoded);
            ASSERT_EQ(ascii + wide, content->length);
            ASSERT_TRUE(platform::SameUnits(content, decoded));
            platform::Release(content);
            platform::Release(decoded);
        }
    }
    EXPECT_EQ(before, ThreadBytes());
}

TEST(SmallBlocks, ObjectsAreFreedByTheSizeOfTheirWholeType) {
    if (!Pooled()) {
        GTEST_SKIP() << "plain blocks under AddressSanitizer (which checks the sizes itself)";
    }
    // A string reaches its count through a virtual base; a dictionary copies its keys and
    // shares their texts. Everything made here is given back in full.
    std::int64_t const before = ThreadBytes();
    {
        CUSharedPtr<CUMutableDictionary> map(new CUMutableDictionary());
        for (int i = 0; i < 1000; ++i) {
            std::string const key = "key" + std::to_string(i);
            CUSharedPtr<CUObject> value(new CUStringMac(key.c_str(), CUString_CharCode_UTF8));
            map->SetObjectForKey(value, CUSharedPtr<CUStringMac>(
                                            new CUStringMac(key.c_str(), CUString_CharCode_UTF8)));
        }
        EXPECT_GT(ThreadBytes(), before);
        CUSharedPtr<CUDictionary> copy(new CUDictionary(map));
        map->RemoveAllObjects();
        EXPECT_EQ(1000u, copy->Count());
    }
    EXPECT_EQ(before, ThreadBytes());
}

TEST(SmallBlocks, AChildForkedWhileOtherThreadsAllocateCanAllocate) {
    // Other threads take and give back batches through the store while this one forks: the
    // child must find the store's locks free. The sanitizers' own allocators can deadlock in
    // such a child, so the test runs only without them.
    if (!Pooled() || kThreadSanitizer) {
        GTEST_SKIP() << "fork of a process with allocating threads under a sanitizer";
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> churners;
    for (int t = 0; t < 2; ++t) {
        churners.emplace_back([&stop] {
            std::vector<void*> blocks;
            while (!stop.load()) {
                for (int i = 0; i < 2000; ++i) {
                    blocks.push_back(platform::AllocateSmall(24 + 8 * (i % 8)));
                }
                for (std::size_t i = 0; i < blocks.size(); ++i) {
                    platform::FreeSmall(blocks[i], 24 + 8 * (i % 8));
                }
                blocks.clear();
            }
        });
    }
    int failures = 0;
    for (int round = 0; round < 20; ++round) {
        pid_t const pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            std::vector<void*> blocks;
            for (int i = 0; i < 20000; ++i) {
                blocks.push_back(platform::AllocateSmall(8 + 8 * (i % 64)));
            }
            for (std::size_t i = 0; i < blocks.size(); ++i) {
                platform::FreeSmall(blocks[i], 8 + 8 * (i % 64));
            }
            ::_exit(0);
        }
        int status = 0;
        if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            ++failures;
        }
    }
    stop.store(true);
    for (std::thread& churner : churners) {
        churner.join();
    }
    EXPECT_EQ(0, failures);
}
