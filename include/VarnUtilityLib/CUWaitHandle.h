// CUWaitHandle.h — the base of the objects a thread can wait on (mutex, events, thread).
#pragma once

#include <VarnUtilityLib/CUObject.h>

/// The base of the objects a thread can wait on (mutex, events, thread).
class CU_EXPORT CUWaitHandle : public virtual CUObject {
  public:
    CUWaitHandle() = default;
    ~CUWaitHandle() override;

    /// Waits for the handle. This base version waits for nothing and returns false at once.
    virtual bool WaitOne();
};
