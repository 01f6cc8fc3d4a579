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

Ptr S(char const* bytes, unsigned int size, _CUString_CharCode code) {
    return Ptr(new CUStringMac(bytes, size, code));
}

std::string utf8(CUStringMac& s) {
    std::string out;
    return s.GetString(out) == 0 ? out : std::string("<failed>");
}

std::u16string units(CUStringMac& s) {
    __CFString const* t = s;
    return t == nullptr ? u"<null>"
                        : std::u16string(CUPlatformStringGetUnits(t), CUPlatformStringGetLength(t));
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

TEST(CUStringMac, ConstructorsReadTheirEncodingAndLength) {
    char const bytes[10] = {'a', 'b', 0, 'c', 'd', 'e', 'f', 'g', 'h', 'i'};
    EXPECT_EQ("ab", utf8(*S(bytes, 10, CUString_CharCode_UTF8))); // cut at the zero
    EXPECT_EQ("ab", utf8(*S(bytes, 10, CUString_CharCode_ASCII)));
    Ptr whole = S(bytes, 10, CUString_CharCode_UTF16); // no mark: big-endian pairs
    EXPECT_EQ(5, whole->Length());
    EXPECT_EQ(char16_t(0x6162), units(*whole)[0]);
    EXPECT_EQ(char16_t(0x0063), units(*whole)[1]);
    EXPECT_EQ(u"hi", units(*S("\xFF\xFEh\0i\0", 6, CUString_CharCode_UTF16)));
    EXPECT_EQ(u"hi", units(*S("\xFE\xFF\0h\0i", 6, CUString_CharCode_UTF16)));
    EXPECT_EQ(u"hi", units(*S("\0h\0i!", 5, CUString_CharCode_UTF16))); // odd byte ignored
    EXPECT_EQ(u"", units(*S("\xFF\xFE", 2, CUString_CharCode_UTF16)));
    EXPECT_TRUE(isNullText(*S("h", 1, CUString_CharCode_UTF16)));
    unsigned short five[] = {'h', 'e', 'l', 'l', 'o'};
    EXPECT_EQ(u"he", units(*Ptr(new CUStringMac(five, 5)))); // a length in bytes
    CUStringMac none(five, 1);
    EXPECT_EQ(0, none.Length());
    EXPECT_FALSE(isNullText(none));
    EXPECT_EQ(u"caf\u00E9\u00FF", units(*S("caf\xE9\xFF", CUString_CharCode_ASCII))); // Latin-1
    EXPECT_EQ(u"\u00E9", units(*S("\xC3\xA9", static_cast<_CUString_CharCode>(7))));  // UTF-8
    EXPECT_EQ(u"a\xFFFD"
              "b",
              units(*S("a\xA9"
                       "b"))); // a lone 0xA9 is replaced, not refused
    EXPECT_EQ(u"x", units(*S("\xEF\xBB\xBFx")));
    EXPECT_EQ("(null)", utf8(*Ptr(new CUStringMac(static_cast<__CFString const*>(nullptr)))));
    CUStringMac fromNullPointer{Ptr()};
    CUStringMac copyOfNull(fromNullPointer);
    EXPECT_TRUE(isNullText(copyOfNull));
    CUStringMac empty;
    EXPECT_STREQ("", static_cast<char const*>(empty));
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

TEST(CUStringMac, SubStringChecksItsRangeAndMayCutAPair) {
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
}

TEST(CUStringMac, TrimRemovesThePlatformWhiteSpaceOnly) {
    EXPECT_EQ("a b", utf8(*S("  a b \n")->Trim()));
    EXPECT_EQ(u"x", units(*fromUnits(u"\u00A0\u2003\u3000\u200Bx\u2028\u0085\t").Trim()));
    EXPECT_EQ(u"\uFEFFx\u180E", units(*fromUnits(u"\uFEFFx\u180E").Trim()));
    EXPECT_EQ("", utf8(*S(" \t\r\n ")->Trim()));
}

TEST(CUStringMac, JoiningCopyingAndAssignment) {
    CUStringMac a("a", CUString_CharCode_UTF8), b("b\xC3\xA9", CUString_CharCode_UTF8);
    CUStringMac null{Ptr()};
    EXPECT_EQ("ab\xC3\xA9", utf8(*Ptr(new CUStringMac(a + b))));
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(null + a))));
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(a + null))));
    CUStringMac target("old", CUString_CharCode_UTF8);
    target = b;
    EXPECT_TRUE(target == b);
    EXPECT_EQ(b.GetCFStringRef(), CUStringMac(b).GetCFStringRef()); // copies share the text
    target = null;
    EXPECT_TRUE(isNullText(target));
    CUStringMac& alias = a; // self-assignment releases first and so ends with a null text
    a = alias;
    EXPECT_EQ(0, a.Length());
    EXPECT_FALSE(a.Equals(*S(""), CUStringComparison_CaseSensitive));
    Ptr original = S("shared");
    EXPECT_TRUE(CUStringMac(original) == *original);
    Ptr description = original->Description();
    EXPECT_EQ("shared", utf8(*description));
    EXPECT_NE(description.get(), original.get());
}

TEST(CUStringMac, CreateWithFormatFollowsPrintf) {
    Ptr made = CUStringMac::CreateWithFormat(S("%d-%s"), 7, "x");
    ASSERT_TRUE(made);
    EXPECT_EQ("7-x", utf8(*made));
    EXPECT_EQ(1, made->GetRetainCount());
    EXPECT_FALSE(CUStringMac::CreateWithFormat(Ptr()));
    std::string big(5000, 'q');
    EXPECT_EQ(5002, CUStringMac::CreateWithFormat(S("<%s>"), big.c_str())->Length());
    EXPECT_EQ("100%", utf8(*CUStringMac::CreateWithFormat(S("%d%%"), 100)));
}

TEST(CUStringMac, ConvertCharCodeMapsToThePlatformConstants) {
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(CUString_CharCode_UTF8));
    EXPECT_EQ(0x0100u, CUStringMac::ConvertCharCode(CUString_CharCode_UTF16));
    EXPECT_EQ(0x0600u, CUStringMac::ConvertCharCode(CUString_CharCode_ASCII));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(static_cast<_CUString_CharCode>(-3)));
}
