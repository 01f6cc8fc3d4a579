// Eight threads copying and dropping shared pointers for VARN_STRESS_SECONDS (2 s by default),
// then exact counts: long-lived objects back to one owner, passed objects deleted once.
#include "support/Stress.h"

#include <VarnUtilityLib/CUObject.h>

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

} // namespace

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
            long long made = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                for (int burst = 0; burst < 256; ++burst) {
                    std::uint32_t r = random();
                    int slot = static_cast<int>(r % kSlots);
                    switch ((r >> 8) % 8) {
                    case 0:
                    case 1:
                    case 2: // copy a long-lived object into a slot, dropping what was there
                        slots[slot] = owners[(r >> 16) % kShared];
                        break;
                    case 3: // copy between slots, and up to the base class
                        bases[slot] = slots[(r >> 16) % kSlots];
                        slots[slot] = slots[(r >> 20) % kSlots];
                        break;
                    case 4: // drop
                        slots[slot].Reset();
                        bases[slot].Reset();
                        break;
                    case 5: { // pass a fresh object through the mailbox
                        CUSharedPtr<Counted> fresh(new Counted(&passedDeletions));
                        ++made;
                        bases[slot] = fresh;
                        std::lock_guard<std::mutex> hold(mailboxLock);
                        mailbox = fresh;
                        break;
                    }
                    case 6: { // take whatever is in the mailbox
                        std::lock_guard<std::mutex> hold(mailboxLock);
                        slots[slot] = mailbox;
                        break;
                    }
                    default: { // a copy that lives for one statement
                        CUSharedPtr<CUObject> brief = owners[(r >> 16) % kShared];
                        bases[slot] = brief;
                        break;
                    }
                    }
                }
            }
            created.fetch_add(made);
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
