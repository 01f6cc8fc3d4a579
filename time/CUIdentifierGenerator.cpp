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

// This is m_lock.Lock(), the increment and m_lock.Unlock() with the native mutex looked up once
// (as Lock does: the lock's mutex, if it has one and it was set up) and kept in a register across
// the two pthread calls. Through the lock, the mutex's pointer and its set-up flag are read again
// after each call, and a scoped CUAutoLock adds a CUObject whose constructor checks the
// process-wide mutex flag: together a fifth of the cost of a call.
unsigned long long CUIdentifierGenerator::GenerateIdentifier() {
    CUMutex* const mutex = m_lock.m_pMutex;
    CUPlatformMutexStorage* const native = mutex != nullptr ? mutex->z_SetUpMutex() : nullptr;
    if (native == nullptr) {
        return ++m_nLastIdentifier; // Lock and Unlock do nothing on such a lock
    }
    varn::platform::MutexLock(*native);
    unsigned long long const identifier = ++m_nLastIdentifier;
    varn::platform::MutexUnlock(*native);
    return identifier;
}
