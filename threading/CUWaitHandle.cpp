// CUWaitHandle.cpp — the base wait handle, which waits for nothing.
#include <VarnUtilityLib/CUWaitHandle.h>

CUWaitHandle::~CUWaitHandle() = default;

bool CUWaitHandle::WaitOne() {
    return false;
}
