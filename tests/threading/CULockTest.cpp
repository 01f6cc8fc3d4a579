// The locks: recursive locking across threads, the do-nothing base, the monitor and the guard.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUSimpleMonitor.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// A lock that counts its calls, to watch what the monitor and the guard do.
struct CountingLock : CULockAbstract {
    void Lock() override { ++locks; }
    void Unlock() override { ++unlocks; }
    int locks = 0;
    int unlocks = 0;
};

} // namespace

TEST(CURecursiveLock, IsFreeForOthersOnlyAfterAsManyUnlocksAsLocks) {
    CURecursiveLock lock;
    std::atomic<bool> released{false};
    lock.Lock();
    lock.Lock();
    lock.Lock();
    lock.Unlock();
    lock.Unlock();
    std::thread other([&] {
        lock.Lock();
        EXPECT_TRUE(released.load()) << "taken while one hold was left";
        lock.Unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30)); // time to take it wrongly
    released.store(true);
    lock.Unlock();
    other.join();
}

TEST(CUAutoLock, MonitorAndGuardSkipNullLocksBalanceTheirCallsAndASharedGuardKeepsItsLock) {
    CULockAbstract base;
    base.Lock();
    base.Lock(); // would deadlock if the base held anything
    base.Unlock();
    CUSimpleMonitor::Enter(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Exit(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Enter(CUSharedPtr<CULockAbstract>());
    CUSimpleMonitor::Exit(CUSharedPtr<CULockAbstract>());
    CUAutoLock fromNullShared{CUSharedPtr<CULockAbstract>()};
    CUAutoLock fromNullRaw{static_cast<CULockAbstract*>(nullptr)};
    fromNullShared.CallEnter(); // the constructors skip it for null locks
    CountingLock raw;
    {
        CUAutoLock guard(&raw); // through the monitor's raw-pointer forms
        EXPECT_EQ(1, raw.locks);
    }
    EXPECT_EQ(1, raw.unlocks);
    CUSharedPtr<CountingLock> lock(new CountingLock);
    {
        CUAutoLock guard{CUSharedPtr<CULockAbstract>(lock)};
        CountingLock* alive = lock.get();
        lock.Reset(); // the guard's count keeps it alive
        EXPECT_EQ(1, alive->GetRetainCount());
        EXPECT_EQ(1, alive->locks);
    }
}
