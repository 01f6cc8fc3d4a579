// Mutex.h — native mutexes held in the opaque storage records of CUPlatformTypes.h.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

namespace varn::platform {

/// Initialises the attributes as recursive and the mutex with them. False (mutex left
/// uninitialised) when an attribute call fails.
bool MutexInitRecursive(CUPlatformMutexStorage& mutex,
                        CUPlatformMutexAttrStorage& attributes) noexcept;

/// Initialises a mutex with default attributes; returns the system's result (0 on success).
int MutexInitDefault(CUPlatformMutexStorage& mutex) noexcept;

/// Blocks until the mutex is held; returns the system's result.
int MutexLock(CUPlatformMutexStorage& mutex) noexcept;

/// Releases one hold; returns the system's result (0 on success).
int MutexUnlock(CUPlatformMutexStorage& mutex) noexcept;

/// Destroys the mutex and then its attributes.
void MutexDestroy(CUPlatformMutexStorage& mutex, CUPlatformMutexAttrStorage& attributes) noexcept;

/// The native mutex record inside the storage (a pthread_mutex_t*), for condition variables.
void* MutexNative(CUPlatformMutexStorage& mutex) noexcept;

} // namespace varn::platform
