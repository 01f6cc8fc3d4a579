// CUAutoLock.cpp — the scoped guard.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUSimpleMonitor.h>

CUAutoLock::CUAutoLock(CULockAbstract* lock) : m_pLock(lock) {
    if (m_pLock != nullptr) {
        CallEnter();
    }
}

CUAutoLock::CUAutoLock(CUSharedPtr<CULockAbstract> lock) : m_pLock(nullptr) {
    if (lock) {
        m_spLock = lock;
        CallEnter();
    }
}

CUAutoLock::~CUAutoLock() {
    CallExit(); // a throwing Unlock ends the process: destructors are noexcept
    m_spLock.Reset();
}

void CUAutoLock::CallEnter() {
    if (m_pLock != nullptr) {
        CUSimpleMonitor::Enter(m_pLock);
    }
    if (m_spLock) {
        CUSimpleMonitor::Enter(m_spLock);
    }
}

void CUAutoLock::CallExit() {
    if (m_pLock != nullptr) {
        CUSimpleMonitor::Exit(m_pLock);
    }
    if (m_spLock) {
        CUSimpleMonitor::Exit(m_spLock);
    }
}
