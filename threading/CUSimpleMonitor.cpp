// CUSimpleMonitor.cpp — entering and exiting locks through their virtual operations.
#include <VarnUtilityLib/CUSimpleMonitor.h>

CUSimpleMonitor::~CUSimpleMonitor() = default;

void CUSimpleMonitor::Enter(CULockAbstract* lock) {
    if (lock != nullptr) {
        lock->Lock();
    }
}

void CUSimpleMonitor::Enter(CUSharedPtr<CULockAbstract> lock) {
    if (lock) {
        lock->Lock();
    }
}

void CUSimpleMonitor::Exit(CULockAbstract* lock) {
    if (lock != nullptr) {
        lock->Unlock();
    }
}

void CUSimpleMonitor::Exit(CUSharedPtr<CULockAbstract> lock) {
    if (lock) {
        lock->Unlock();
    }
}
