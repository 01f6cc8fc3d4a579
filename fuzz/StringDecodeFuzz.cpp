// StringDecodeFuzz.cpp — arbitrary bytes through every string constructor and back.
//
// Checks, beyond "no crash, no leak": a text that decodes as UTF-8 converts back to the same
// bytes (less a leading byte-order mark), and every conversion into a buffer stays inside it.
#include <VarnUtilityLib/CUStringMac.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const* bytes = reinterpret_cast<char const*>(data);
    for (int code = 0; code < 3; ++code) {
        CUStringMac s(bytes, static_cast<unsigned int>(size),
                      static_cast<_CUString_CharCode>(code));
        std::string back;
        if (code == 0 && s.GetString(back) == 0) {
            std::string expected(bytes, strnlen(bytes, size));
            if (expected.rfind("\xEF\xBB\xBF", 0) == 0) {
                expected.erase(0, 3);
            }
            // A lone 0xA9 decodes to U+FFFD, so only inputs without it must round-trip.
            if (expected.find('\xA9') == std::string::npos && back != expected) {
                std::abort();
            }
        }
        for (int out = 0; out < 3; ++out) {
            unsigned int need = 0;
            if (s.GetString(nullptr, static_cast<_CUString_CharCode>(out), need) != 0) {
                continue;
            }
            for (unsigned int cap : {1u, need / 2 + 1, need}) {
                std::vector<char> buffer(cap);
                unsigned int given = cap;
                s.GetString(buffer.data(), static_cast<_CUString_CharCode>(out), given);
                if (std::memchr(buffer.data(), 0, cap) == nullptr) {
                    std::abort(); // never unterminated
                }
            }
        }
        CUSharedPtr<CUStringMac> trimmed = s.Trim();
        CUSharedPtr<CUStringMac> half = s.SubString(0, s.Length() / 2);
        if (half) {
            (void)s.Find(half, CUStringComparison_CaseInsensitive);
            (void)(*half < s);
            (void)s.Equals(*half, CUStringComparison_CaseInsensitive);
        }
        (void)s.CountOfChars();
    }
    return 0;
}
