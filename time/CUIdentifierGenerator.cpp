// CUIdentifierGenerator.cpp — increasing identifiers under a recursive lock.
#include <VarnUtilityLib/CUIdentifierGenerator.h>
#include <VarnUtilityLib/CUMutex.h>

#include "platform/Mutex.h"

namespace {

// Null from load time; the generator it holds is released when the process exits.
CUSharedPtr<CUIdentifierGenerator> g_spSharedGenerator;

} // namespace

CUIdentifierGenerator::CUIdentifierGenerator() : m_nLastIdentifier(0) {}

CUIdentifierGenerator::~CUIdentifierGenerator() = default;

CUSharedPtr<CUIdentifierGenerator> CUIdentifierGenerator::SharedInstance() {
    if (!g_spSharedGenerator) {
        g_spSharedGenerator = CUSharedPtr<CUIdentifierGenerator>(new CUIdentifierGenerator);
    }
    return g_spSharedGenerator;
}

// This is m_lock.Lock(), the increment and m_lock.Unlock(), with the lock's steps written out
// (if it has a mutex and the mutex was set up, lock it) so that the mutex is looked up once and
// kept in a register across the two pthread calls. Through the lock, the mutex's pointer and its
// set-up flag are read again after each call, and a scoped CUAutoLock adds a CUObject whose
// constructor checks the process-wide mutex flag: together a fifth of the cost of a call.
unsigned long long CUIdentifierGenerator::GenerateIdentifier() {
    CUMutex* const mutex = m_lock.m_pMutex;
    if (mutex == nullptr || !mutex->m_bInitialized) {
        return ++m_nLastIdentifier; // Lock and Unlock do nothing on such a lock
    }
    CUPlatformMutexStorage& native = mutex->m_mutex;
    varn::platform::MutexLock(native);
    unsigned long long const identifier = ++m_nLastIdentifier;
    varn::platform::MutexUnlock(native);
    return identifier;
}
