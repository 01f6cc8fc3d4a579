// Tests of the root object and the shared pointer: counts, deletion, checked conversions.
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURecursiveLock.h>

#include <gtest/gtest.h>

#include <atomic>

namespace {

std::atomic<int> g_deletions{0};

struct Tracked : CUObject {
    ~Tracked() override { ++g_deletions; }
};

// A class below a virtual base: the count sits behind the virtual-base adjustment.
struct Left : virtual CUObject {
    int left = 1;
};
struct Right : virtual CUObject {
    int right = 2;
};
struct Diamond : Left, Right {
    ~Diamond() override { ++g_deletions; }
};

} // namespace

TEST(CUSharedPtr, CountsOwnersAndTheLastOneDeletesOnce) {
    int const before = g_deletions;
    auto* object = new Tracked;
    EXPECT_EQ(0, object->GetRetainCount());
    CUSharedPtr<Tracked> p(object);
    {
        CUSharedPtr<Tracked> q = p;
        EXPECT_EQ(2, object->GetRetainCount());
    }
    CUSharedPtr<Tracked>& alias = p;
    p = alias; // self-assignment keeps the object alive
    CUSharedPtr<Tracked> q(p.get());
    p = q;
    EXPECT_EQ(2, p->GetRetainCount());
    q.Reset();
    EXPECT_EQ(before, g_deletions);
    p = CUSharedPtr<Tracked>(new Tracked); // assignment releases the old object
    EXPECT_EQ(before + 1, g_deletions);
    CUSharedPtr<Tracked> moved(std::move(p));
    EXPECT_FALSE(p); // NOLINT(bugprone-use-after-move): a moved-from pointer is null
    EXPECT_EQ(1, moved->GetRetainCount());
    moved.Reset();
    EXPECT_FALSE(moved);
    moved.Reset(); // on null: nothing
    EXPECT_EQ(before + 2, g_deletions);
}

TEST(CUSharedPtr, CheckedConversionGivesNullForTheWrongClassAndWorksThroughVirtualBases) {
    CUSharedPtr<CUObject> lock(new CURecursiveLock);
    EXPECT_FALSE(CUSharedPtr<CUStringMac>(lock));
    EXPECT_EQ(1, lock->GetRetainCount());
    CUSharedPtr<CULockAbstract> asLock = lock; // down-cast through a virtual base
    ASSERT_TRUE(asLock);
    CUSharedPtr<CUObject> back = asLock; // up-cast
    EXPECT_EQ(lock.get(), back.get());
    EXPECT_EQ(3, lock->GetRetainCount());
    EXPECT_FALSE(CUSharedPtr<CUStringMac>(CUSharedPtr<CUObject>()));

    int const before = g_deletions;
    {
        CUSharedPtr<Diamond> d(new Diamond);
        CUSharedPtr<Left> l = d;
        CUSharedPtr<Right> r = d;
        CUSharedPtr<CUObject> o = r;
        EXPECT_EQ(4, d->GetRetainCount());
        EXPECT_EQ(2, r->right);
        CUSharedPtr<Left> crossed = r; // cross-cast, checked at run time
        EXPECT_EQ(1, crossed->left);
    }
    EXPECT_EQ(before + 1, g_deletions);
}
