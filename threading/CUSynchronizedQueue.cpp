// CUSynchronizedQueue.cpp — a first-in-first-out queue under a recursive lock.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUSynchronizedQueue.h>

#include <cstddef>
#include <utility>
#include <vector>

CUSynchronizedQueue::CUSynchronizedQueue() {
    CUAutoLock guard(&m_lock);
    m_items.RemoveAllObjects();
}

CUSynchronizedQueue::~CUSynchronizedQueue() = default;

// Flattened like the identifier generator: the lock chain is inlined down to the mutex call.
[[gnu::flatten]] void CUSynchronizedQueue::Enqueue(CUSharedPtr<CUObject> object) {
    CUAutoLock guard(&m_lock);
    m_items.AddObject(object);
}

[[gnu::flatten]] CUSharedPtr<CUObject> CUSynchronizedQueue::Dequeue() {
    CUAutoLock guard(&m_lock);
    std::vector<CUSharedPtr<CUObject>>& items = m_items.GetInternalArray();
    if (m_head >= items.size()) {
        return CUSharedPtr<CUObject>();
    }
    // Moved out: the queue lets go of the object at once, as a removal would.
    CUSharedPtr<CUObject> first = std::move(items[m_head]);
    ++m_head;
    if (m_head == items.size()) {
        items.clear();
        m_head = 0;
    } else if (m_head >= 64 && m_head * 2 >= items.size()) {
        items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(m_head));
        m_head = 0;
    }
    return first;
}

void CUSynchronizedQueue::Clear() {
    CUAutoLock guard(&m_lock);
    m_items.RemoveAllObjects();
    m_head = 0;
}
