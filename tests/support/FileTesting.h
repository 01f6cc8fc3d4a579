// FileTesting.h — strings, thrown codes, patterned contents, copies and listings for the tests.
#pragma once

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileSysytemInfo.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <string>
#include <vector>

namespace varn::test {

inline CUSharedPtr<CUStringMac> Str(std::string const& text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

/// A string of exactly the bytes of `text` (a zero byte included), read as UTF-8.
inline CUStringMac Utf8(std::string const& text) {
    return CUStringMac(text.data(), static_cast<unsigned int>(text.size()), CUString_CharCode_UTF8);
}

/// A string of exactly these UTF-16 units, unpaired surrogates and U+0000 included.
inline CUStringMac Units(std::u16string const& units) {
    std::vector<unsigned short> copy(units.begin(), units.end());
    return CUStringMac(copy.data(), static_cast<unsigned int>(copy.size() * 2));
}

/// The UTF-8 text of `s`; "" for a string without one.
inline std::string Text(CUSharedPtr<CUStringMac> const& s) {
    char const* p = s ? static_cast<char const*>(*s) : nullptr;
    return p != nullptr ? p : "";
}

/// The code `f` throws, 0 when it throws nothing.
template <typename F> unsigned int CodeOf(F&& f) {
    try {
        f();
    } catch (unsigned int code) {
        return code;
    }
    return 0;
}

/// `n` bytes that differ from any shift of themselves, so a misplaced block shows.
inline std::string Pattern(std::size_t n, char first = 'a') {
    std::string s(n, '\0');
    for (std::size_t i = 0; i < n; ++i) {
        s[i] = static_cast<char>(first + (i + i / 4093) % 23);
    }
    return s;
}

/// Copies or moves with progress and no callback; the status.
inline unsigned int CopyFile(std::string const& from, std::string const& to,
                             bool overwrite = false) {
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    return CUFile::CopyWithProgress(Str(from), Str(to), &info, overwrite);
}

inline unsigned int MoveFile(std::string const& from, std::string const& to) {
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    return CUFile::MoveWithProgress(Str(from), Str(to), &info, false);
}

/// The full names of a listing's entries, in listing order.
inline std::vector<std::string> FullNames(CUSharedPtr<CUArray> const& items) {
    std::vector<std::string> result;
    for (unsigned long i = 0; i < items->Count(); ++i) {
        result.push_back(
            Text(CUSharedPtr<CUFileSysytemInfo>(items->ObjectAtIndex(i))->GetFullName()));
    }
    return result;
}

} // namespace varn::test
