// CUUUID.cpp — UUIDs over the platform's UUID handles.
#include <VarnUtilityLib/CUUUID.h>

#include "platform/Uuid.h"

#include <cstring>
#include <string>

namespace uu = varn::platform;

namespace {

[[noreturn]] void throwCannotMake() {
    throw static_cast<unsigned int>(CUError_InvalidArgument);
}

template <class... Args> CUSharedPtr<CUUUID> makeOrNull(Args&&... args) {
    try {
        return CUSharedPtr<CUUUID>(new CUUUID(std::forward<Args>(args)...));
    } catch (...) {
        return CUSharedPtr<CUUUID>();
    }
}

} // namespace

CUUUID::CUUUID() : m_pUUID(uu::UuidCreateRandom()) {
    if (m_pUUID == nullptr) {
        throwCannotMake();
    }
}

CUUUID::CUUUID(unsigned char const* bytes) : m_pUUID(nullptr) {
    if (bytes == nullptr) {
        throwCannotMake();
    }
    CFUUIDBytes record;
    std::memcpy(&record, bytes, sizeof record);
    m_pUUID = uu::UuidCreateWithBytes(record);
    if (m_pUUID == nullptr) {
        throwCannotMake();
    }
}

CUUUID::CUUUID(CFUUIDBytes const& bytes) : m_pUUID(nullptr) {
    SetUUIDBytes(bytes);
}

CUUUID::CUUUID(__CFUUID const* uuid) : m_pUUID(nullptr) {
    if (uuid != nullptr) {
        SetUUIDRef(uuid);
    }
}

CUUUID::CUUUID(CUUUID const& other) : CUObject(other), m_pUUID(nullptr) {
    __CFUUID const* source = other.GetUUIDRef();
    if (source != nullptr) {
        SetUUIDRef(source);
    }
}

CUUUID::~CUUUID() {
    uu::UuidRelease(m_pUUID);
}

CUSharedPtr<CUUUID> CUUUID::Create() {
    return makeOrNull();
}

CUSharedPtr<CUUUID> CUUUID::Create(unsigned char const* bytes) {
    return makeOrNull(bytes);
}

CUSharedPtr<CUUUID> CUUUID::Create(CFUUIDBytes const& bytes) {
    return makeOrNull(bytes);
}

CUSharedPtr<CUUUID> CUUUID::Create(__CFUUID const* uuid) {
    return makeOrNull(uuid);
}

CUSharedPtr<CUUUID> CUUUID::Create(CUUUID const& other) {
    return makeOrNull(other);
}

CUSharedPtr<CUUUID> CUUUID::Create(unsigned int w0, unsigned int w1, unsigned int w2,
                                   unsigned int w3) {
    unsigned char bytes[16];
    unsigned int const words[4] = {w0, w1, w2, w3};
    for (int w = 0; w < 4; ++w) {
        bytes[w * 4 + 0] = static_cast<unsigned char>(words[w] >> 24);
        bytes[w * 4 + 1] = static_cast<unsigned char>(words[w] >> 16);
        bytes[w * 4 + 2] = static_cast<unsigned char>(words[w] >> 8);
        bytes[w * 4 + 3] = static_cast<unsigned char>(words[w]);
    }
    return makeOrNull(static_cast<unsigned char const*>(bytes));
}

CUSharedPtr<CUUUID> CUUUID::CreateNull() {
    unsigned char const zeros[16] = {};
    return makeOrNull(static_cast<unsigned char const*>(zeros));
}

CUSharedPtr<CUStringMac> CUUUID::Description() {
    CUSharedPtr<CUStringMac> generic = CUObject::Description();
    if (m_pUUID == nullptr || !generic) {
        return generic;
    }
    std::string text;
    if (generic->GetString(text) != kCUStatusSuccess) {
        return generic;
    }
    text += ' ';
    text += uu::UuidUpperText(m_pUUID->bytes);
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

CUUUID::operator __CFUUID const*() const {
    return GetUUIDRef();
}

CUUUID::operator CFUUIDBytes() const {
    return GetUUIDBytes();
}

bool CUUUID::operator==(CFUUIDBytes const& other) const {
    CFUUIDBytes mine = GetUUIDBytes();
    return std::memcmp(&mine, &other, sizeof mine) == 0;
}

bool CUUUID::operator==(CUUUID const& other) const {
    return *this == other.GetUUIDBytes();
}

bool CUUUID::operator==(__CFUUID const* other) const {
    return *this == CUPlatformUUIDGetBytes(other);
}

CUUUID& CUUUID::operator=(CUUUID const& other) {
    SetUUIDRef(other.GetUUIDRef());
    return *this;
}

void CUUUID::GetBytes(unsigned char* bytes) {
    if (bytes == nullptr) {
        return;
    }
    if (m_pUUID == nullptr) {
        std::memset(bytes, 0, 16);
        return;
    }
    CFUUIDBytes record = GetUUIDBytes();
    std::memcpy(bytes, &record, 16);
}

__CFUUID const* CUUUID::GetUUIDRef() const {
    return m_pUUID;
}

void CUUUID::SetUUIDRef(__CFUUID const* uuid) {
    if (uuid == m_pUUID) {
        return;
    }
    // The caller's handle is read, never kept: this object always owns a handle of its own.
    SetUUIDBytes(CUPlatformUUIDGetBytes(uuid));
}

CFUUIDBytes CUUUID::GetUUIDBytes() const {
    return CUPlatformUUIDGetBytes(m_pUUID);
}

void CUUUID::SetUUIDBytes(CFUUIDBytes const& source) {
    CFUUIDBytes const bytes = source; // the source may live in the handle released below
    uu::UuidRelease(m_pUUID);
    m_pUUID = nullptr;
    m_pUUID = uu::UuidCreateWithBytes(bytes);
    if (m_pUUID == nullptr) {
        throwCannotMake();
    }
}

bool CUUUID::IsNotFillSerialArea() {
    unsigned char bytes[16];
    GetBytes(bytes);
    for (int i = 11; i < 16; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

void CUUUID::CorrectSerialArea(unsigned char* serial) {
    if (serial == nullptr) {
        return;
    }
    CFUUIDBytes record = GetUUIDBytes();
    record.byte11 = serial[0];
    record.byte12 = serial[1];
    record.byte13 = serial[2];
    record.byte14 = serial[3];
    record.byte15 = serial[4];
    SetUUIDBytes(record);
}
