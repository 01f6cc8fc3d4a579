// CUSynchronizedQueue.cpp — a first-in-first-out queue under a recursive lock.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUSynchronizedQueue.h>

CUSynchronizedQueue::CUSynchronizedQueue() {
    CUAutoLock guard(&m_lock);
    m_items.RemoveAllObjects();
}

CUSynchronizedQueue::~CUSynchronizedQueue() = default;

void CUSynchronizedQueue::Enqueue(CUSharedPtr<CUObject> object) {
    CUAutoLock guard(&m_lock);
    m_items.AddObject(object);
}

CUSharedPtr<CUObject> CUSynchronizedQueue::Dequeue() {
    CUAutoLock guard(&m_lock);
    if (m_items.Count() == 0) {
        return CUSharedPtr<CUObject>();
    }
    CUSharedPtr<CUObject> first = m_items.ObjectAtIndex(0);
    m_items.RemoveObjectAtIndex(0);
    return first;
}

void CUSynchronizedQueue::Clear() {
    CUAutoLock guard(&m_lock);
    m_items.RemoveAllObjects();
}
