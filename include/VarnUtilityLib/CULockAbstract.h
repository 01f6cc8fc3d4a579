// CULockAbstract.h — the lock interface that streams, the log and CUAutoLock work through.
//
// Lock() and Unlock() are ordinary virtual operations whose default bodies do nothing, so a
// CULockAbstract itself is a lock that never blocks. CURecursiveLock is the real lock.
// Nothing throws.
#pragma once

#include <VarnUtilityLib/CUObject.h>

/// The lock interface that streams, the log and CUAutoLock work through.
class CU_EXPORT CULockAbstract : public virtual CUObject {
  public:
    CULockAbstract() = default;
    ~CULockAbstract() override;

    /// Takes the lock (does nothing here).
    virtual void Lock();

    /// Releases the lock (does nothing here).
    virtual void Unlock();
};
