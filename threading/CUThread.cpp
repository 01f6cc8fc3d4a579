// CUThread.cpp — threads whose body is a virtual operation.
#include <VarnUtilityLib/CUThread.h>

#include "platform/System.h"

CUThread::CUThread() : m_pData(nullptr), m_thread{}, m_bStarted(false), m_bJoined(false) {}

CUThread::~CUThread() {
    Join();
}

bool CUThread::WaitOne() {
    Join();
    return true;
}

int CUThread::Start(void* data) {
    m_pData = data;
    int result = varn::platform::ThreadCreate(m_thread, &CUThread::ThreadFunc_static, this);
    m_bStarted = true;
    return result;
}

void* CUThread::ThreadFunc() {
    return nullptr;
}

void* CUThread::ThreadFunc_static(void* arg) {
    if (arg == nullptr) {
        return nullptr;
    }
    return static_cast<CUThread*>(arg)->ThreadFunc();
}

void* CUThread::ThreadFunc_static_Common(void* arg) {
    return ThreadFunc_static(arg);
}

void* CUThread::GetData() {
    return m_pData;
}

void CUThread::Join() {
    if (m_bStarted && !m_bJoined) {
        m_bJoined = true;
        varn::platform::ThreadJoin(m_thread);
    }
}
