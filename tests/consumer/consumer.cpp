// consumer.cpp — a program built against an installed VarnUtilityLib (the rest of the interface
// runs through the shared library in tests/api). Exits 0 only when every result is the expected
// one, so a build that links but misbehaves fails too.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <cstring>

int main() {
    auto str = [](char const* text) {
        return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
    };
    CUSharedPtr<CUStringMac> line = CUStringMac::CreateWithFormat(str("%d items"), 3);
    if (!line || std::strcmp(*line, "3 items") != 0 ||
        !str("Straße")->Equals(*str("STRASSE"), CUStringComparison_CaseInsensitive)) {
        std::fprintf(stderr, "consumer: strings\n");
        return 1;
    }
    std::printf("consumer: VarnUtilityLib %s works\n", VARN_UTILITY_LIB_VERSION_STRING);
    return 0;
}
