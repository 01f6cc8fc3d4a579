// Automatic and manual events with one and two waiters. "Still blocked" is checked by giving a
// waiter time to return wrongly: a correct event never fails, a broken one almost always.
#include <VarnUtilityLib/CUAutoResetEvent.h>
#include <VarnUtilityLib/CUManualResetEvent.h>

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
