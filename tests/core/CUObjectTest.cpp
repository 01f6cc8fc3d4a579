// Tests of the root object, the shared pointer and the description convention.
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURecursiveLock.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>

namespace {

struct Tracked : CUObject {
    explicit Tracked(std::atomic<int>* deletions) : deletions(deletions) {}
    ~Tracked() override { deletions->fetch_add(1); }
    std::atomic<int>* deletions;
};

// A class below a virtual base: the count sits behind the virtual-base adjustment.
struct Left : virtual CUObject {
    int left = 1;
};
struct Right : virtual CUObject {
    int right = 2;
};
struct Diamond : Left, Right {
    explicit Diamond(std::atomic<int>* deletions) : deletions(deletions) {}
    ~Diamond() override { deletions->fetch_add(1); }
    std::atomic<int>* deletions;
};

} // namespace

TEST(CUSharedPtr, CountsOwnersAndTheLastOneDeletesOnce) {
    std::atomic<int> deletions{0};
    auto* object = new Tracked(&deletions);
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
    EXPECT_EQ(0, deletions.load());
    p = CUSharedPtr<Tracked>(new Tracked(&deletions)); // assignment releases the old object
    EXPECT_EQ(1, deletions.load());
    CUSharedPtr<Tracked> moved(std::move(p));
    EXPECT_FALSE(p); // NOLINT(bugprone-use-after-move): a moved-from pointer is null
    EXPECT_EQ(1, moved->GetRetainCount());
    moved.Reset();
    EXPECT_FALSE(moved);
    moved.Reset(); // on null: nothing
    EXPECT_EQ(2, deletions.load());
}

TEST(CUSharedPtr, CheckedConversionGivesNullForTheWrongClassAndKeepsTheCount) {
    CUSharedPtr<CUObject> lock(new CURecursiveLock);
    CUSharedPtr<CUStringMac> asString = lock;
    EXPECT_FALSE(asString);
    EXPECT_EQ(1, lock->GetRetainCount());

    CUSharedPtr<CULockAbstract> asLock = lock; // down-cast through a virtual base
    ASSERT_TRUE(asLock);
    EXPECT_EQ(2, lock->GetRetainCount());
    CUSharedPtr<CUObject> back = asLock; // up-cast
    EXPECT_EQ(lock.get(), back.get());
    EXPECT_EQ(3, lock->GetRetainCount());

    CUSharedPtr<CUObject> none;
    CUSharedPtr<CUStringMac> stillNone = none;
    EXPECT_FALSE(stillNone);
}

TEST(CUSharedPtr, WorksThroughVirtualBases) {
    std::atomic<int> deletions{0};
    {
        CUSharedPtr<Diamond> d(new Diamond(&deletions));
        CUSharedPtr<Left> l = d;
        CUSharedPtr<Right> r = d;
        CUSharedPtr<CUObject> o = r;
        EXPECT_EQ(4, d->GetRetainCount());
        EXPECT_EQ(2, r->right);
        CUSharedPtr<Left> crossed = r; // cross-cast, checked at run time
        EXPECT_EQ(1, crossed->left);
    }
    EXPECT_EQ(1, deletions.load());
}
