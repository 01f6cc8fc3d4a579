// StringDecodeFuzz.cpp — arbitrary bytes through every string constructor and back.
//
// Checks, beyond "no crash, no leak":
// - UTF-8 input that decodes converts back to the same bytes (less a leading byte-order mark,
//   and less stray 0xA9 bytes, which decode to U+FFFD);
// - UTF-16 input decodes to exactly the units a reference decoder finds (byte-order mark
//   honoured, big-endian without one, a last odd byte ignored) and GetString gives them back
//   in host order; "ASCII" input decodes each byte as Latin-1 up to the first zero byte;
// - every decoded text survives UTF-16 out -> UTF-16 in unchanged, and UTF-8 out -> UTF-8 in
//   unchanged when it has no unpaired surrogate;
// - a conversion into a buffer of any size stays inside it, is terminated, and is a prefix of
//   the conversion into a buffer of the full size.
#include "FuzzInput.h"

#include <VarnUtilityLib/CUStringMac.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::u16string Units(CUStringMac& s) {
    unsigned int need = 0;
    CHECK(s.GetString(nullptr, CUString_CharCode_UTF16, need) == 0);
    CHECK(need == 2u * static_cast<unsigned int>(s.Length()) + 2u);
    std::vector<char> buffer(need);
    CHECK(s.GetString(buffer.data(), CUString_CharCode_UTF16, need) == 0);
    std::u16string units(static_cast<std::size_t>(s.Length()), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), buffer.data(), units.size() * 2);
    }
    CHECK(buffer[need - 1] == 0 && buffer[need - 2] == 0);
    return units;
}

// The reference decoder for external-representation UTF-16; false for a single byte.
bool DecodeUTF16(std::uint8_t const* p, std::size_t n, std::u16string& out) {
    if (n == 1) {
        return false;
    }
    std::size_t first = 0;
    bool little = false;
    if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
        little = true;
        first = 1;
    } else if (n >= 2 && p[0] == 0xFE && p[1] == 0xFF) {
        first = 1;
    }
    out.clear();
    for (std::size_t u = first; u < n / 2; ++u) {
        std::uint8_t b0 = p[2 * u], b1 = p[2 * u + 1];
        out +=
            little ? static_cast<char16_t>(b0 | (b1 << 8)) : static_cast<char16_t>((b0 << 8) | b1);
    }
    return true;
}

bool HasUnpairedSurrogate(std::u16string const& units) {
    for (std::size_t i = 0; i < units.size(); ++i) {
        char16_t u = units[i];
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (i + 1 == units.size() || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF) {
                return true;
            }
            ++i;
        } else if (u >= 0xDC00 && u <= 0xDFFF) {
            return true;
        }
    }
    return false;
}

// UTF-16 out with a little-endian mark, back in: the same units.
void CheckUTF16RoundTrip(std::u16string const& units) {
    std::string bytes("\xFF\xFE", 2);
    for (char16_t u : units) {
        bytes += static_cast<char>(u & 0xFF);
        bytes += static_cast<char>(u >> 8);
    }
    CUStringMac again(bytes.data(), static_cast<unsigned int>(bytes.size()),
                      CUString_CharCode_UTF16);
    CHECK(Units(again) == units);
}

// UTF-8 out, back in: the same units, unless the conversion cannot carry them (an unpaired
// surrogate), the text holds U+0000 (the counted constructor cuts there) or starts with
// U+FEFF (read back as a byte-order mark).
void CheckUTF8RoundTrip(CUStringMac& s, std::u16string const& units) {
    std::string utf8;
    unsigned int status = s.GetString(utf8);
    CHECK((status == 0) == !HasUnpairedSurrogate(units));
    if (status != 0 || units.find(u'\0') != std::u16string::npos ||
        (!units.empty() && units[0] == 0xFEFF)) {
        return;
    }
    CUStringMac again(utf8.data(), static_cast<unsigned int>(utf8.size()), CUString_CharCode_UTF8);
    CHECK(Units(again) == units);
}

// Every buffer size: inside the buffer, terminated, a prefix of the full conversion.
void CheckBufferedConversions(CUStringMac& s) {
    for (int out = 0; out < 3; ++out) {
        auto code = static_cast<_CUString_CharCode>(out);
        unsigned int const unit = out == CUString_CharCode_UTF16 ? 2 : 1;
        unsigned int need = 0;
        CHECK(s.GetString(nullptr, code, need) == 0);
        std::vector<char> full(need);
        unsigned int fullSize = need;
        CHECK(s.GetString(full.data(), code, fullSize) == 0);
        for (unsigned int cap : {1u, 2u, 3u, 4u, 5u, need / 3 + 1, need / 2 + 1, need - 1, need}) {
            if (cap == 0 || cap > need) {
                continue;
            }
            // A guard byte after the buffer catches a write past its end.
            std::vector<char> buffer(cap + 1, '\x5A');
            unsigned int given = cap;
            CHECK(s.GetString(buffer.data(), code, given) == 0);
            CHECK(given == cap);
            CHECK(buffer[cap] == '\x5A');
            if (cap < unit) {
                CHECK(buffer[0] == 0); // no room for a whole terminator: nothing but zeros
                continue;
            }
            std::size_t used = 0;
            while (used + unit <= cap &&
                   !(buffer[used] == 0 && (unit == 1 || buffer[used + 1] == 0))) {
                used += unit;
            }
            CHECK(used + unit <= cap); // a terminator inside the buffer
            CHECK(std::memcmp(buffer.data(), full.data(), used) == 0);
        }
    }
}

void CheckText(CUStringMac& s) {
    std::u16string units = Units(s);
    CheckUTF16RoundTrip(units);
    CheckUTF8RoundTrip(s, units);
    CheckBufferedConversions(s);
    CUSharedPtr<CUStringMac> trimmed = s.Trim();
    CHECK(trimmed && trimmed->Length() <= s.Length());
    CUSharedPtr<CUStringMac> half = s.SubString(0, s.Length() / 2);
    CHECK(half && half->Length() == s.Length() / 2);
    CHECK(Units(*half) == units.substr(0, units.size() / 2));
    if (half->Length() > 0) {
        _CURange found = s.Find(half, CUStringComparison_CaseSensitive);
        CHECK(found.location == 0 &&
              found.length == static_cast<unsigned long long>(half->Length()));
        (void)s.Find(half, CUStringComparison_CaseInsensitive);
    }
    (void)(*half < s);
    (void)s.Equals(*half, CUStringComparison_CaseInsensitive);
    CHECK(s.CountOfChars() <= s.Length());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > (1u << 16)) {
        return 0;
    }
    auto const* bytes = reinterpret_cast<char const*>(data);
    std::size_t const toZero = strnlen(bytes, size);

    // UTF-8.
    {
        CUStringMac s(bytes, static_cast<unsigned int>(size), CUString_CharCode_UTF8);
        std::string back;
        if (s.GetString(back) == 0) {
            std::string expected(bytes, toZero);
            if (expected.rfind("\xEF\xBB\xBF", 0) == 0) {
                expected.erase(0, 3);
            }
            if (expected.find('\xA9') == std::string::npos) {
                CHECK(back == expected);
            }
        }
        if (static_cast<__CFString const*>(s) != nullptr) {
            CheckText(s);
        }
    }
    // UTF-16: every byte counts, zero units included.
    {
        CUStringMac s(bytes, static_cast<unsigned int>(size), CUString_CharCode_UTF16);
        std::u16string expected;
        bool const decodes = size == 0 || DecodeUTF16(data, size, expected);
        CHECK(decodes == (static_cast<__CFString const*>(s) != nullptr));
        if (decodes) {
            CHECK(Units(s) == expected);
            CheckText(s);
        }
    }
    // "ASCII": Latin-1 up to the first zero byte; ASCII output stops at the first byte above
    // 0x7F.
    {
        CUStringMac s(bytes, static_cast<unsigned int>(size), CUString_CharCode_ASCII);
        CHECK(static_cast<__CFString const*>(s) != nullptr);
        std::u16string expected;
        for (std::size_t i = 0; i < toZero; ++i) {
            expected += static_cast<char16_t>(data[i]);
        }
        CHECK(Units(s) == expected);
        unsigned int need = 0;
        CHECK(s.GetString(nullptr, CUString_CharCode_ASCII, need) == 0);
        std::vector<char> ascii(need);
        CHECK(s.GetString(ascii.data(), CUString_CharCode_ASCII, need) == 0);
        std::size_t plain = 0;
        while (plain < toZero && data[plain] < 0x80) {
            ++plain;
        }
        CHECK(std::string(ascii.data()) == std::string(bytes, plain));
        CheckText(s);
    }
    // Units taken as they are.
    {
        std::vector<unsigned short> units(size / 2);
        if (!units.empty()) {
            std::memcpy(units.data(), data, units.size() * 2);
        }
        CUStringMac s(units.data(), static_cast<unsigned int>(units.size() * 2));
        CHECK(static_cast<__CFString const*>(s) != nullptr);
        CHECK(Units(s) == std::u16string(units.begin(), units.end()));
        CheckText(s);
    }
    return 0;
}
