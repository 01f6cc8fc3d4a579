// Mutex.cpp — POSIX mutexes inside the library's opaque storage records.
#include "platform/Mutex.h"

#include <pthread.h>

namespace varn::platform {
namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(CUPlatformMutexStorage));
static_assert(alignof(pthread_mutex_t) <= alignof(CUPlatformMutexStorage));
static_assert(sizeof(pthread_mutexattr_t) <= sizeof(CUPlatformMutexAttrStorage));
static_assert(alignof(pthread_mutexattr_t) <= alignof(CUPlatformMutexAttrStorage));

pthread_mutex_t* native(CUPlatformMutexStorage& m) {
    return reinterpret_cast<pthread_mutex_t*>(m.opaque);
}
pthread_mutexattr_t* native(CUPlatformMutexAttrStorage& a) {
    return reinterpret_cast<pthread_mutexattr_t*>(a.opaque);
}

} // namespace

bool MutexInitRecursive(CUPlatformMutexStorage& mutex,
                        CUPlatformMutexAttrStorage& attributes) noexcept {
    if (pthread_mutexattr_init(native(attributes)) != 0) {
        return false;
    }
    if (pthread_mutexattr_settype(native(attributes), PTHREAD_MUTEX_RECURSIVE) != 0) {
        return false;
    }
    return pthread_mutex_init(native(mutex), native(attributes)) == 0;
}

int MutexInitDefault(CUPlatformMutexStorage& mutex) noexcept {
    return pthread_mutex_init(native(mutex), nullptr);
}

int MutexLock(CUPlatformMutexStorage& mutex) noexcept {
    return pthread_mutex_lock(native(mutex));
}

int MutexUnlock(CUPlatformMutexStorage& mutex) noexcept {
    return pthread_mutex_unlock(native(mutex));
}

void MutexDestroy(CUPlatformMutexStorage& mutex, CUPlatformMutexAttrStorage& attributes) noexcept {
    pthread_mutex_destroy(native(mutex));
    pthread_mutexattr_destroy(native(attributes));
}

void* MutexNative(CUPlatformMutexStorage& mutex) noexcept {
    return native(mutex);
}

} // namespace varn::platform
