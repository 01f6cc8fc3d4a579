// The root object and the shared pointer: counts, deletion, checked conversions, and exact
// counts after threads copy and drop pointers.
#include "support/Stress.h"

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURecursiveLock.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

struct Counted : CUObject {
    explicit Counted(std::atomic<int>* deletions) : deletions(deletions) {}
    ~Counted() override {
        // A second deletion would find the mark gone (and AddressSanitizer the memory freed).
        EXPECT_EQ(kAlive, mark);
        mark = 0;
        deletions->fetch_add(1, std::memory_order_relaxed);
    }
    static constexpr std::uint32_t kAlive = 0xA11CE5ED;
    std::uint32_t mark = kAlive;
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
    ~Diamond() override { ++*deletions; }
    std::atomic<int>* deletions;
};

} // namespace

TEST(CUSharedPtr, CountsOwnersAndTheLastOneDeletesOnce) {
    std::atomic<int> deletions{0};
    auto* object = new Counted(&deletions);
    EXPECT_EQ(0, object->GetRetainCount());
    CUSharedPtr<Counted> p(object);
    {
        CUSharedPtr<Counted> q = p;
        EXPECT_EQ(2, object->GetRetainCount());
    }
    CUSharedPtr<Counted>& alias = p;
    p = alias; // self-assignment keeps the object alive
    CUSharedPtr<Counted> q(p.get());
    p = q;
    EXPECT_EQ(2, p->GetRetainCount());
    q.Reset();
    EXPECT_EQ(0, deletions);
    p = CUSharedPtr<Counted>(new Counted(&deletions)); // assignment releases the old object
    EXPECT_EQ(1, deletions);
    CUSharedPtr<Counted> moved(std::move(p));
    EXPECT_FALSE(p); // NOLINT(bugprone-use-after-move): a moved-from pointer is null
    EXPECT_EQ(1, moved->GetRetainCount());
    moved.Reset();
    moved.Reset(); // on null: nothing (a second release would count a third deletion)
    EXPECT_EQ(2, deletions);
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
    EXPECT_EQ(1, deletions);
}

// Eight threads copying and dropping shared pointers for VARN_STRESS_SECONDS (2 s by default),
// then exact counts: long-lived objects back to one owner, passed objects deleted once.
TEST(CUSharedPtr, EightThreadsCopyingAndDroppingKeepExactCounts) {
    constexpr int kThreads = 8, kShared = 16, kSlots = 24;
    std::atomic<int> sharedDeletions{0}, passedDeletions{0};
    std::atomic<long long> created{0};
    std::vector<CUSharedPtr<Counted>> owners;
    for (int i = 0; i < kShared; ++i) {
        owners.emplace_back(new Counted(&sharedDeletions));
    }
    // Objects handed from thread to thread through one mailbox; the last holder deletes.
    std::mutex mailboxLock;
    CUSharedPtr<Counted> mailbox;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::minstd_rand random(t + 1);
            std::array<CUSharedPtr<Counted>, kSlots> slots;
            std::array<CUSharedPtr<CUObject>, kSlots> bases;
            while (!stop.load(std::memory_order_relaxed)) {
                std::uint32_t r = random();
                int slot = static_cast<int>(r % kSlots);
                switch ((r >> 8) % 6) {
                case 0:
                case 1: // copy a long-lived object into a slot, dropping what was there
                    slots[slot] = owners[(r >> 16) % kShared];
                    break;
                case 2: // copy between slots, and up to the base class
                    bases[slot] = slots[(r >> 16) % kSlots];
                    slots[slot] = slots[(r >> 20) % kSlots];
                    break;
                case 3: // drop
                    slots[slot].Reset();
                    bases[slot].Reset();
                    break;
                case 4: { // pass a fresh object through the mailbox
                    CUSharedPtr<Counted> fresh(new Counted(&passedDeletions));
                    created.fetch_add(1, std::memory_order_relaxed);
                    bases[slot] = fresh;
                    std::lock_guard<std::mutex> hold(mailboxLock);
                    mailbox = fresh;
                    break;
                }
                default: { // take whatever is in the mailbox
                    std::lock_guard<std::mutex> hold(mailboxLock);
                    slots[slot] = mailbox;
                    break;
                }
                }
            }
        });
    }
    std::this_thread::sleep_for(varn::test::StressDuration());
    stop.store(true);
    for (auto& thread : threads) {
        thread.join();
    }
    mailbox.Reset(); // the threads are gone
    EXPECT_EQ(0, sharedDeletions.load());
    for (auto const& owner : owners) {
        EXPECT_EQ(1, owner->GetRetainCount());
    }
    EXPECT_GT(created.load(), 0);
    EXPECT_EQ(created.load(), passedDeletions.load()) << "every passed object deleted once";
    owners.clear();
    EXPECT_EQ(kShared, sharedDeletions.load());
}
