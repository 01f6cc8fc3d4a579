// TourStrings.cpp — the tour's first section: objects and strings.
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <string>

namespace varnutil {
namespace {

// Appends in place: GCC's -Wrestrict misfires on "literal" + std::string temporaries.
std::string quote(char const* text) {
    std::string result(1, '"');
    result.append(text).push_back('"');
    return result;
}

std::string quoted(CUStringMac& s) {
    char const* text = s;
    return text != nullptr ? quote(text) : "(null text)";
}

std::string yesNo(bool b) {
    return b ? "true" : "false";
}

void objects(std::ostream& out) {
    CUSharedPtr<CUObject> object(new CUObject);
    CUSharedPtr<CUObject> second = object;
    Show(out, "new object, two pointers: count", std::to_string(object->GetRetainCount()).c_str());
    second.Reset();
    Show(out, "after Reset() of one: count", std::to_string(object->GetRetainCount()).c_str());
    CUSharedPtr<CUStringMac> description = object->Description();
    Show(out, "Description()", quoted(*description).c_str());
    CUSharedPtr<CUStringMac> asString = object; // checked conversion
    Show(out, "object as a string pointer", asString ? "non-null" : "null (not a string)");
}

void strings(std::ostream& out) {
    CUStringMac word("na\xC3\xAFve \xF0\x9F\x8C\x8D", CUString_CharCode_UTF8); // naïve 🌍
    Show(out, "UTF-8 in", quoted(word).c_str());
    Show(out, "Length() in UTF-16 units", std::to_string(word.Length()).c_str());
    Show(out, "CountOfChars()", std::to_string(word.CountOfChars()).c_str());

    char const utf16[] = {'\xFF', '\xFE', 'h', 0, 'i', 0};
    CUStringMac fromUTF16(utf16, sizeof utf16, CUString_CharCode_UTF16);
    Show(out, "UTF-16 with a BOM in", quoted(fromUTF16).c_str());
    char const latin[] = "caf\xE9";
    CUStringMac fromASCII(latin, CUString_CharCode_ASCII);
    Show(out, "ASCII code, byte E9 read as Latin-1", quoted(fromASCII).c_str());
    CUStringMac invalid("\xC3\x28", CUString_CharCode_UTF8);
    Show(out, "invalid UTF-8 gives a null text", quoted(invalid).c_str());

    unsigned int size = 0;
    word.GetString(nullptr, CUString_CharCode_UTF8, size);
    Show(out, "GetString size query, UTF-8", (std::to_string(size) + " bytes").c_str());
    char small[8];
    size = sizeof small;
    word.GetString(small, CUString_CharCode_UTF8, size);
    Show(out, "GetString into 8 bytes (cut)", quote(small).c_str());
}

void comparison(std::ostream& out) {
    CUStringMac lower("abc", CUString_CharCode_UTF8), upper("ABC", CUString_CharCode_UTF8);
    Show(out, "abc == ABC", yesNo(lower == upper).c_str());
    Show(out, "abc Equals ABC, case-insensitive",
         yesNo(lower.Equals(upper, CUStringComparison_CaseInsensitive)).c_str());
    Show(out, "abc < ABC (lower case first)", yesNo(lower < upper).c_str());
    CUStringMac a("a", CUString_CharCode_UTF8), B("B", CUString_CharCode_UTF8);
    Show(out, "a < B (alphabet, not code order)", yesNo(a < B).c_str());

    CUStringMac street("Stra\xC3\x9F"
                       "e",
                       CUString_CharCode_UTF8); // Straße
    _CURange r =
        street.Find(CUSharedPtr<CUStringMac>(new CUStringMac("SS", CUString_CharCode_UTF8)),
                    CUStringComparison_CaseInsensitive);
    Show(out,
         "Find SS in Stra\xC3\x9F"
         "e, no case",
         ("location " + std::to_string(r.location) + ", length " + std::to_string(r.length))
             .c_str());

    CUStringMac padded("  a b \n", CUString_CharCode_UTF8);
    Show(out, "Trim() of \"  a b \\n\"", quoted(*padded.Trim()).c_str());
    CUStringMac abcd("abcd", CUString_CharCode_UTF8);
    Show(out, "SubString(1, 2) of abcd", quoted(*abcd.SubString(1, 2)).c_str());
    Show(out, "SubString(3, 2) of abcd", abcd.SubString(3, 2) ? "non-null" : "null pointer");
    CUStringMac joined = a + B;
    Show(out, "a + B", quoted(joined).c_str());
}

void format(std::ostream& out) {
    CUSharedPtr<CUStringMac> fmt(new CUStringMac("%d-%s (%.2f)", CUString_CharCode_UTF8));
    CUSharedPtr<CUStringMac> made = CUStringMac::CreateWithFormat(fmt, 7, "x", 3.14159);
    Show(out, "CreateWithFormat(\"%d-%s (%.2f)\", 7, x, pi)", quoted(*made).c_str());
    CUSharedPtr<CUStringMac> none = CUStringMac::CreateWithFormat(CUSharedPtr<CUStringMac>());
    Show(out, "CreateWithFormat(null format)", none ? "non-null" : "null pointer");
}

TourSection objectsSection(10, "Objects and shared pointers", objects);
TourSection stringsSection(20, "Strings: conversions", strings);
TourSection comparisonSection(30, "Strings: comparison, search, sub-strings", comparison);
TourSection formatSection(40, "Strings: format", format);

} // namespace
} // namespace varnutil
