// CUSynchronizedQueue: order, the owners it holds, and threads feeding and draining one queue.
#include <VarnUtilityLib/CUSynchronizedQueue.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class Item : public CUObject {
  public:
    explicit Item(int v) : value(v) {}
    int value;
};

CUSharedPtr<CUObject> item(int v) {
    return CUSharedPtr<Item>(new Item(v));
}

int valueOf(CUSharedPtr<CUObject> const& object) {
    CUSharedPtr<Item> it = object;
    return it ? it->value : -1;
}

} // namespace

TEST(CUSynchronizedQueue, ItemsAndNullsComeOutInOrderAndAreHeldUntilDequeuedOrCleared) {
    CUSynchronizedQueue queue;
    CUSharedPtr<CUObject> kept = item(1);
    for (CUSharedPtr<CUObject> const& in : {kept, CUSharedPtr<CUObject>(), item(2), kept}) {
        queue.Enqueue(in);
    }
    EXPECT_EQ(3, kept->GetRetainCount()) << "one owner per queued item";
    EXPECT_EQ(1, valueOf(queue.Dequeue()));
    EXPECT_EQ(2, kept->GetRetainCount());
    EXPECT_FALSE(queue.Dequeue()) << "the queued null";
    EXPECT_EQ(2, valueOf(queue.Dequeue()));
    queue.Clear();
    EXPECT_EQ(1, kept->GetRetainCount());
    EXPECT_FALSE(queue.Dequeue());
    // Long runs, drained while fed and cleared midway: the order holds where the dequeued front
    // is dropped. Most of a million items drain at the end: a blink only if Dequeue is O(1).
    int next = 0, expected = 0;
    for (int round = 0; round < 1000; ++round) {
        for (int i = 0; i < 1000; ++i) {
            queue.Enqueue(item(next++));
        }
        for (int i = 0; round % 3 == 2 && i < 500; ++i) {
            ASSERT_EQ(expected++, valueOf(queue.Dequeue())) << "round " << round;
        }
        if (round == 10) {
            queue.Clear();
            expected = next;
        }
    }
    while (expected < next) {
        ASSERT_EQ(expected++, valueOf(queue.Dequeue()));
    }
    EXPECT_FALSE(queue.Dequeue());
}

TEST(CUSynchronizedQueue, SeveralThreadsLoseAndDuplicateNothingAndKeepEachProducersOrder) {
    constexpr int kThreads = 3; // producers, and as many consumers
    constexpr int kPerProducer = 2000;
    constexpr int kTotal = kThreads * kPerProducer;
    CUSynchronizedQueue queue;
    std::vector<std::atomic<int>> seen(kTotal);
    std::atomic<int> taken{0};
    std::vector<std::jthread> threads;
    for (int p = 0; p < kThreads; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < kPerProducer; ++i) {
                queue.Enqueue(item(p * kPerProducer + i));
            }
        });
        threads.emplace_back([&] {
            std::vector<int> last(kThreads, -1); // per producer, the item this consumer saw last
            while (taken.load() < kTotal) {
                int v = valueOf(queue.Dequeue());
                if (v < 0) {
                    std::this_thread::yield();
                    continue;
                }
                seen[v].fetch_add(1);
                EXPECT_LT(last[v / kPerProducer], v);
                last[v / kPerProducer] = v;
                taken.fetch_add(1);
            }
        });
    }
    threads.clear(); // joins
    for (int v = 0; v < kTotal; ++v) {
        ASSERT_EQ(1, seen[v].load()) << "item " << v;
    }
    EXPECT_FALSE(queue.Dequeue());
}
