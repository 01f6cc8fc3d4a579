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

using namespace std::chrono_literals;

namespace {

// True when another thread can take the lock within a short wait.
bool otherThreadCanLock(CULockAbstract& lock) {
    std::atomic<bool> taken{false};
    std::thread other([&] {
        lock.Lock();
        taken.store(true);
        lock.Unlock();
    });
    for (int i = 0; i < 50 && !taken.load(); ++i) {
        std::this_thread::sleep_for(2ms);
    }
    bool result = taken.load();
    if (!result) {
        // Let the waiting thread finish once the caller releases the lock.
        other.detach();
    } else {
        other.join();
    }
    return result;
}

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
    std::atomic<bool> otherGotIt{false};
    lock.Lock();
    lock.Lock();
    lock.Lock();
    lock.Unlock();
    lock.Unlock();
    std::thread other([&] {
        lock.Lock();
        otherGotIt.store(true);
        EXPECT_TRUE(released.load());
        lock.Unlock();
    });
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(otherGotIt.load()) << "one hold is still left";
    released.store(true);
    lock.Unlock();
    other.join();
    EXPECT_TRUE(otherGotIt.load());
    EXPECT_TRUE(otherThreadCanLock(lock));
}

TEST(CURecursiveLock, GuardsACounterAcrossThreads) {
    CURecursiveLock lock;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                CUAutoLock outer(&lock);
                CUAutoLock inner(&lock); // re-entry by the owner never deadlocks
                ++counter;
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(40000, counter);
}

TEST(CUMutex, ReleaseByAThreadThatDoesNotHoldItFails) {
    CUMutex mutex;
    EXPECT_TRUE(mutex.WaitOne());
    EXPECT_TRUE(mutex.WaitOne());
// ThreadSanitizer reports the foreign and the extra unlock this test makes on purpose.
#ifndef __SANITIZE_THREAD__
    int fromOther = std::async(std::launch::async, [&] { return mutex.ReleaseMutex(); }).get();
    EXPECT_NE(0, fromOther);
#endif
    EXPECT_EQ(0, mutex.ReleaseMutex());
    EXPECT_EQ(0, mutex.ReleaseMutex());
#ifndef __SANITIZE_THREAD__
    EXPECT_NE(0, mutex.ReleaseMutex()); // no hold left
#endif
    EXPECT_NE(nullptr, mutex.GetMutex());
}

TEST(CUWaitHandle, BaseWaitReturnsFalseAtOnce) {
    CUWaitHandle handle;
    EXPECT_FALSE(handle.WaitOne());
    CULockAbstract base; // its Lock and Unlock do nothing
    base.Lock();
    base.Unlock();
    EXPECT_TRUE(otherThreadCanLock(base));
}

TEST(CUSimpleMonitor, NullLocksAreIgnoredAndOthersAreCalled) {
    CUSimpleMonitor::Enter(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Exit(static_cast<CULockAbstract*>(nullptr));
    CUSimpleMonitor::Enter(CUSharedPtr<CULockAbstract>());
    CUSimpleMonitor::Exit(CUSharedPtr<CULockAbstract>());
    CUAutoLock fromNullShared{CUSharedPtr<CULockAbstract>()};
    CUAutoLock fromNullRaw{static_cast<CULockAbstract*>(nullptr)};
    fromNullShared.CallEnter();
    fromNullShared.CallExit();
    CountingLock lock;
    CUSimpleMonitor::Enter(&lock);
    CUSimpleMonitor::Exit(&lock);
    EXPECT_EQ(1, lock.locks);
    EXPECT_EQ(1, lock.unlocks);
}

TEST(CUAutoLock, GuardBalancesItsCallsAndASharedOneKeepsTheLockAlive) {
    CUSharedPtr<CountingLock> lock(new CountingLock);
    {
        CUAutoLock guard{CUSharedPtr<CULockAbstract>(lock)};
        EXPECT_EQ(2, lock->GetRetainCount());
        EXPECT_EQ(1, lock->locks);
        EXPECT_EQ(0, lock->unlocks);
        lock.Reset(); // the guard's count keeps it alive
    }
    CountingLock raw;
    {
        CUAutoLock guard(&raw);
        EXPECT_EQ(0, raw.GetRetainCount());
        EXPECT_EQ(1, raw.locks);
    }
    EXPECT_EQ(1, raw.unlocks);
    CUSharedPtr<CULockAbstract> shared(new CURecursiveLock);
    auto* alive = shared.get();
    CUAutoLock guard(shared);
    shared.Reset();
    EXPECT_EQ(1, alive->GetRetainCount());
}
