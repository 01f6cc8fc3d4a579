// System.h — processors, sleeping, the monotonic clock, threads and condition variables.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

#include <cstdint>

namespace varn::platform {

/// Processors the calling process may run on (sched_getaffinity), else the online count;
/// 0 when neither can be had.
int ProcessorsAvailable() noexcept;

/// Sleeps; 0 on success, -1 when interrupted (as usleep answers).
int SleepMicroseconds(unsigned int microseconds) noexcept;

/// Ticks of the monotonic clock (nanoseconds unless a test replaced the clock).
std::uint64_t MonotonicTicks() noexcept;

/// The ratio that turns ticks into nanoseconds: numerator and denominator.
void MonotonicTimebase(std::uint32_t& numerator, std::uint32_t& denominator) noexcept;

/// Replaces the tick source (tests); null restores the real clock.
using TickSource = std::uint64_t (*)();
void SetTickSourceForTesting(TickSource source) noexcept;

/// Starts a thread running entry(argument) with default attributes; returns 0 or the error
/// number. On failure the handle is zeroed.
int ThreadCreate(CUPlatformThreadStorage& thread, void* (*entry)(void*), void* argument) noexcept;

/// Waits for the thread's end; the result is discarded. A handle left by a failed creation
/// (zero) is skipped.
void ThreadJoin(CUPlatformThreadStorage& thread) noexcept;

/// Condition variables in the opaque storage, used with a native mutex (pthread_mutex_t*).
void CondInit(CUPlatformCondStorage& cond) noexcept;
void CondWait(CUPlatformCondStorage& cond, void* nativeMutex) noexcept;
void CondSignal(CUPlatformCondStorage& cond) noexcept;
void CondBroadcast(CUPlatformCondStorage& cond) noexcept;
void CondDestroy(CUPlatformCondStorage& cond) noexcept;

} // namespace varn::platform
