// CUAutoResetEvent.h — an event that clears itself when a wait succeeds.
//
// Set wakes one waiter; see CUEventWaitHandle for the wait, the locks and the lifetime.
#pragma once

#include <VarnUtilityLib/CUEventWaitHandle.h>

/// An event that clears itself when a wait succeeds.
class CU_EXPORT CUAutoResetEvent : public CUEventWaitHandle {
  public:
    /// An automatic-reset event, set when `initialState` is true.
    explicit CUAutoResetEvent(bool initialState);
    ~CUAutoResetEvent() override;
};
