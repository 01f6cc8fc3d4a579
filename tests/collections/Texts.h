// Text elements for the collection tests: making them and reading them back.
#pragma once

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <string>

inline CUSharedPtr<CUStringMac> text(char const* utf8) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(utf8, CUString_CharCode_UTF8));
}

// "null" for a null object, "<not a string>" for another class.
inline std::string textOf(CUSharedPtr<CUObject> const& object) {
    CUSharedPtr<CUStringMac> s = object;
    return !object ? "null" : s ? static_cast<char const*>(*s) : "<not a string>";
}

// The elements' texts, comma-separated.
inline std::string joined(CUSharedPtr<CUArray> const& array) {
    std::string out;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        out += (i ? "," : "") + textOf(array->ObjectAtIndex(i));
    }
    return out;
}
