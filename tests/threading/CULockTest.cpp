// The lock family: recursive locking across threads, the monitor and the guard.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUSimpleMonitor.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
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

TEST(CUMutex, ReleaseByAThreadThatDoesNotHoldItFails) {
    CUMutex mutex;
    EXPECT_TRUE(mutex.WaitOne());
    EXPECT_TRUE(mutex.WaitOne());
// ThreadSanitizer reports the foreign and the extra unlock this test makes on purpose.
#ifndef __SANITIZE_THREAD__
    EXPECT_NE(0, std::async(std::launch::async, [&] { return mutex.ReleaseMutex(); }).get());
#endif
    EXPECT_EQ(0, mutex.ReleaseMutex());
    EXPECT_EQ(0, mutex.ReleaseMutex());
#ifndef __SANITIZE_THREAD__
    EXPECT_NE(0, mutex.ReleaseMutex()); // no hold left
#endif
    EXPECT_NE(nullptr, mutex.GetMutex());
}

TEST(CUWaitHandle, BaseWaitReturnsFalseAndTheBaseLockDoesNothing) {
    CUWaitHandle handle;
    EXPECT_FALSE(handle.WaitOne());
    CULockAbstract base;
    base.Lock();
    base.Lock(); // would deadlock if it held anything
    base.Unlock();
}

TEST(CUAutoLock, MonitorAndGuardSkipNullLocksBalanceTheirCallsAndASharedGuardKeepsItsLock) {
    CUSimpleMonitor::Enter(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Exit(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Enter(CUSharedPtr<CULockAbstract>());
    CUSimpleMonitor::Exit(CUSharedPtr<CULockAbstract>());
    CUAutoLock fromNullShared{CUSharedPtr<CULockAbstract>()};
    CUAutoLock fromNullRaw{static_cast<CULockAbstract*>(nullptr)};
    fromNullShared.CallEnter();
    fromNullShared.CallExit();
    CountingLock raw;
    {
        CUAutoLock guard(&raw); // through the monitor's raw-pointer forms
        EXPECT_EQ(1, raw.locks);
        EXPECT_EQ(0, raw.unlocks);
    }
    EXPECT_EQ(1, raw.unlocks);
    CUSharedPtr<CountingLock> lock(new CountingLock);
    {
        CUAutoLock guard{CUSharedPtr<CULockAbstract>(lock)};
        EXPECT_EQ(1, lock->locks);
        EXPECT_EQ(0, lock->unlocks);
        CountingLock* alive = lock.get();
        lock.Reset(); // the guard's count keeps it alive
        EXPECT_EQ(1, alive->GetRetainCount());
    }
}
