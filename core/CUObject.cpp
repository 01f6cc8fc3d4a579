// CUObject.cpp — the root object, its globals and the default description.
#include <VarnUtilityLib/CUObject.h>

#include "platform/Mutex.h"
#include "platform/SmallBlocks.h"

#include <cstdio>
#include <typeinfo>

char const* CU_NEWLINE_CHAR = "\n";
CUPlatformMutexStorage g_MutexHandle_CUObject = {};
unsigned char initMutex_CUObject = 0;

CUObject::CUObject() : m_nRefCount(0) {
    // Unlocked by design: the first object is expected before any thread starts.
    if (initMutex_CUObject == 0) {
        varn::platform::MutexInitDefault(g_MutexHandle_CUObject);
        initMutex_CUObject = 1;
    }
}

CUObject::CUObject(CUObject const& /*other*/) : m_nRefCount(0) {}

CUObject::~CUObject() = default;

void* CUObject::operator new(std::size_t size) {
    return varn::platform::AllocateSmall(size);
}

void CUObject::operator delete(void* block, std::size_t size) noexcept {
    varn::platform::FreeSmall(block, size);
}

void* CUObject::operator new(std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment);
}

void CUObject::operator delete(void* block, std::size_t size, std::align_val_t alignment) noexcept {
#if defined(__cpp_sized_deallocation)
    ::operator delete(block, size, alignment);
#else
    static_cast<void>(size);
    ::operator delete(block, alignment);
#endif
}

CUObject& CUObject::operator=(CUObject const& /*other*/) {
    return *this;
}

CUSharedPtr<CUStringMac> CUObject::Description() {
    // The type name can be long for templates; the platform formats into a local buffer, so
    // the text is cut rather than overrun when it does not fit.
    char text[512];
    std::snprintf(text, sizeof text, "%s(0x%p)", typeid(*this).name(), static_cast<void*>(this));
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}
