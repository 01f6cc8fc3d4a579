// CUEventWaitHandle.cpp — events over a recursive mutex and a condition variable.
#include <VarnUtilityLib/CUEventWaitHandle.h>

#include "platform/System.h"

namespace sys = varn::platform;

CUEventWaitHandle::CUEventWaitHandle(bool initialState, _CUEventWaitHandle_EventResetMode mode)
    : m_mode(mode), m_condition{}, m_spMutex(), m_bSignalled(true), m_nWaiters(0), m_drained{} {
    m_spMutex = CUSharedPtr<CUMutex>(new CUMutex);
    if (m_spMutex) {
        m_bSignalled = initialState;
        sys::CondInit(m_condition);
        sys::CondInit(m_drained);
    }
}

CUEventWaitHandle::~CUEventWaitHandle() {
    m_spMutex->WaitOne();
    // No thread may stay blocked on a condition variable that is about to go, whatever the
    // flag says: a Set just before the delete wakes one waiter of an automatic event and leaves
    // the flag set until that waiter runs. The woken waiters still have to take the mutex back
    // and leave WaitOne; the mutex and the flag must outlive that.
    while (m_nWaiters > 0) {
        sys::CondBroadcast(m_condition);
        sys::CondWait(m_drained, m_spMutex->GetMutex());
    }
    m_spMutex->ReleaseMutex();
    sys::CondDestroy(m_condition);
    sys::CondDestroy(m_drained);
    m_spMutex.Reset();
}

bool CUEventWaitHandle::WaitOne() {
    CUMutex* mutex = m_spMutex.get();
    mutex->WaitOne();
    ++m_nWaiters;
    if (!m_bSignalled) {
        // One wait, not a loop: a wake-up ends the wait whatever the flag says.
        sys::CondWait(m_condition, mutex->GetMutex());
    }
    if (m_mode == CUEventWaitHandle_EventResetMode_AutoReset) {
        m_bSignalled = false;
    }
    if (--m_nWaiters == 0) {
        sys::CondBroadcast(m_drained);
    }
    mutex->ReleaseMutex();
    return true;
}

bool CUEventWaitHandle::Reset() {
    m_spMutex->WaitOne();
    m_bSignalled = false;
    m_spMutex->ReleaseMutex();
    return true;
}

bool CUEventWaitHandle::Set() {
    m_spMutex->WaitOne();
    if (!m_bSignalled) {
        m_bSignalled = true;
        if (m_mode == CUEventWaitHandle_EventResetMode_ManualReset) {
            sys::CondBroadcast(m_condition);
        } else {
            sys::CondSignal(m_condition);
        }
    }
    m_spMutex->ReleaseMutex();
    return true;
}
