// CUEventWaitHandle.h — an event that one thread sets and others wait for.
//
// An event is a flag, set or clear, guarded by the event's own recursive CUMutex, with a
// condition variable that waiters sleep on. In automatic-reset mode a successful wait clears
// the flag and Set wakes one waiter; in manual-reset mode the flag stays set until Reset and
// Set wakes every waiter. CUAutoResetEvent and CUManualResetEvent only choose the mode.
//
// WaitOne waits on the condition variable once: a spurious wake-up, or a wake-up after
// another waiter already consumed an automatic event, returns true all the same. Callers that
// need a guarantee check their own state after the wait.
//
// Ownership: count 0 at construction. Destroying a clear event wakes the threads waiting on
// it, and the destructor lets them leave WaitOne before the event's mutex goes away.
// Threads: every operation takes the event's mutex. Waiting while the same thread already
// holds that mutex through another path is not supported.
// Errors: nothing throws; every operation returns true.
#pragma once

#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CUWaitHandle.h>

/// How an event clears itself.
enum _CUEventWaitHandle_EventResetMode : int {
    CUEventWaitHandle_EventResetMode_AutoReset = 0,   ///< a successful wait clears; Set wakes one
    CUEventWaitHandle_EventResetMode_ManualReset = 1, ///< stays set until Reset; Set wakes all
};

/// An event that one thread sets and others wait for.
class CU_EXPORT CUEventWaitHandle : public CUWaitHandle {
  public:
    /// An event in the given state (true: set) and mode.
    CUEventWaitHandle(bool initialState, _CUEventWaitHandle_EventResetMode mode);
    /// Wakes any waiter of a clear event, then destroys the condition variable.
    ~CUEventWaitHandle() override;
    CUEventWaitHandle(CUEventWaitHandle const&) = delete;
    CUEventWaitHandle& operator=(CUEventWaitHandle const&) = delete;

    /// Returns at once if the event is set, else waits once for a wake-up; in automatic mode
    /// clears the event before returning. Returns true.
    bool WaitOne() override;

    /// Clears the event. Returns true.
    virtual bool Reset();

    /// Sets a clear event and wakes one waiter (automatic) or all (manual); an event already
    /// set is left as it is and no one is woken. Returns true.
    virtual bool Set();

  private:
    _CUEventWaitHandle_EventResetMode m_mode;
    CUPlatformCondStorage m_condition;
    CUSharedPtr<CUMutex> m_spMutex;
    bool m_bSignalled;
    // Threads inside WaitOne, and the condition the destructor waits on until they have left.
    int m_nWaiters;
    CUPlatformCondStorage m_drained;
};
