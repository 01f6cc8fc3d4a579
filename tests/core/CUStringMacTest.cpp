// CUStringMac: encodings in and out, comparison under the pinned en_US locale, search, cuts.
#include <VarnUtilityLib/CUStringMac.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Ptr = CUSharedPtr<CUStringMac>;

Ptr S(char const* utf8, _CUString_CharCode code = CUString_CharCode_UTF8) {
    return Ptr(new CUStringMac(utf8, code));
}

std::string utf8(CUStringMac& s) {
    std::string out;
    return s.GetString(out) == 0 ? out : std::string("<failed>");
}

bool isNullText(CUStringMac& s) {
    return static_cast<__CFString const*>(s) == nullptr;
}

CUStringMac fromUnits(std::u16string u) {
    return CUStringMac(reinterpret_cast<unsigned short*>(u.data()),
                       static_cast<unsigned int>(u.size() * 2));
}

} // namespace

TEST(CUStringMac, CountsUnitsAndCharactersUpToAnUnpairedSurrogate) {
    EXPECT_EQ(3, S("abc")->CountOfChars());
    EXPECT_EQ(2, S("\xF0\x9F\x8C\x8D")->Length());
    EXPECT_EQ(1, S("\xF0\x9F\x8C\x8D")->CountOfChars());
    CUStringMac broken = fromUnits(u"a\xD800"
                                   "b");
    EXPECT_EQ(3, broken.Length());
    EXPECT_EQ(1, broken.CountOfChars());
}

TEST(CUStringMac, InvalidBytesGiveANullTextThatFailsEverything) {
    for (char const* bad :
         {"\xC3\x28", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\x80", "abc\xE2\x82", "\xFF"}) {
        SCOPED_TRACE(bad);
        CUStringMac s(bad, CUString_CharCode_UTF8);
        EXPECT_TRUE(isNullText(s));
        EXPECT_EQ(0, s.Length());
        EXPECT_EQ(0, s.CountOfChars());
        unsigned int size = 0;
        EXPECT_EQ(kCUStatusFailure, s.GetString(nullptr, CUString_CharCode_UTF8, size));
        EXPECT_EQ(nullptr, static_cast<char const*>(s));
        EXPECT_FALSE(s.Equals(s, CUStringComparison_CaseSensitive));
        EXPECT_FALSE(s.SubString(0, 0));
        EXPECT_FALSE(s.Trim());
    }
    std::string out = "kept";
    EXPECT_EQ(kCUStatusFailure, fromUnits(u"ab\xDC00").GetString(out)); // unpaired surrogate
    EXPECT_EQ(kCUStatusFailure, CUStringMac(Ptr()).GetString(out));
    EXPECT_EQ("kept", out);
}

TEST(CUStringMac, GetStringSizesNeverOverrunAndAlwaysTerminate) {
    Ptr abc = S("abc");
    struct {
        _CUString_CharCode code;
        unsigned int worst;
    } const sizes[] = {
        {CUString_CharCode_UTF8, 12}, {CUString_CharCode_UTF16, 8}, {CUString_CharCode_ASCII, 4}};
    for (auto row : sizes) {
        unsigned int size = 0;
        EXPECT_EQ(0u, abc->GetString(nullptr, row.code, size));
        EXPECT_EQ(row.worst, size);
    }
    char small[4];
    unsigned int zero = 0;
    EXPECT_EQ(kCUStatusFailure, abc->GetString(small, CUString_CharCode_UTF8, zero));
    // Mixed widths (1 to 4 UTF-8 bytes), so cuts fall inside characters.
    Ptr text = S("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8C\x8D"
                 "b");
    std::string const full = utf8(*text);
    for (auto row : sizes) {
        unsigned int need = 0;
        text->GetString(nullptr, row.code, need);
        unsigned int reserve = row.worst / 4;
        for (unsigned int size = 1; size <= need + 8; ++size) {
            SCOPED_TRACE(testing::Message() << "code " << row.code << " size " << size);
            std::vector<char> buffer(size + 16, '\x5A');
            unsigned int given = size;
            ASSERT_EQ(0u, text->GetString(buffer.data(), row.code, given));
            EXPECT_EQ(size, given);
            for (unsigned int k = size; k < buffer.size(); ++k) {
                ASSERT_EQ('\x5A', buffer[k]) << "overrun at " << k;
            }
            for (unsigned int k = size > reserve ? size - reserve : 0; k < size; ++k) {
                ASSERT_EQ(0, buffer[k]) << "terminator missing";
            }
            if (row.code == CUString_CharCode_UTF8) {
                std::string got(buffer.data());
                ASSERT_EQ(0u, full.find(got)); // a prefix made of whole characters
                ASSERT_FALSE(isNullText(*S(got.c_str())));
            }
        }
    }
    char ascii[32]; // ASCII output stops at the first character it cannot hold
    unsigned int size = sizeof ascii;
    text->GetString(ascii, CUString_CharCode_ASCII, size);
    EXPECT_STREQ("a", ascii);
    char pair[6]; // UTF-16 in host order without a mark; room for 2 units cuts the pair
    size = sizeof pair;
    S("x\xF0\x9F\x8C\x8D")->GetString(pair, CUString_CharCode_UTF16, size);
    EXPECT_EQ(std::string("x\0\x3C\xD8", 4), std::string(pair, 4));
    // The char const* buffer is refreshed on each call.
    CUStringMac s("first", CUString_CharCode_UTF8);
    EXPECT_STREQ("first", static_cast<char const*>(s));
    s = CUStringMac("second, longer", CUString_CharCode_UTF8);
    EXPECT_STREQ("second, longer", static_cast<char const*>(s));
    // A shorter text after a longer one: nothing of the longer one is left past its end.
    s = CUStringMac("3rd", CUString_CharCode_UTF8);
    EXPECT_STREQ("3rd", static_cast<char const*>(s));
    s = CUStringMac("caf\xC3\xA9 \xE2\x98\xBA \xF0\x9F\x98\x80", CUString_CharCode_UTF8);
    EXPECT_STREQ("caf\xC3\xA9 \xE2\x98\xBA \xF0\x9F\x98\x80", static_cast<char const*>(s));
    // Copies do not share the buffer.
    CUStringMac copy(s);
    EXPECT_NE(static_cast<char const*>(copy), static_cast<char const*>(s));
    EXPECT_STREQ(static_cast<char const*>(copy), static_cast<char const*>(s));
}

TEST(CUStringMac, EqualityFoldsCaseFullyButKeepsWidthAndComposition) {
    EXPECT_FALSE(S("abc")->Equals(*S("abc"), static_cast<_CUStringComparison>(2)));
    EXPECT_TRUE(S("ABC")->Equals(*S("abc"), CUStringComparison_CaseInsensitive));
    EXPECT_FALSE(*S("ABC") == *S("abc"));
    EXPECT_TRUE(*S("abc") == *S("abc"));
    EXPECT_TRUE(S("stra\xC3\x9F"
                  "e")
                    ->Equals(*S("STRASSE"), CUStringComparison_CaseInsensitive));
    EXPECT_TRUE(S("\xC3\x89T\xC3\x89")
                    ->Equals(*S("\xC3\xA9t\xC3\xA9"), CUStringComparison_CaseInsensitive));
    EXPECT_TRUE(*S("ab") == *S("a\xC2\xAD"
                               "b")); // ignorable characters, as the platform compares
    EXPECT_FALSE(*S("A") == *S("\xEF\xBC\xA1"));
    EXPECT_FALSE(*S("\xC3\xA9") == *S("e\xCC\x81"));
}

TEST(CUStringMac, OrderFollowsTheLocaleAndNullIsNeverLess) {
    struct {
        char const* a;
        char const* b;
        bool less;
    } const rows[] = {// clang-format off
        {"abc", "ABC", true}, {"ABC", "abc", false}, {"a", "B", true}, {"a", "ab", true},
        {"ab", "a", false}, {"same", "same", false}, {"cote", "c\xC3\xB4te", true},
        {"e\xCC\x81", "\xC3\xA9", true}, {"\xC3\xA9", "e\xCC\x81", false},
        {"A", "\xEF\xBC\xA1", true}, {"item2", "item10", false}}; // no numeric collation
    // clang-format on
    for (auto row : rows) {
        EXPECT_EQ(row.less, *S(row.a) < *S(row.b)) << row.a << " < " << row.b;
    }
    Ptr x = S("Zebra"), y = S("apple");
    for (int i = 0; i < 3; ++i) { // later comparisons use the cached key
        EXPECT_TRUE(*y < *x);
        EXPECT_FALSE(*x < *y);
    }
    CUStringMac null{Ptr()};
    EXPECT_FALSE(null < *x);
    EXPECT_FALSE(*x < null);
    EXPECT_FALSE(null < null);
    EXPECT_FALSE(*x == null);
}

TEST(CUStringMac, FindReturnsTheFirstWholeCharacterMatchOrTheNoneRange) {
    Ptr hay = S("abcabc");
    auto find = [](Ptr in, Ptr what, _CUStringComparison how) {
        _CURange r = in->Find(what, how);
        return std::make_pair(r.location, r.length);
    };
    using R = std::pair<decltype(_CURange::location), decltype(_CURange::length)>;
    EXPECT_EQ(R(1, 2), find(hay, S("bc"), CUStringComparison_CaseSensitive));
    EXPECT_EQ(R(kCURangeNoLocation, 0), find(hay, S("BC"), CUStringComparison_CaseSensitive));
    EXPECT_EQ(R(1, 2), find(hay, S("BC"), CUStringComparison_CaseInsensitive));
    for (Ptr what : {S(""), Ptr(), S("abcabcabc")}) {
        EXPECT_EQ(kCURangeNoLocation, hay->Find(what, CUStringComparison_CaseSensitive).location);
    }
    EXPECT_EQ(kCURangeNoLocation, hay->Find(S("a"), static_cast<_CUStringComparison>(5)).location);
    Ptr strasse = S("Stra\xC3\x9F"
                    "e");
    EXPECT_EQ(R(4, 2), find(strasse, S("SSE"), CUStringComparison_CaseInsensitive));
    EXPECT_EQ(kCURangeNoLocation,
              strasse->Find(S("as"), CUStringComparison_CaseInsensitive).location);
    EXPECT_EQ(3u,
              S("x\xF0\x9F\x8C\x8Dy")->Find(S("Y"), CUStringComparison_CaseInsensitive).location);
}
