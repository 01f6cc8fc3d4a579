// CURecursiveLock.h — the library's lock: a CULockAbstract over a recursive CUMutex.
//
// The same thread may lock it several times; it is free again after as many unlocks. It must
// not be destroyed while held. Nothing throws.
#pragma once

#include <VarnUtilityLib/CULockAbstract.h>

class CUMutex;

/// The library's lock: a CULockAbstract over a recursive CUMutex.
class CU_EXPORT CURecursiveLock : public CULockAbstract {
  public:
    CURecursiveLock();
    ~CURecursiveLock() override;
    CURecursiveLock(CURecursiveLock const&) = delete;
    CURecursiveLock& operator=(CURecursiveLock const&) = delete;

    /// Blocks until the lock is free or already held by this thread, then takes it.
    void Lock() override;

    /// Releases one hold.
    void Unlock() override;

  private:
    friend class CUIdentifierGenerator; // takes this lock's mutex without the calls between
    CUMutex* m_pMutex;
};
