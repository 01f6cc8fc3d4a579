// CUEnvironment.cpp — processor count and sleep.
#include <VarnUtilityLib/CUEnvironment.h>

#include "platform/System.h"

int CUEnvironment::ProcessorCount() {
    int count = varn::platform::ProcessorsAvailable();
    return count >= 2 ? count : 1;
}

int CUSleep(unsigned int milliseconds) {
    // Wraps past 4,294,967 ms: the product is 32-bit, as the interface promises.
    unsigned int microseconds = milliseconds * 1000u;
    return varn::platform::SleepMicroseconds(microseconds);
}
