// CUEnvironment.h — facts about the machine the process runs on, and a pause.
//
// Threads: no lock; both operations may be called from any thread. Errors: nothing throws.
#pragma once

#include <VarnUtilityLib/CUExport.h>

/// Facts about the machine the process runs on, and a pause.
class CU_EXPORT CUEnvironment {
  public:
    /// The number of processors this process may run on (its CPU affinity, which honours
    /// taskset and container cpusets); never below 1, and 1 when the query fails.
    static int ProcessorCount();
};

/// Suspends the calling thread for `milliseconds` and returns 0, or -1 when the pause was cut
/// short by a signal. The microsecond count is computed in unsigned 32-bit arithmetic, so the
/// longest pause of one call is 4,294,967 ms; larger arguments wrap.
CU_EXPORT int CUSleep(unsigned int milliseconds);
