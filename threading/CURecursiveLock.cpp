// CURecursiveLock.cpp — the library's lock over an owned recursive mutex.
#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CURecursiveLock.h>

CURecursiveLock::CURecursiveLock() : m_pMutex(new CUMutex) {}

CURecursiveLock::~CURecursiveLock() {
    if (m_pMutex != nullptr) {
        delete m_pMutex;
        m_pMutex = nullptr;
    }
}

void CURecursiveLock::Lock() {
    if (m_pMutex != nullptr) {
        m_pMutex->CUMutex::WaitOne(); // made here as a CUMutex: no call through the table
    }
}

void CURecursiveLock::Unlock() {
    if (m_pMutex != nullptr) {
        m_pMutex->CUMutex::ReleaseMutex();
    }
}
