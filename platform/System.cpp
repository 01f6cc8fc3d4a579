// System.cpp — POSIX processors, sleep, clock, threads and condition variables.
#include "platform/System.h"

#include <VarnUtilityLib/CUObject.h>

#include <pthread.h>
#include <sys/single_threaded.h>
#include <unistd.h>

#include <sched.h>
#include <time.h>

#include <atomic>
#include <cerrno>

namespace varn::platform {
namespace {

static_assert(sizeof(pthread_cond_t) <= sizeof(CUPlatformCondStorage));
static_assert(alignof(pthread_cond_t) <= alignof(CUPlatformCondStorage));
static_assert(sizeof(pthread_t) <= sizeof(CUPlatformThreadStorage));
static_assert(alignof(pthread_t) <= alignof(CUPlatformThreadStorage));

pthread_cond_t* native(CUPlatformCondStorage& c) {
    return reinterpret_cast<pthread_cond_t*>(c.opaque);
}
pthread_t* native(CUPlatformThreadStorage& t) {
    return reinterpret_cast<pthread_t*>(t.opaque);
}

std::atomic<TickSource> g_tickSource{nullptr};

} // namespace

int ProcessorsAvailable() noexcept {
    // A fixed cpu_set_t holds 1024 processors; larger machines need a bigger set, found by
    // doubling until the kernel accepts its size.
    for (int size = 1024; size <= (1 << 20); size *= 2) {
        cpu_set_t* set = CPU_ALLOC(size);
        if (set == nullptr) {
            break;
        }
        std::size_t bytes = CPU_ALLOC_SIZE(size);
        CPU_ZERO_S(bytes, set);
        if (sched_getaffinity(0, bytes, set) == 0) {
            int count = CPU_COUNT_S(bytes, set);
            CPU_FREE(set);
            return count;
        }
        int error = errno;
        CPU_FREE(set);
        if (error != EINVAL) {
            break;
        }
    }
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 0;
}

int SleepMicroseconds(unsigned int microseconds) noexcept {
    return ::usleep(microseconds);
}

std::uint64_t MonotonicTicks() noexcept {
    if (TickSource source = g_tickSource.load(std::memory_order_acquire)) {
        return source();
    }
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000ull +
           static_cast<std::uint64_t>(now.tv_nsec);
}

void MonotonicTimebase(std::uint32_t& numerator, std::uint32_t& denominator) noexcept {
    // The monotonic clock counts nanoseconds already.
    numerator = 1;
    denominator = 1;
}

void SetTickSourceForTesting(TickSource source) noexcept {
    g_tickSource.store(source, std::memory_order_release);
}

int ThreadCreate(CUPlatformThreadStorage& thread, void* (*entry)(void*), void* argument) noexcept {
    int result = pthread_create(native(thread), nullptr, entry, argument);
    if (result != 0) {
        // glibc crashes on joining a handle that was never a thread; a zero handle marks a
        // failed creation so that the later join can be skipped.
        *native(thread) = pthread_t{};
    }
    return result;
}

void ThreadJoin(CUPlatformThreadStorage& thread) noexcept {
    if (*native(thread) == pthread_t{}) {
        return;
    }
    pthread_join(*native(thread), nullptr);
}

void CondInit(CUPlatformCondStorage& cond) noexcept {
    pthread_cond_init(native(cond), nullptr);
}

void CondWait(CUPlatformCondStorage& cond, void* nativeMutex) noexcept {
    pthread_cond_wait(native(cond), static_cast<pthread_mutex_t*>(nativeMutex));
}

void CondSignal(CUPlatformCondStorage& cond) noexcept {
    pthread_cond_signal(native(cond));
}

void CondBroadcast(CUPlatformCondStorage& cond) noexcept {
    pthread_cond_broadcast(native(cond));
}

void CondDestroy(CUPlatformCondStorage& cond) noexcept {
    pthread_cond_destroy(native(cond));
}

} // namespace varn::platform

// An address constant: set when the library is loaded, before any static constructor runs.
char const* const cu_detail::g_pSingleThreaded = &__libc_single_threaded;
