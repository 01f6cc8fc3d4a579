// Making CUStringMac values from UTF-8, bytes or UTF-16 units, and reading them back.
#pragma once

#include <VarnUtilityLib/CUStringMac.h>

#include <string>

using Ptr = CUSharedPtr<CUStringMac>;

inline CUStringMac s(char const* utf8) {
    return CUStringMac(utf8, CUString_CharCode_UTF8);
}

inline Ptr S(char const* utf8) {
    return Ptr(new CUStringMac(utf8, CUString_CharCode_UTF8));
}

inline CUStringMac fromUnits(std::u16string u) {
    return CUStringMac(reinterpret_cast<unsigned short*>(u.data()),
                       static_cast<unsigned int>(u.size() * 2));
}

// A string with a null text (bytes that are not UTF-8).
inline CUStringMac nullText() {
    return s("\xC3\x28");
}

inline bool isNullText(CUStringMac& str) {
    return static_cast<__CFString const*>(str) == nullptr;
}

inline std::string utf8(CUStringMac& str) {
    std::string out;
    return str.GetString(out) == 0 ? out : std::string("<failed>");
}

inline std::u16string units(CUStringMac& str) {
    __CFString const* t = str;
    return t == nullptr ? u"<null>"
                        : std::u16string(CUPlatformStringGetUnits(t), CUPlatformStringGetLength(t));
}
