// CUThread: starting and joining threads, and the base body.
#include <VarnUtilityLib/CUThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// Sleeps a little, then records its data and that it ran.
class RecordingThread : public CUThread {
  public:
    // The subclass joins first: by the time ~CUThread runs, this part is gone and a thread
    // still starting would call the base body.
    ~RecordingThread() override { Join(); }
    void* ThreadFunc() override {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        seenData.store(GetData());
        runs.fetch_add(1);
        return GetData();
    }
    std::atomic<void*> seenData{nullptr};
    std::atomic<int> runs{0};
};

} // namespace

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
