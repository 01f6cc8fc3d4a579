// CUSortDescriptor: the sign convention, the copied comparer and the stable merge sort, also
// with a throwing comparer and without memory for the sort's tables.
#include "collections/StableMergeSort.h"

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUSortDescriptor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

// Array requests of this many bytes or more fail while a test sets it: memory pressure on
// demand, for the sort's tables (new (std::nothrow) T[n]) only.
static std::atomic<std::size_t> g_refuseFrom{static_cast<std::size_t>(-1)};

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    if (size >= g_refuseFrom.load(std::memory_order_relaxed)) {
        return nullptr;
    }
    try {
        return ::operator new[](size); // the usual allocator, which delete[] pairs with
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

namespace {

std::atomic<int> g_liveItems{0};

// A key and the position it was created at (`seq`): equal keys must keep their seq order.
struct Entry {
    int key;
    int seq;
    bool operator==(Entry const&) const = default;
};

struct Item : CUObject, Entry {
    explicit Item(Entry e) : Entry(e) { ++g_liveItems; }
    ~Item() override { --g_liveItems; }
};

// A null element reads as {kNullKey, -1}: it sorts after every item.
constexpr int kNullKey = 1 << 20;
Entry entryOf(CUSharedPtr<CUObject> const& object) {
    return object ? *dynamic_cast<Item*>(object.get()) : Entry{kNullKey, -1};
}

// b - a on the keys: positive when a's key is smaller, so ascending puts small keys first.
// Throws at comparison number `throwAt` (0: never).
class KeyDescriptor : public CUSortDescriptor {
  public:
    explicit KeyDescriptor(bool ascending = true, long throwAt = 0)
        : CUSortDescriptor(ascending), throwAt(throwAt) {}
    int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        if (++calls == throwAt) {
            throw std::runtime_error("comparison failed");
        }
        return entryOf(b).key - entryOf(a).key;
    }
    long throwAt;
    long calls = 0;
};

std::vector<Entry> randomEntries(std::size_t n, int distinct, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<Entry> out;
    for (std::size_t i = 0; i < n; ++i) { // distinct 0: already sorted
        out.push_back({distinct ? static_cast<int>(rng() % distinct) : static_cast<int>(i),
                       static_cast<int>(i)});
    }
    return out;
}

CUSharedPtr<CUMutableArray> itemsOf(std::vector<Entry> const& entries) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (Entry e : entries) {
        array->AddObject(CUSharedPtr<CUObject>(new Item(e)));
    }
    return array;
}

std::vector<Entry> entriesOf(CUSharedPtr<CUArray> const& array) {
    std::vector<Entry> out;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        out.push_back(entryOf(array->ObjectAtIndex(i)));
    }
    return out;
}

std::vector<Entry> stablySorted(std::vector<Entry> entries, bool ascending = true) {
    std::stable_sort(entries.begin(), entries.end(), [ascending](Entry a, Entry b) {
        return ascending ? a.key < b.key : a.key > b.key;
    });
    return entries;
}

} // namespace

TEST(CUSortDescriptor, PredicateFollowsTheReversedSignConventionAndCopiesKeepTheOverride) {
    CUSharedPtr<CUObject> small(new Item({1, 0})), big(new Item({2, 1}));
    KeyDescriptor ascending(true), descending(false);
    EXPECT_TRUE(ascending(small, big) && !ascending(big, small) && !ascending(small, small));
    EXPECT_TRUE(descending(big, small) && !descending(small, big) && !descending(small, small));
    CUSortDescriptor sliced(ascending); // only the base part is copied
    EXPECT_TRUE(sliced(small, big) && !sliced(big, small));
    EXPECT_EQ(5, ascending.calls);
    CUSortDescriptor fresh; // the base compares everything equal
    EXPECT_FALSE(fresh(small, big) || fresh(big, small));
}

TEST(CUMutableArray, SortIsStableInNLogNComparisonsAndSortedArrayLeavesTheSourceAlone) {
    using Case = std::pair<std::size_t, int>; // n, distinct keys (0: already sorted)
    for (auto [n, distinct] :
         {Case{0, 0}, Case{9, 2}, Case{17, 3}, Case{300, 20}, Case{1000, 7}, Case{100000, 50},
          Case{65537, 1000}, Case{1 << 16, 1 << 16}, Case{50000, 50000}, Case{1000, 0}}) {
        std::vector<Entry> const entries = randomEntries(n, distinct, unsigned(n));
        for (bool ascending : {true, false}) {
            SCOPED_TRACE(testing::Message() << "n=" << n << " ascending=" << ascending);
            CUSharedPtr<CUMutableArray> array = itemsOf(entries);
            CUSharedPtr<CUArray> sorted = array->SortedArrayUsingDescriptor(
                CUSharedPtr<KeyDescriptor>(new KeyDescriptor(ascending)));
            ASSERT_TRUE(sorted);
            ASSERT_EQ(stablySorted(entries, ascending), entriesOf(sorted));
            ASSERT_EQ(entries, entriesOf(array));
            CUSharedPtr<KeyDescriptor> descriptor(new KeyDescriptor(ascending));
            array->SortUsingDescriptor(descriptor);
            ASSERT_EQ(stablySorted(entries, ascending), entriesOf(array));
            if (n == 1 << 16 && ascending) { // n log2 n is 16n; insertion runs add little
                EXPECT_LT(descriptor->calls, 17L * n);
            }
        }
    }
}

TEST(CUMutableArray, SortKeepsNullElementsAndRepeatedObjectsAndANullDescriptorSortsNothing) {
    CUSharedPtr<CUMutableArray> array = itemsOf(randomEntries(500, 10, 3));
    CUSharedPtr<CUObject> shared = array->ObjectAtIndex(17);
    array->AddObject(shared); // the same object twice
    array->InsertObjectAtIndex(CUSharedPtr<CUObject>(), 1);
    std::vector<Entry> const before = entriesOf(array);
    EXPECT_FALSE(array->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>()));
    array->SortUsingDescriptor(CUSharedPtr<CUSortDescriptor>());
    EXPECT_EQ(before, entriesOf(array));
    array->SortUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new KeyDescriptor));
    EXPECT_EQ(stablySorted(before), entriesOf(array));
    for (unsigned long i = 0; i + 1 < array->Count(); ++i) {
        CUSharedPtr<CUObject> element = array->ObjectAtIndex(i);
        EXPECT_EQ(element.get() == shared.get() ? 4 : 2, element->GetRetainCount());
    }
}

// A comparer that throws, with memory and without memory for the side tables (then the
// elements are sorted where they stand): every element stays, once, and nothing leaks.
TEST(CUMutableArray, ThrowingComparerOrNoMemoryKeepsEveryElementAndLeaksNothing) {
    std::vector<Entry> const entries = randomEntries(5000, 100, 11);
    int const live = g_liveItems.load();
    using Case = std::pair<bool, long>; // no memory for the tables; throw at (0: never)
    for (auto [noMemory, throwAt] :
         {Case{false, 1}, Case{false, 5}, Case{false, 100}, Case{false, 20000}, Case{true, 0},
          Case{true, 1}, Case{true, 30}, Case{true, 20000}}) {
        SCOPED_TRACE(testing::Message() << "noMemory=" << noMemory << " throwAt=" << throwAt);
        CUSharedPtr<CUMutableArray> array = itemsOf(entries);
        CUSharedPtr<KeyDescriptor> descriptor(new KeyDescriptor(true, throwAt));
        g_refuseFrom = noMemory ? 1024 : static_cast<std::size_t>(-1); // tables: 16 B each
        bool threw = false;
        try {
            array->SortUsingDescriptor(descriptor);
        } catch (std::runtime_error const&) {
            threw = true;
        }
        g_refuseFrom = static_cast<std::size_t>(-1);
        ASSERT_EQ(throwAt != 0, threw);
        EXPECT_EQ(1, descriptor->GetRetainCount());
        std::vector<Entry> got = entriesOf(array);
        if (!threw) {
            EXPECT_EQ(stablySorted(entries), got);
        }
        for (unsigned long i = 0; i < array->Count(); ++i) {
            ASSERT_EQ(2, array->ObjectAtIndex(i)->GetRetainCount()); // the array's and ours
        }
        std::sort(got.begin(), got.end(), [](Entry a, Entry b) { return a.seq < b.seq; });
        ASSERT_EQ(entries, got);
        if (!noMemory) {
            EXPECT_THROW(array->SortedArrayUsingDescriptor(
                             CUSharedPtr<CUSortDescriptor>(new KeyDescriptor(true, throwAt))),
                         std::runtime_error);
        }
    }
    EXPECT_EQ(live, g_liveItems.load());
}

// With the buffer limited, the in-place (rotation) merges must give what the buffered ones give.
TEST(StableMergeSort, SmallOrNoBufferGivesTheSameStableOrder) {
    for (std::size_t limit : {0, 1, 7, 100, 4999, 100000}) {
        for (unsigned seed : {1u, 2u, 3u}) {
            std::vector<Entry> data = randomEntries(20000, 30, seed);
            std::vector<Entry> const expected = stablySorted(data);
            long calls = 0;
            std::size_t used = varn::collections::StableMergeSort(
                data.data(), data.size(),
                [&calls](Entry a, Entry b) {
                    ++calls;
                    return a.key < b.key;
                },
                limit);
            EXPECT_EQ(std::min<std::size_t>(limit, data.size()), used);
            ASSERT_EQ(expected, data) << "buffer limit " << limit;
            EXPECT_LT(calls, 40L * 20000); // n log^2 n at worst for the rotation merges
        }
    }
}
