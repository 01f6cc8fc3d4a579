// CUIdentifierGenerator.h — the process-wide source of increasing 64-bit identifiers.
//
// The first identifier handed out is 1; each call returns one more than the last, for the life
// of the process; identifiers are never reused or saved.
//
// Ownership: SharedInstance returns a new owner of the one generator, made on first use and
// released at process exit.
// Threads: GenerateIdentifier takes the generator's recursive lock, so concurrent callers get
// distinct identifiers. SharedInstance takes no lock: make the first call before several
// threads can make it at once, or two generators may be made and the first one dropped.
// Errors: nothing is thrown.
#pragma once

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURecursiveLock.h>

#include <cstdint>

/// The process-wide source of increasing 64-bit identifiers.
class CU_EXPORT CUIdentifierGenerator : public CUObject {
  public:
    CUIdentifierGenerator();
    ~CUIdentifierGenerator() override;
    CUIdentifierGenerator(CUIdentifierGenerator const&) = delete;
    CUIdentifierGenerator& operator=(CUIdentifierGenerator const&) = delete;

    /// The process-wide generator, made on first use.
    static CUSharedPtr<CUIdentifierGenerator> SharedInstance();

    /// Under the generator's lock: one more than the last identifier handed out.
    unsigned long long GenerateIdentifier();

  private:
    unsigned long long m_nLastIdentifier;
    // In a cache line of its own: its mutex pointer is read before the lock is taken, and in the
    // counter's line each increment by another thread would take that line away first.
    alignas(64) CURecursiveLock m_lock;
};
