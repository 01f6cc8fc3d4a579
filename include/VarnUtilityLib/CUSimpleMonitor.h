// CUSimpleMonitor.h — enters and exits any lock through its virtual operations.
//
// Null locks are ignored. Nothing throws (unless a lock's own Lock/Unlock does).
#pragma once

#include <VarnUtilityLib/CULockAbstract.h>

/// Enters and exits any lock through its virtual operations.
class CU_EXPORT CUSimpleMonitor : public CUObject {
  public:
    CUSimpleMonitor() = default;
    ~CUSimpleMonitor() override;

    /// Calls lock->Lock() when the lock is not null.
    static void Enter(CULockAbstract* lock);
    /// \overload
    static void Enter(CUSharedPtr<CULockAbstract> lock);

    /// Calls lock->Unlock() when the lock is not null.
    static void Exit(CULockAbstract* lock);
    /// \overload
    static void Exit(CUSharedPtr<CULockAbstract> lock);
};
