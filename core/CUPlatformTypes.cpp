// CUPlatformTypes.cpp — the functions an application uses on platform text handles.
#include <VarnUtilityLib/CUPlatformTypes.h>

#include "platform/Text.h"
#include "platform/Uuid.h"

__CFString const* CUPlatformStringCreateWithUTF8(char const* bytes, std::size_t length) {
    if (bytes == nullptr && length != 0) {
        return nullptr;
    }
    return varn::platform::Decode(bytes, length, varn::platform::Encoding::UTF8);
}

__CFString const* CUPlatformStringCreateWithUTF16(char16_t const* units, std::size_t count) {
    if (units == nullptr && count != 0) {
        return nullptr;
    }
    return varn::platform::MakeText(units, count);
}

std::size_t CUPlatformStringGetLength(__CFString const* text) {
    return text == nullptr ? 0 : text->length;
}

char16_t const* CUPlatformStringGetUnits(__CFString const* text) {
    return text == nullptr ? nullptr : text->Units();
}

__CFString const* CUPlatformStringRetain(__CFString const* text) {
    return varn::platform::Retain(text);
}

void CUPlatformRelease(__CFString const* text) {
    varn::platform::Release(text);
}

__CFUUID const* CUPlatformUUIDCreateWithBytes(CFUUIDBytes const& bytes) {
    return varn::platform::UuidCreateWithBytes(bytes);
}

__CFUUID const* CUPlatformUUIDCreate() {
    return varn::platform::UuidCreateRandom();
}

CFUUIDBytes CUPlatformUUIDGetBytes(__CFUUID const* uuid) {
    return uuid == nullptr ? CFUUIDBytes{} : uuid->bytes;
}

__CFUUID const* CUPlatformUUIDRetain(__CFUUID const* uuid) {
    return varn::platform::UuidRetain(uuid);
}

void CUPlatformRelease(__CFUUID const* uuid) {
    varn::platform::UuidRelease(uuid);
}
