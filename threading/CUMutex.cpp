// CUMutex.cpp — the recursive native mutex.
#include <VarnUtilityLib/CUMutex.h>

#include "platform/Mutex.h"

CUMutex::CUMutex() : m_mutex{}, m_attributes{}, m_bInitialized(false) {
    m_bInitialized = varn::platform::MutexInitRecursive(m_mutex, m_attributes);
}

CUMutex::~CUMutex() {
    if (m_bInitialized) {
        varn::platform::MutexDestroy(m_mutex, m_attributes);
    }
}

bool CUMutex::WaitOne() {
    // The lock call's answer is ignored: a wait handle reports that the wait took place.
    if (CUPlatformMutexStorage* mutex = z_SetUpMutex()) {
        varn::platform::MutexLock(*mutex);
    }
    return true;
}

int CUMutex::ReleaseMutex() {
    CUPlatformMutexStorage* mutex = z_SetUpMutex();
    return mutex != nullptr ? varn::platform::MutexUnlock(*mutex) : -1;
}

void* CUMutex::GetMutex() {
    return varn::platform::MutexNative(m_mutex);
}
