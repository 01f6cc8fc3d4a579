// Stress.h — how long the stress tests run: VARN_STRESS_SECONDS (positive, fractions allowed),
// 2 when unset or unreadable. CI sets 10 for one run.
#pragma once

#include <chrono>
#include <cstdlib>

namespace varn::test {

inline std::chrono::milliseconds StressDuration() {
    double seconds = 2.0;
    if (char const* text = std::getenv("VARN_STRESS_SECONDS")) {
        char* end = nullptr;
        double wanted = std::strtod(text, &end);
        if (end != text && wanted > 0 && wanted < 3600) {
            seconds = wanted;
        }
    }
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace varn::test
