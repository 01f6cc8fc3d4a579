// The wait handles: automatic and manual events with one and two waiters, the mutex, the base
// handle and threads. "Still blocked" is checked by giving a waiter time to return wrongly: a
// correct event never fails, a broken one almost always.
#include <VarnUtilityLib/CUAutoResetEvent.h>
#include <VarnUtilityLib/CUManualResetEvent.h>
#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CUThread.h>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Threads blocked in the event's WaitOne, joined when they go; `returned` counts the ends.
struct Waiters {
    Waiters(CUEventWaitHandle& event, int count) {
        std::atomic<int> started{0};
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([this, &event, &started] {
                started.fetch_add(1);
                // A qualified call reads no vtable: one test destroys the event while this
                // thread waits, and the dispatch read would race with the destructor's writes.
                event.CUEventWaitHandle::WaitOne();
                returned.fetch_add(1);
            });
        }
        while (started.load() < count) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(50ms); // let them reach the wait
    }

    // Waits up to two seconds for `count` returns.
    bool AwaitReturned(int count) const {
        auto const deadline = std::chrono::steady_clock::now() + 2s;
        while (returned.load() < count && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        return returned.load() >= count;
    }

    std::atomic<int> returned{0};
    std::vector<std::jthread> threads; // last, so joined first
};

// Sleeps a little, then records its data and that it ran.
class RecordingThread : public CUThread {
  public:
    // The subclass joins first: by the time ~CUThread runs, this part is gone and a thread
    // still starting would call the base body.
    ~RecordingThread() override { Join(); }
    void* ThreadFunc() override {
        std::this_thread::sleep_for(50ms);
        seenData.store(GetData());
        runs.fetch_add(1);
        return GetData();
    }
    std::atomic<void*> seenData{nullptr};
    std::atomic<int> runs{0};
};

} // namespace

TEST(CUEventWaitHandle, SetReleasesEveryWaiterOfAManualEventAndOneOfAnAutomaticOne) {
    for (bool manual : {true, false}) {
        SCOPED_TRACE(manual ? "manual" : "automatic");
        std::unique_ptr<CUEventWaitHandle> event(
            manual ? static_cast<CUEventWaitHandle*>(new CUManualResetEvent(true))
                   : new CUAutoResetEvent(true));
        EXPECT_TRUE(event->Set()); // on a set event: stays set, no second wake
        EXPECT_TRUE(event->WaitOne()) << "a set event lets the first wait through";
        if (manual) {
            EXPECT_TRUE(event->WaitOne()) << "and a manual one every wait until Reset";
            EXPECT_TRUE(event->Reset());
        }
        Waiters waiters(*event, 2);
        EXPECT_EQ(0, waiters.returned.load()) << "a clear event blocks";
        EXPECT_TRUE(event->Set());
        EXPECT_TRUE(waiters.AwaitReturned(manual ? 2 : 1));
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(manual ? 2 : 1, waiters.returned.load()) << "one waiter per Set when automatic";
        EXPECT_TRUE(event->Set());
        EXPECT_TRUE(waiters.AwaitReturned(2));
        EXPECT_TRUE(!manual || static_cast<CUWaitHandle&>(*event).WaitOne()) << "manual stays set";
        event.reset(); // wakes a waiter left blocked, so that a failure ends rather than hangs
    }
}

TEST(CUEventWaitHandle, DestroyingAnEventReleasesItsWaitersEvenThoseASetDidNotWake) {
    // In a child, so that a waiter left blocked fails this test rather than hanging the suite.
    pid_t const child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        alarm(20);
        // Twenty automatic events set just before the delete, then a clear one of each kind.
        for (int round = 0; round < 22; ++round) {
            CUEventWaitHandle* event =
                round == 21 ? static_cast<CUEventWaitHandle*>(new CUManualResetEvent(false))
                            : new CUAutoResetEvent(false);
            Waiters waiters(*event, 2);
            if (round < 20) {
                event->Set();
            }
            delete event;
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a waiter stayed blocked";
}

// Whether another thread may release it is the system's answer, not this class's.
TEST(CUMutex, WaitsRecursivelyAndReportsEachReleaseAsSuccess) {
    CUMutex mutex;
    EXPECT_TRUE(mutex.WaitOne() && mutex.WaitOne());
    EXPECT_EQ(0, mutex.ReleaseMutex());
    EXPECT_EQ(0, mutex.ReleaseMutex());
    EXPECT_NE(nullptr, mutex.GetMutex());
}

TEST(CUWaitHandle, BaseWaitReturnsFalse) {
    CUWaitHandle handle;
    EXPECT_FALSE(handle.WaitOne());
}

TEST(CUThread, RunsTheBodyWithItsDataJoinWaitsForTheEndOnceAndTheBaseBodyDoesNothing) {
    RecordingThread idle;
    idle.Join(); // before Start: at once
    EXPECT_TRUE(idle.WaitOne());
    EXPECT_EQ(0, idle.runs.load());
    RecordingThread thread;
    int payload = 42;
    EXPECT_EQ(nullptr, thread.GetData());
    EXPECT_EQ(0, thread.Start(&payload));
    EXPECT_EQ(&payload, thread.GetData());
    EXPECT_TRUE(thread.WaitOne()); // joins
    EXPECT_EQ(1, thread.runs.load()) << "the wait returned before the body ended";
    thread.Join();
    EXPECT_EQ(&payload, thread.seenData.load());
    EXPECT_EQ(&payload, CUThread::ThreadFunc_static_Common(&thread))
        << "the entry returns the body's result";
    CUThread plain; // the base body ends at once with a null result
    EXPECT_EQ(nullptr, CUThread::ThreadFunc_static(&plain));
    EXPECT_EQ(nullptr, CUThread::ThreadFunc_static_Common(nullptr));
    EXPECT_EQ(0, plain.Start(nullptr));
}
