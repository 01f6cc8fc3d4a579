// CUPerformanceCounter.cpp — a stopwatch over the monotonic clock.
#include <VarnUtilityLib/CUPerformanceCounter.h>

#include "platform/System.h"

#include <cstdio>

CUPerformanceCounter::CUPerformanceCounter()
    : m_nStart(0), m_nEnd(0), m_nTimebaseNumerator(0), m_nTimebaseDenominator(0) {
    varn::platform::MonotonicTimebase(m_nTimebaseNumerator, m_nTimebaseDenominator);
}

CUPerformanceCounter::~CUPerformanceCounter() = default;

unsigned long long CUPerformanceCounter::StartCounter() {
    m_nStart = varn::platform::MonotonicTicks();
    return m_nStart;
}

unsigned long long CUPerformanceCounter::EndCounter() {
    m_nEnd = varn::platform::MonotonicTicks();
    return m_nEnd;
}

unsigned long long CUPerformanceCounter::elapsedNanoseconds() const noexcept {
    if (m_nTimebaseNumerator == 0 || m_nTimebaseDenominator == 0 || m_nStart == 0 || m_nEnd == 0) {
        return 0;
    }
    // Multiplication first, in unsigned 64-bit arithmetic (an end before the start wraps).
    return (m_nEnd - m_nStart) * m_nTimebaseNumerator / m_nTimebaseDenominator;
}

unsigned long long CUPerformanceCounter::GetProcessingTime() {
    return elapsedNanoseconds() / 1000;
}

CUSharedPtr<CUStringMac> CUPerformanceCounter::Description() {
    unsigned long long elapsed = elapsedNanoseconds();
    if (elapsed < 1000) {
        return CUSharedPtr<CUStringMac>(
            new CUStringMac("CUPerformanceCounter err.", CUString_CharCode_UTF8));
    }
    char text[128];
    std::snprintf(text, sizeof text, "Processing time:%lldmicro sec, %lldmsec, %lldsec.",
                  static_cast<long long>(elapsed / 1000), static_cast<long long>(elapsed / 1000000),
                  static_cast<long long>(elapsed / 1000000000));
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}
