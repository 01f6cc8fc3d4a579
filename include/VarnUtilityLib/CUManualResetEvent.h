// CUManualResetEvent.h — an event that stays set until Reset.
//
// Set wakes every waiter; see CUEventWaitHandle for the wait, the locks and the lifetime.
#pragma once

#include <VarnUtilityLib/CUEventWaitHandle.h>

/// An event that stays set until Reset.
class CU_EXPORT CUManualResetEvent : public CUEventWaitHandle {
  public:
    /// A manual-reset event, set when `initialState` is true.
    explicit CUManualResetEvent(bool initialState);
    ~CUManualResetEvent() override;
};
