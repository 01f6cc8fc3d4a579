// CUMutex.h — a recursive native mutex presented as a wait handle.
//
// The thread that holds it may take it again; it is free after as many releases. It must not
// be destroyed while held. Nothing throws: if the attributes cannot be set up at construction,
// the mutex stays unusable and WaitOne/ReleaseMutex do nothing.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CUWaitHandle.h>

/// A recursive native mutex presented as a wait handle.
class CU_EXPORT CUMutex : public CUWaitHandle {
  public:
    CUMutex();
    ~CUMutex() override;
    CUMutex(CUMutex const&) = delete;
    CUMutex& operator=(CUMutex const&) = delete;

    /// Blocks until the mutex is free or already held by this thread, then takes it.
    /// Returns true.
    bool WaitOne() override;

    /// Releases one hold; returns the system's result (0 on success, non-zero for example
    /// when the calling thread does not hold it).
    virtual int ReleaseMutex();

    /// The native mutex (a pthread_mutex_t*), for use with a condition variable.
    void* GetMutex();

  private:
    friend class CUIdentifierGenerator; // takes its lock's mutex without the calls between

    /// The native mutex when it was set up; null when it was not (it is then never taken).
    CUPlatformMutexStorage* z_SetUpMutex() { return m_bInitialized ? &m_mutex : nullptr; }

    CUPlatformMutexStorage m_mutex;
    CUPlatformMutexAttrStorage m_attributes;
    bool m_bInitialized;
};
