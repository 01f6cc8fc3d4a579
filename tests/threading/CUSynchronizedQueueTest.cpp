// CUSynchronizedQueue: order, the empty queue, and threads feeding and draining one queue.
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

TEST(CUSynchronizedQueue, ItemsAndNullsComeOutInOrderAndAnEmptyQueueAnswersNull) {
    CUSynchronizedQueue queue;
    EXPECT_FALSE(queue.Dequeue());
    for (int i = 1; i <= 3; ++i) {
        queue.Enqueue(item(i));
    }
    EXPECT_EQ(1, valueOf(queue.Dequeue()));
    queue.Enqueue(CUSharedPtr<CUObject>());
    queue.Enqueue(item(4));
    EXPECT_EQ(2, valueOf(queue.Dequeue()));
    EXPECT_EQ(3, valueOf(queue.Dequeue()));
    EXPECT_FALSE(queue.Dequeue()) << "the queued null";
    EXPECT_EQ(4, valueOf(queue.Dequeue()));
    EXPECT_FALSE(queue.Dequeue());
    // Long runs, drained while fed and cleared midway: the order holds across the points where
    // the dequeued front is dropped. Most of a million items are left to drain at the end,
    // which takes a blink only when each Dequeue costs constant time (it took minutes when each
    // one shifted the rest).
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
            EXPECT_FALSE(queue.Dequeue());
        }
    }
    while (expected < next) {
        ASSERT_EQ(expected++, valueOf(queue.Dequeue()));
    }
    EXPECT_FALSE(queue.Dequeue());
}

TEST(CUSynchronizedQueue, HoldsOneOwnerPerQueuedItemUntilDequeuedOrCleared) {
    CUSharedPtr<CUObject> kept = item(1);
    CUSynchronizedQueue queue;
    queue.Enqueue(kept);
    queue.Enqueue(kept);
    EXPECT_EQ(3, kept->GetRetainCount());
    queue.Dequeue();
    EXPECT_EQ(2, kept->GetRetainCount());
    queue.Clear();
    EXPECT_EQ(1, kept->GetRetainCount());
    EXPECT_FALSE(queue.Dequeue());
}

TEST(CUSynchronizedQueue, SeveralThreadsLoseAndDuplicateNothing) {
    constexpr int kProducers = 3;
    constexpr int kConsumers = 3;
    constexpr int kPerProducer = 2000;
    constexpr int kTotal = kProducers * kPerProducer;
    CUSynchronizedQueue queue;
    std::vector<std::atomic<int>> seen(kTotal);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < kPerProducer; ++i) {
                queue.Enqueue(item(p * kPerProducer + i));
            }
        });
    }
    std::vector<std::vector<int>> orderSeen(kConsumers);
    for (int c = 0; c < kConsumers; ++c) {
        threads.emplace_back([&, c] {
            while (taken.load() < kTotal) {
                CUSharedPtr<CUObject> got = queue.Dequeue();
                if (!got) {
                    std::this_thread::yield();
                    continue;
                }
                int v = valueOf(got);
                seen[v].fetch_add(1);
                orderSeen[c].push_back(v);
                taken.fetch_add(1);
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    for (int v = 0; v < kTotal; ++v) {
        ASSERT_EQ(1, seen[v].load()) << "item " << v;
    }
    EXPECT_FALSE(queue.Dequeue());
    // One consumer sees each producer's items in the order they were made.
    for (auto const& order : orderSeen) {
        std::vector<int> last(kProducers, -1);
        for (int v : order) {
            int p = v / kPerProducer;
            EXPECT_LT(last[p], v);
            last[p] = v;
        }
    }
}
