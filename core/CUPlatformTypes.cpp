// CUPlatformTypes.cpp — the functions an application uses on platform text handles.
#include <VarnUtilityLib/CUPlatformTypes.h>

#include "platform/Text.h"

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
