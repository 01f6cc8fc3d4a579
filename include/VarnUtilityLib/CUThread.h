// CUThread.h — a POSIX thread whose body is a virtual operation.
//
// Subclass it and override ThreadFunc; Start runs ThreadFunc on a new thread, and GetData
// gives it the pointer handed to Start. Nothing is set up around the body (no pool, event or
// lock). Join, WaitOne and the destructor wait for the thread's end, at most once per object.
//
// Ownership: count 0 at construction. Destroying a started thread waits for its end, so the
// body must not destroy its own object. A subclass should call Join() in its own destructor:
// ~CUThread runs after the subclass's part is gone, and a thread that has not yet reached
// ThreadFunc would then run the base body on a half-destroyed object.
// Threads: Start, Join, WaitOne and the destructor belong to one controlling thread; the
// started and joined flags are not locked.
// Errors: nothing throws; Start returns the system's error number.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CUWaitHandle.h>

/// A POSIX thread whose body is a virtual operation.
class CU_EXPORT CUThread : public CUWaitHandle {
  public:
    CUThread();
    /// Joins as Join does.
    ~CUThread() override;
    CUThread(CUThread const&) = delete;
    CUThread& operator=(CUThread const&) = delete;

    /// Join(); returns true.
    bool WaitOne() override;

    /// Stores `data` and starts a thread running ThreadFunc. Marks the object started even when
    /// creation fails. Returns 0, or the system's error number.
    virtual int Start(void* data);

    /// The thread's body; its result is the thread's result. This version returns null.
    virtual void* ThreadFunc();

    /// Entry functions for the system: call `arg`'s ThreadFunc (null for a null `arg`).
    static void* ThreadFunc_static(void* arg);
    /// The body shared by the entry functions.
    static void* ThreadFunc_static_Common(void* arg);

    /// The pointer handed to Start (null before).
    void* GetData();

    /// If started and not yet joined, waits for the thread's end; otherwise returns at once.
    void Join();

  private:
    void* m_pData;
    CUPlatformThreadStorage m_thread;
    bool m_bStarted;
    bool m_bJoined;
};
