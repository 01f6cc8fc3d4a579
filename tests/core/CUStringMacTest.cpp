// CUStringMac: encodings in and out, comparison under the pinned en_US locale, search, cuts.
#include "core/StringTesting.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr auto kUtf8 = CUString_CharCode_UTF8;
constexpr auto kUtf16 = CUString_CharCode_UTF16;
constexpr auto kAscii = CUString_CharCode_ASCII;
constexpr auto kSensitive = CUStringComparison_CaseSensitive;
constexpr auto kInsensitive = CUStringComparison_CaseInsensitive;

} // namespace

TEST(CUStringMac, ConstructorsReadTheirEncodingAndLengthAndCountCharacters) {
    struct {
        char const* bytes;
        int size; // -1: up to the zero
        _CUString_CharCode code;
        std::u16string units;
    } const rows[] = {
        // clang-format off
        {"ab\0cdefghi", 10, kUtf8, u"ab"}, {"ab\0cdefghi", 10, kAscii, u"ab"}, // cut at the zero
        {"ab\0cdefghi", 10, kUtf16, u"\x6162\x0063\x6465\x6667\x6869"}, // no mark: big-endian
        {"\xFF\xFEh\0i\0", 6, kUtf16, u"hi"}, {"\xFE\xFF\0h\0i", 6, kUtf16, u"hi"},
        {"\0h\0i!", 5, kUtf16, u"hi"} /* odd byte ignored */, {"\xFF\xFE", 2, kUtf16, u""},
        {"h", 1, kUtf16, u"<null>"}, {"caf\xE9\xFF", -1, kAscii, u"caf\u00E9\u00FF"}, // Latin-1
        {"\xC3\xA9", -1, static_cast<_CUString_CharCode>(7), u"\u00E9"}, // UTF-8
        {"a\251b", -1, kUtf8, u"a\uFFFDb"}, // a lone 0xA9 is replaced, not refused
        {"\xEF\xBB\xBFx", -1, kUtf8, u"x"}};
    // clang-format on
    for (auto const& row : rows) {
        CUStringMac made = row.size < 0 ? CUStringMac(row.bytes, row.code)
                                        : CUStringMac(row.bytes, row.size, row.code);
        EXPECT_EQ(row.units, units(made)) << "row " << &row - rows;
    }
    unsigned short five[] = {'h', 'e', 'l', 'l', 'o'};
    CUStringMac he(five, 5), none(five, 1); // a length in bytes
    EXPECT_EQ(u"he", units(he));
    EXPECT_EQ(u"", units(none));
    EXPECT_EQ("(null)", utf8(*Ptr(new CUStringMac(static_cast<__CFString const*>(nullptr)))));
    CUStringMac fromNullPointer{Ptr()};
    CUStringMac copyOfNull(fromNullPointer);
    EXPECT_TRUE(isNullText(copyOfNull));
    CUStringMac empty;
    EXPECT_STREQ("", static_cast<char const*>(empty));
    // Units and characters, up to an unpaired surrogate.
    for (auto [text, length, chars] :
         {std::tuple(s("abc"), 3, 3), std::tuple(s("\U0001F30D"), 2, 1),
          std::tuple(fromUnits({u'a', 0xD800, u'b'}), 3, 1)}) {
        EXPECT_EQ(length, text.Length()) << length;
        EXPECT_EQ(chars, text.CountOfChars()) << length;
    }
}

TEST(CUStringMac, InvalidBytesGiveANullTextThatFailsEverything) {
    for (char const* bad :
         {"\xC3\x28", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\x80", "abc\xE2\x82", "\xFF"}) {
        SCOPED_TRACE(bad);
        CUStringMac text(bad, kUtf8);
        EXPECT_TRUE(isNullText(text));
        EXPECT_EQ(0, text.Length());
        EXPECT_EQ(0, text.CountOfChars());
        unsigned int size = 0;
        EXPECT_EQ(kCUStatusFailure, text.GetString(nullptr, kUtf8, size));
        EXPECT_EQ(nullptr, static_cast<char const*>(text));
        EXPECT_FALSE(text.Equals(text, kSensitive));
        EXPECT_FALSE(text.SubString(0, 0));
        EXPECT_FALSE(text.Trim());
    }
    std::string out = "kept";
    EXPECT_EQ(kCUStatusFailure, fromUnits(u"ab\xDC00").GetString(out)); // unpaired surrogate
    EXPECT_EQ(kCUStatusFailure, CUStringMac(Ptr()).GetString(out));
    EXPECT_EQ("kept", out);
}

TEST(CUStringMac, GetStringSizesNeverOverrunAndAlwaysTerminate) {
    // The size asked with no buffer, for "abc": the worst case per character, and a terminator.
    std::pair<_CUString_CharCode, unsigned int> const sizes[] = {
        {kUtf8, 12}, {kUtf16, 8}, {kAscii, 4}};
    // Mixed widths (1 to 4 UTF-8 bytes), so cuts fall inside characters.
    Ptr text = S("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8C\x8D"
                 "b");
    std::string const full = utf8(*text);
    for (auto [code, worst] : sizes) {
        unsigned int need = 0;
        EXPECT_EQ(0u, S("abc")->GetString(nullptr, code, need));
        EXPECT_EQ(worst, need);
        text->GetString(nullptr, code, need);
        unsigned int reserve = worst / 4;
        for (unsigned int size = 1; size <= need + 8; ++size) {
            SCOPED_TRACE(testing::Message() << "code " << code << " size " << size);
            std::vector<char> buffer(size + 16, '\x5A');
            unsigned int given = size;
            ASSERT_EQ(0u, text->GetString(buffer.data(), code, given));
            EXPECT_EQ(size, given);
            for (unsigned int k = size; k < buffer.size(); ++k) {
                ASSERT_EQ('\x5A', buffer[k]) << "overrun at " << k;
            }
            for (unsigned int k = size > reserve ? size - reserve : 0; k < size; ++k) {
                ASSERT_EQ(0, buffer[k]) << "terminator missing";
            }
            if (code == kUtf8) {
                std::string got(buffer.data());
                ASSERT_EQ(0u, full.find(got)); // a prefix made of whole characters
                ASSERT_FALSE(isNullText(*S(got.c_str())));
            }
        }
    }
    char small[4];
    unsigned int size = 0;
    EXPECT_EQ(kCUStatusFailure, text->GetString(small, kUtf8, size));
    char ascii[32]; // ASCII output stops at the first character it cannot hold
    size = sizeof ascii;
    text->GetString(ascii, kAscii, size);
    EXPECT_STREQ("a", ascii);
    char pair[6]; // UTF-16 in host order without a mark; room for 2 units cuts the pair
    size = sizeof pair;
    S("x\xF0\x9F\x8C\x8D")->GetString(pair, kUtf16, size);
    EXPECT_EQ(std::string("x\0\x3C\xD8", 4), std::string(pair, 4));
    // The char const* buffer is refreshed on each call, also for a shorter text after a longer.
    CUStringMac str;
    for (char const* t :
         {"first", "second, longer", "3rd", "caf\xC3\xA9 \xE2\x98\xBA \xF0\x9F\x98\x80"}) {
        str = s(t);
        EXPECT_STREQ(t, static_cast<char const*>(str));
    }
    CUStringMac copy(str); // copies do not share the buffer
    EXPECT_NE(static_cast<char const*>(copy), static_cast<char const*>(str));
    EXPECT_STREQ(static_cast<char const*>(copy), static_cast<char const*>(str));
}

TEST(CUStringMac, EqualityFoldsCaseFullyOrderFollowsTheLocaleAndNullIsNeitherEqualNorLess) {
    struct {
        char const* a;
        char const* b;
        bool equal;       // == and Equals(CaseSensitive)
        bool foldedEqual; // Equals(CaseInsensitive)
        int order;        // -1: a < b, 1: b < a, 0: neither
    } const rows[] = {
        // clang-format off
        {"abc", "abc", true, true, 0}, {"same", "same", true, true, 0},
        {"ab", "a\u00ADb", true, true, 0}, // ignorable characters, as the platform compares
        {"abc", "ABC", false, true, -1}, {"\u00C9T\u00C9", "\u00E9t\u00E9", false, true, 1},
        {"A", "\uFF21", false, false, -1},
        {"\u00E9", "e\u0301", false, false, 1}, {"a", "B", false, false, -1},
        {"a", "ab", false, false, -1}, {"cote", "c\u00F4te", false, false, -1},
        {"item2", "item10", false, false, 1}}; // no numeric collation
    // clang-format on
    for (auto row : rows) {
        SCOPED_TRACE(testing::Message() << row.a << " vs " << row.b);
        EXPECT_EQ(row.equal, *S(row.a) == *S(row.b));
        EXPECT_EQ(row.equal, S(row.a)->Equals(*S(row.b), kSensitive));
        EXPECT_EQ(row.foldedEqual, S(row.a)->Equals(*S(row.b), kInsensitive));
        EXPECT_EQ(row.order < 0, *S(row.a) < *S(row.b));
        EXPECT_EQ(row.order > 0, *S(row.b) < *S(row.a));
    }
    EXPECT_TRUE(S("stra\u00DFe")->Equals(*S("STRASSE"), kInsensitive)); // full case folding
    EXPECT_FALSE(S("abc")->Equals(*S("abc"), static_cast<_CUStringComparison>(2)));
    Ptr x = S("Zebra"), y = S("apple");
    for (int i = 0; i < 3; ++i) { // later comparisons use the cached key
        EXPECT_TRUE(*y < *x);
        EXPECT_FALSE(*x < *y);
    }
    CUStringMac null{Ptr()};
    EXPECT_FALSE(null < *x || *x < null || null < null || *x == null);
}

TEST(CUStringMac, FindReturnsTheFirstWholeCharacterMatchOrTheNoneRange) {
    auto const none = kCURangeNoLocation;
    struct {
        char const* hay;
        char const* what; // nullptr: a null pointer
        int how;
        decltype(_CURange::location) location;
        decltype(_CURange::length) length;
    } const rows[] = {// clang-format off
        {"abcabc", "bc", kSensitive, 1, 2}, {"abcabc", "BC", kSensitive, none, 0},
        {"abcabc", "BC", kInsensitive, 1, 2}, {"abcabc", "", kSensitive, none, 0},
        {"abcabc", nullptr, kSensitive, none, 0}, {"abcabc", "abcabcabc", kSensitive, none, 0},
        {"abcabc", "a", 5, none, 0}, {"Stra\u00DFe", "SSE", kInsensitive, 4, 2},
        {"Stra\u00DFe", "as", kInsensitive, none, 0}, {"x\U0001F30Dy", "Y", kInsensitive, 3, 1}};
    // clang-format on
    for (auto const& row : rows) {
        _CURange r = S(row.hay)->Find(row.what ? S(row.what) : Ptr(),
                                      static_cast<_CUStringComparison>(row.how));
        EXPECT_EQ(row.location, r.location) << "row " << &row - rows;
        EXPECT_EQ(row.length, r.length) << "row " << &row - rows;
    }
}

TEST(CUStringMac, SubStringChecksItsRangeAndMayCutAPairAndTrimTakesWhiteSpaceOnly) {
    Ptr abcd = S("abcd");
    EXPECT_EQ("bc", utf8(*abcd->SubString(1, 2)));
    EXPECT_EQ(1, abcd->SubString(1, 2)->GetRetainCount());
    EXPECT_EQ("", utf8(*abcd->SubString(4)));
    int const outside[][2] = {{3, 2}, {5, 0}, {-1, 1}, {1, -1}, {0x7fffffff, 0x7fffffff}};
    for (auto [start, length] : outside) {
        EXPECT_FALSE(abcd->SubString(start, length)) << start << "," << length;
    }
    EXPECT_FALSE(abcd->SubString(5));
    Ptr half = S("\xF0\x9F\x8C\x8D")->SubString(0, 1);
    ASSERT_TRUE(half);
    EXPECT_EQ(1, half->Length());
    EXPECT_EQ(0, half->CountOfChars());
    EXPECT_EQ("<failed>", utf8(*half));
    // Trim removes the platform's white space only.
    std::u16string const trims[][2] = {// clang-format off
        {u"  a b \n", u"a b"}, {u"\u00A0\u2003\u3000\u200Bx\u2028\u0085\t", u"x"},
        {u"\uFEFFx\u180E", u"\uFEFFx\u180E"}, {u" \t\r\n ", u""}};
    // clang-format on
    for (auto const& row : trims) {
        EXPECT_EQ(row[1], units(*fromUnits(row[0]).Trim())) << "row " << &row - trims;
    }
}

TEST(CUStringMac, JoiningCopyingAndAssignment) {
    CUStringMac a = s("a"), b = s("b\xC3\xA9");
    CUStringMac null{Ptr()};
    EXPECT_EQ("ab\xC3\xA9", utf8(*Ptr(new CUStringMac(a + b))));
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(null + a))));
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(a + null))));
    CUStringMac target = s("old");
    target = b;
    EXPECT_TRUE(target == b);
    EXPECT_EQ(b.GetCFStringRef(), CUStringMac(b).GetCFStringRef()); // copies share the text
    target = null;
    EXPECT_TRUE(isNullText(target));
    CUStringMac& alias = a; // self-assignment releases first and so ends with a null text
    a = alias;
    EXPECT_EQ(0, a.Length());
    EXPECT_FALSE(a.Equals(*S(""), kSensitive));
    Ptr original = S("shared");
    EXPECT_TRUE(CUStringMac(original) == *original);
    Ptr description = original->Description();
    EXPECT_EQ("shared", utf8(*description));
    EXPECT_NE(description.get(), original.get());
}

TEST(CUStringMac, CreateWithFormatFollowsPrintfAndCharCodesMapToThePlatformConstants) {
    Ptr made = CUStringMac::CreateWithFormat(S("%d-%s"), 7, "x");
    ASSERT_TRUE(made);
    EXPECT_EQ("7-x", utf8(*made));
    EXPECT_EQ(1, made->GetRetainCount());
    EXPECT_FALSE(CUStringMac::CreateWithFormat(Ptr()));
    std::string big(5000, 'q');
    EXPECT_EQ(5002, CUStringMac::CreateWithFormat(S("<%s>"), big.c_str())->Length());
    EXPECT_EQ("100%", utf8(*CUStringMac::CreateWithFormat(S("%d%%"), 100)));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(kUtf8));
    EXPECT_EQ(0x0100u, CUStringMac::ConvertCharCode(kUtf16));
    EXPECT_EQ(0x0600u, CUStringMac::ConvertCharCode(kAscii));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(static_cast<_CUString_CharCode>(-3)));
}
