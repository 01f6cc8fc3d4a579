// CUPerformanceCounter.h — a stopwatch over the monotonic clock.
//
// StartCounter and EndCounter take the clock's ticks (0 means "not taken"); the elapsed time
// is (end - start) converted to nanoseconds, then truncated to microseconds. Either call may be
// repeated; each overwrites its tick.
//
// Ownership: count 0 at construction. Threads: no lock. Errors: nothing throws; a missing
// tick gives 0 and the text "CUPerformanceCounter err.".
#pragma once

#include <VarnUtilityLib/CUObject.h>

#include <cstdint>

/// A stopwatch over the monotonic clock.
class CU_EXPORT CUPerformanceCounter : public CUObject {
  public:
    CUPerformanceCounter();
    ~CUPerformanceCounter() override;

    /// Takes the start tick and returns it.
    unsigned long long StartCounter();
    /// Takes the end tick and returns it.
    unsigned long long EndCounter();

    /// Microseconds from start to end, truncated; 0 when either tick was not taken.
    unsigned long long GetProcessingTime();

    /// "Processing time:<us>micro sec, <ms>msec, <s>sec." (the same interval in three units,
    /// each truncated) when it lasted at least 1000 ns; otherwise "CUPerformanceCounter err.".
    CUSharedPtr<CUStringMac> Description() override;

  private:
    // Elapsed nanoseconds, or 0 when a tick or the time base is missing.
    unsigned long long elapsedNanoseconds() const noexcept;

    unsigned long long m_nStart;
    unsigned long long m_nEnd;
    std::uint32_t m_nTimebaseNumerator;
    std::uint32_t m_nTimebaseDenominator;
};
