// CUAutoResetEvent.cpp — the automatic-reset event.
#include <VarnUtilityLib/CUAutoResetEvent.h>

CUAutoResetEvent::CUAutoResetEvent(bool initialState)
    : CUEventWaitHandle(initialState, CUEventWaitHandle_EventResetMode_AutoReset) {}

CUAutoResetEvent::~CUAutoResetEvent() = default;
