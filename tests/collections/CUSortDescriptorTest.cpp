// CUSortDescriptor: the sign convention, the copied comparer and the stable merge sort.
#include "collections/StableMergeSort.h"

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUSortDescriptor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

// Allocations of this many bytes or more are refused while a test sets it: memory pressure on
// demand, for this program only.
static std::atomic<std::size_t> g_refuseFrom{static_cast<std::size_t>(-1)};

// Every form is replaced, so that none of them pairs with another allocator's (the
// sanitizers bring their own).
namespace {
void* allocate(std::size_t size) {
    return size < g_refuseFrom.load(std::memory_order_relaxed) ? std::malloc(size + 1) : nullptr;
}
} // namespace

void* operator new(std::size_t size) {
    if (void* block = allocate(size)) {
        return block;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return allocate(size);
}
// The compiler sees these inlined next to new-expressions and takes free for a mismatch.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::nothrow_t const&) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::nothrow_t const&) noexcept {
    std::free(block);
}
#pragma GCC diagnostic pop

namespace {

std::atomic<int> g_liveItems{0};

class Item : public CUObject {
  public:
    Item(int key, int seq) : key(key), seq(seq) { ++g_liveItems; }
    ~Item() override { --g_liveItems; }
    int key;
    int seq;
};

Item* itemOf(CUSharedPtr<CUObject> const& object) {
    return dynamic_cast<Item*>(object.get());
}

// b - a on the keys: positive when a's key is smaller, so ascending puts small keys first.
class KeyDescriptor : public CUSortDescriptor {
  public:
    explicit KeyDescriptor(bool ascending = true) : CUSortDescriptor(ascending) {}
    int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        ++calls;
        return itemOf(b)->key - itemOf(a)->key;
    }
    long calls = 0;
};

class ThrowingDescriptor : public KeyDescriptor {
  public:
    explicit ThrowingDescriptor(long throwAt) : throwAt(throwAt) {}
    int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        if (++seen == throwAt) {
            throw std::runtime_error("comparison failed");
        }
        return KeyDescriptor::CompareObject(a, b);
    }
    long throwAt;
    long seen = 0;
};

CUSharedPtr<CUMutableArray> itemsOf(std::vector<int> const& keys) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        array->AddObject(CUSharedPtr<CUObject>(new Item(keys[i], static_cast<int>(i))));
    }
    return array;
}

std::vector<std::pair<int, int>> keysAndSeqs(CUSharedPtr<CUArray> const& array) {
    std::vector<std::pair<int, int>> out;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        Item* item = itemOf(array->ObjectAtIndex(i));
        out.emplace_back(item->key, item->seq);
    }
    return out;
}

std::vector<int> randomKeys(std::size_t n, int distinct, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> pick(0, distinct - 1);
    std::vector<int> keys(n);
    for (int& k : keys) {
        k = pick(rng);
    }
    return keys;
}

std::vector<std::pair<int, int>> expectedStable(std::vector<int> const& keys, bool ascending) {
    std::vector<std::pair<int, int>> expected;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        expected.emplace_back(keys[i], static_cast<int>(i));
    }
    std::stable_sort(expected.begin(), expected.end(), [ascending](auto const& a, auto const& b) {
        return ascending ? a.first < b.first : a.first > b.first;
    });
    return expected;
}

struct Plain {
    int first;
    int second;
};

std::vector<std::pair<int, int>> asPairs(std::vector<Plain> const& data) {
    std::vector<std::pair<int, int>> out;
    for (Plain const& p : data) {
        out.emplace_back(p.first, p.second);
    }
    return out;
}

} // namespace

TEST(CUSortDescriptor, PredicateFollowsTheReversedSignConvention) {
    CUSharedPtr<CUObject> small(new Item(1, 0)), big(new Item(2, 1));
    KeyDescriptor ascending(true), descending(false);
    EXPECT_GT(ascending.CompareObject(small, big), 0);
    EXPECT_TRUE(ascending(small, big) && !ascending(big, small) && !ascending(small, small));
    EXPECT_TRUE(descending(big, small) && !descending(small, big) && !descending(small, small));
}

TEST(CUSortDescriptor, CopyKeepsCallingTheSourcesOverride) {
    CUSharedPtr<CUObject> small(new Item(1, 0)), big(new Item(2, 1));
    KeyDescriptor original;
    CUSortDescriptor sliced(original); // only the base part is copied
    EXPECT_TRUE(sliced(small, big));
    EXPECT_FALSE(sliced(big, small));
    EXPECT_EQ(2, original.calls);
    CUSortDescriptor fresh; // the base compares everything equal
    EXPECT_FALSE(fresh(small, big) || fresh(big, small));
}

TEST(CUMutableArray, SortIsStableOnLargeInputsWithManyEqualKeys) {
    struct Case {
        std::size_t n;
        int distinct;
    };
    for (Case c : {Case{9, 2}, Case{17, 3}, Case{1000, 7}, Case{100000, 50}, Case{65537, 1000},
                   Case{50000, 50000}, Case{1000, 0}}) {
        std::vector<int> keys(c.n); // distinct 0: already sorted
        for (std::size_t i = 0; i < c.n; ++i) {
            keys[i] = static_cast<int>(i);
        }
        if (c.distinct > 0) {
            keys = randomKeys(c.n, c.distinct, static_cast<unsigned>(c.n));
        }
        for (bool ascending : {true, false}) {
            CUSharedPtr<CUMutableArray> array = itemsOf(keys);
            CUSharedPtr<KeyDescriptor> descriptor(new KeyDescriptor(ascending));
            array->SortUsingDescriptor(descriptor);
            ASSERT_EQ(expectedStable(keys, ascending), keysAndSeqs(array))
                << "n=" << c.n << " ascending=" << ascending;
        }
    }
}

TEST(CUMutableArray, SortMakesOnTheOrderOfNLogNComparisons) {
    std::vector<int> keys = randomKeys(1 << 16, 1 << 16, 7);
    CUSharedPtr<CUMutableArray> array = itemsOf(keys);
    CUSharedPtr<KeyDescriptor> descriptor(new KeyDescriptor());
    array->SortUsingDescriptor(descriptor);
    EXPECT_LT(descriptor->calls, 17L * (1 << 16)); // n log2 n is 16n; insertion runs add little
}

TEST(CUMutableArray, SortHandlesNullElements) {
    class NullsLast : public CUSortDescriptor {
      public:
        int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
            if (!a || !b) {
                return (a ? 1 : 0) - (b ? 1 : 0);
            }
            return itemOf(b)->key - itemOf(a)->key;
        }
    };
    CUSharedPtr<CUMutableArray> array = itemsOf({3, 1, 2});
    array->InsertObjectAtIndex(CUSharedPtr<CUObject>(), 1);
    array->SortUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new NullsLast));
    ASSERT_EQ(4u, array->Count());
    EXPECT_EQ(1, itemOf(array->ObjectAtIndex(0))->key);
    EXPECT_EQ(3, itemOf(array->ObjectAtIndex(2))->key);
    EXPECT_FALSE(array->ObjectAtIndex(3));
}

TEST(CUMutableArray, SortKeepsTheSameObjectsAndTheirCounts) {
    CUSharedPtr<CUMutableArray> array = itemsOf(randomKeys(500, 10, 3));
    CUSharedPtr<CUObject> shared = array->ObjectAtIndex(17);
    array->AddObject(shared); // the same object twice
    array->SortUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new KeyDescriptor));
    int seenShared = 0;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        CUSharedPtr<CUObject> element = array->ObjectAtIndex(i);
        if (element.get() == shared.get()) {
            ++seenShared;
        } else {
            EXPECT_EQ(2, element->GetRetainCount());
        }
    }
    EXPECT_EQ(2, seenShared);
    EXPECT_EQ(3, shared->GetRetainCount());
}

TEST(CUMutableArray, ThrowingComparatorLeaksNothingAndKeepsEveryElement) {
    int const before = g_liveItems.load();
    {
        std::vector<int> keys = randomKeys(5000, 100, 11);
        for (long throwAt : {1L, 5L, 100L, 20000L}) {
            CUSharedPtr<CUMutableArray> array = itemsOf(keys);
            CUSharedPtr<ThrowingDescriptor> descriptor(new ThrowingDescriptor(throwAt));
            EXPECT_THROW(array->SortUsingDescriptor(descriptor), std::runtime_error);
            EXPECT_EQ(1, descriptor->GetRetainCount());
            ASSERT_EQ(keys.size(), array->Count());
            std::vector<int> seqs;
            for (unsigned long i = 0; i < array->Count(); ++i) {
                CUSharedPtr<CUObject> element = array->ObjectAtIndex(i);
                ASSERT_TRUE(element);
                EXPECT_EQ(2, element->GetRetainCount()); // the array's and ours
                seqs.push_back(itemOf(element)->seq);
            }
            std::sort(seqs.begin(), seqs.end());
            for (std::size_t i = 0; i < seqs.size(); ++i) {
                ASSERT_EQ(static_cast<int>(i), seqs[i]);
            }
            EXPECT_THROW(array->SortedArrayUsingDescriptor(
                             CUSharedPtr<CUSortDescriptor>(new ThrowingDescriptor(throwAt))),
                         std::runtime_error);
        }
    }
    EXPECT_EQ(before, g_liveItems.load());
}

TEST(CUArray, SortedArrayLeavesTheSourceAlone) {
    std::vector<int> keys = randomKeys(300, 20, 5);
    CUSharedPtr<CUMutableArray> source = itemsOf(keys);
    CUSharedPtr<CUArray> sorted =
        source->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new KeyDescriptor));
    ASSERT_TRUE(sorted);
    EXPECT_EQ(expectedStable(keys, true), keysAndSeqs(sorted));
    auto unchanged = keysAndSeqs(source);
    for (std::size_t i = 0; i < unchanged.size(); ++i) {
        EXPECT_EQ(static_cast<int>(i), unchanged[i].second);
    }
    EXPECT_EQ(nullptr, dynamic_cast<CUMutableArray*>(sorted.get()));
}

TEST(CUArray, NullDescriptorSortsNothingAndGivesNoArray) {
    CUSharedPtr<CUMutableArray> source = itemsOf({2, 1});
    EXPECT_FALSE(source->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>()));
    source->SortUsingDescriptor(CUSharedPtr<CUSortDescriptor>());
    EXPECT_EQ(2, itemOf(source->ObjectAtIndex(0))->key);
    CUSharedPtr<CUArray> fromEmpty =
        CUSharedPtr<CUArray>(new CUArray())
            ->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new KeyDescriptor));
    ASSERT_TRUE(fromEmpty);
    EXPECT_EQ(0u, fromEmpty->Count());
}

// With the buffer limited, the in-place (rotation) merges must give what the buffered ones give.
TEST(StableMergeSort, SmallOrNoBufferGivesTheSameStableOrder) {
    for (std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{7}, std::size_t{100},
                              std::size_t{4999}, std::size_t{100000}}) {
        for (unsigned seed : {1u, 2u, 3u}) {
            std::vector<int> keys = randomKeys(20000, 30, seed);
            std::vector<Plain> data;
            for (std::size_t i = 0; i < keys.size(); ++i) {
                data.push_back(Plain{keys[i], static_cast<int>(i)});
            }
            long calls = 0;
            std::size_t used = varn::collections::StableMergeSort(
                data.data(), data.size(),
                [&calls](auto const& a, auto const& b) {
                    ++calls;
                    return a.first < b.first;
                },
                limit);
            EXPECT_EQ(std::min(limit, keys.size()), used);
            ASSERT_EQ(expectedStable(keys, true), asPairs(data)) << "buffer limit " << limit;
            EXPECT_LT(calls, 40L * 20000); // n log^2 n at worst for the rotation merges
        }
    }
}

TEST(CUMutableArray, SortWithoutMemoryForItsTablesSortsInPlaceAndKeepsEveryElement) {
    std::vector<int> const keys = randomKeys(5000, 100, 3);
    int const live = g_liveItems.load();
    for (long throwAt : {0L, 1L, 30L, 20000L}) { // 0: a comparer that never throws
        CUSharedPtr<CUMutableArray> array = itemsOf(keys);
        CUSharedPtr<ThrowingDescriptor> descriptor(new ThrowingDescriptor(throwAt));
        g_refuseFrom = 1024; // the side tables need 16 bytes an element
        bool threw = false;
        try {
            array->SortUsingDescriptor(descriptor);
        } catch (std::runtime_error const&) {
            threw = true;
        }
        g_refuseFrom = static_cast<std::size_t>(-1);
        ASSERT_EQ(throwAt != 0, threw) << "throwAt=" << throwAt;
        std::vector<std::pair<int, int>> got = keysAndSeqs(array);
        if (throwAt == 0) {
            EXPECT_EQ(expectedStable(keys, true), got);
        }
        std::sort(got.begin(), got.end(), [](auto& a, auto& b) { return a.second < b.second; });
        for (std::size_t i = 0; i < got.size(); ++i) {
            ASSERT_EQ(std::make_pair(keys[i], static_cast<int>(i)), got[i])
                << "throwAt=" << throwAt;
        }
    }
    EXPECT_EQ(live, g_liveItems.load());
}
