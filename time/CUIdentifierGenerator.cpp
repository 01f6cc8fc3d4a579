// CUIdentifierGenerator.cpp — increasing identifiers under a recursive lock.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUIdentifierGenerator.h>

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

// Flattened: the guard, the monitor, the lock and the mutex are compiled with it (one unit, see
// CMakeLists.txt) and inlined down to the platform call; a dozen calls cost more than the lock.
[[gnu::flatten]] unsigned long long CUIdentifierGenerator::GenerateIdentifier() {
    CUAutoLock guard(&m_lock);
    return ++m_nLastIdentifier;
}
