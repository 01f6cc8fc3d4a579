// CUSynchronizedQueue.h — a locked first-in-first-out queue of objects that never blocks.
//
// Items come out in the order they went in; null pointers may be queued. Dequeue answers a
// null pointer at once when the queue is empty, so an empty queue and a queue whose first item
// is null look the same; there is no count.
//
// Ownership: count 0 at construction; the queue holds one owner of every queued object until
// it is dequeued or cleared.
// Threads: every operation holds the queue's recursive lock for its whole duration, so any
// thread may call any of them. Errors: nothing throws.
#pragma once

#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CURecursiveLock.h>

/// A locked first-in-first-out queue of objects that never blocks.
class CU_EXPORT CUSynchronizedQueue : public CUObject {
  public:
    /// An empty queue.
    CUSynchronizedQueue();
    ~CUSynchronizedQueue() override;
    CUSynchronizedQueue(CUSynchronizedQueue const&) = delete;
    CUSynchronizedQueue& operator=(CUSynchronizedQueue const&) = delete;

    /// Appends `object` (null included) at the end.
    void Enqueue(CUSharedPtr<CUObject> object);

    /// Removes and returns the first object; a null pointer at once when the queue is empty.
    CUSharedPtr<CUObject> Dequeue();

    /// Removes every object.
    void Clear();

  private:
    CUMutableArray m_items;
    CURecursiveLock m_lock;
    // Items before this index have been dequeued; the dead prefix is dropped once it is half
    // the array, so each Dequeue costs constant time on average.
    unsigned long m_head = 0;
};
