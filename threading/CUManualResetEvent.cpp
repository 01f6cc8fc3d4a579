// CUManualResetEvent.cpp — the manual-reset event.
#include <VarnUtilityLib/CUManualResetEvent.h>

CUManualResetEvent::CUManualResetEvent(bool initialState)
    : CUEventWaitHandle(initialState, CUEventWaitHandle_EventResetMode_ManualReset) {}

CUManualResetEvent::~CUManualResetEvent() = default;
