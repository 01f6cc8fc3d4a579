// CUAutoLock.h — the scoped guard: enters a lock when made, exits it when destroyed.
//
// Made from a raw pointer, the guard does not own the lock; made from a shared pointer, it
// holds one count on the lock for its lifetime. A guard made from a null lock does nothing.
// Guards live on the stack (count 0) and are never put in a CUSharedPtr. An exception thrown
// by the lock's Unlock while the guard is destroyed ends the process.
#pragma once

#include <VarnUtilityLib/CULockAbstract.h>

/// The scoped guard: enters a lock when made, exits it when destroyed.
class CU_EXPORT CUAutoLock : public CUObject {
  public:
    /// Locks `lock` (nothing for a null lock) until this object is destroyed.
    explicit CUAutoLock(CULockAbstract* lock);
    /// \overload
    explicit CUAutoLock(CUSharedPtr<CULockAbstract> lock);
    ~CUAutoLock() override;
    CUAutoLock(CUAutoLock const&) = delete;
    CUAutoLock& operator=(CUAutoLock const&) = delete;

    /// Enters the guarded lock (again): CUSimpleMonitor::Enter.
    void CallEnter();

    /// Exits the guarded lock once: CUSimpleMonitor::Exit.
    void CallExit();

  private:
    CULockAbstract* m_pLock;
    CUSharedPtr<CULockAbstract> m_spLock;
};
