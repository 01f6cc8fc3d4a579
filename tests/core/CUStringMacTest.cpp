// Tests of CUStringMac: construction in each encoding, conversion back, comparison under a
// pinned locale (en_US, see TestMain.cpp), search, sub-strings, trimming, joining, format.
#include <VarnUtilityLib/CUStringMac.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Ptr = CUSharedPtr<CUStringMac>;

Ptr S(char const* utf8) {
    return Ptr(new CUStringMac(utf8, CUString_CharCode_UTF8));
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

TEST(CUStringMac, CountsUnitsAndCharacters) {
    CUStringMac abc("abc", CUString_CharCode_UTF8);
    EXPECT_EQ(3, abc.Length());
    EXPECT_EQ(3, abc.CountOfChars());
    CUStringMac globe("\xF0\x9F\x8C\x8D", CUString_CharCode_UTF8);
    EXPECT_EQ(2, globe.Length());
    EXPECT_EQ(1, globe.CountOfChars());
    // Counting characters stops at an unpaired surrogate.
    CUStringMac broken = fromUnits(u"a\xD800"
                                   "b");
    EXPECT_EQ(3, broken.Length());
    EXPECT_EQ(1, broken.CountOfChars());
}

TEST(CUStringMac, CountedConstructorCutsAtZeroExceptForUTF16) {
    char const bytes[10] = {'a', 'b', 0, 'c', 'd', 'e', 'f', 'g', 'h', 'i'};
    CUStringMac cut(bytes, 10, CUString_CharCode_UTF8);
    EXPECT_EQ("ab", utf8(cut));
    CUStringMac ascii(bytes, 10, CUString_CharCode_ASCII);
    EXPECT_EQ("ab", utf8(ascii));
    CUStringMac whole(bytes, 10, CUString_CharCode_UTF16);
    EXPECT_EQ(5, whole.Length()); // no BOM: big-endian pairs
    EXPECT_EQ(char16_t(0x6162), units(whole)[0]);
    EXPECT_EQ(char16_t(0x0063), units(whole)[1]);
}

TEST(CUStringMac, UTF16ConstructorTakesALengthInBytes) {
    unsigned short five[] = {'h', 'e', 'l', 'l', 'o'};
    CUStringMac two(five, 5);
    EXPECT_EQ(u"he", units(two));
    CUStringMac none(five, 1);
    EXPECT_EQ(0, none.Length());
    EXPECT_FALSE(isNullText(none));
}

TEST(CUStringMac, UTF16InputHonoursTheByteOrderMark) {
    char const le[] = {'\xFF', '\xFE', 'h', 0, 'i', 0};
    char const be[] = {'\xFE', '\xFF', 0, 'h', 0, 'i'};
    char const bare[] = {0, 'h', 0, 'i', '!'}; // odd last byte ignored
    char const bomOnly[] = {'\xFF', '\xFE'};
    char const single[] = {'h'};
    EXPECT_EQ(u"hi", units(*Ptr(new CUStringMac(le, 6, CUString_CharCode_UTF16))));
    EXPECT_EQ(u"hi", units(*Ptr(new CUStringMac(be, 6, CUString_CharCode_UTF16))));
    EXPECT_EQ(u"hi", units(*Ptr(new CUStringMac(bare, 5, CUString_CharCode_UTF16))));
    EXPECT_EQ(u"", units(*Ptr(new CUStringMac(bomOnly, 2, CUString_CharCode_UTF16))));
    EXPECT_TRUE(isNullText(*Ptr(new CUStringMac(single, 1, CUString_CharCode_UTF16))));
}

TEST(CUStringMac, InvalidBytesGiveANullTextInEachEncoding) {
    for (char const* bad :
         {"\xC3\x28", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\x80", "abc\xE2\x82", "\xFF"}) {
        CUStringMac s(bad, CUString_CharCode_UTF8);
        EXPECT_TRUE(isNullText(s)) << "bytes " << bad;
        EXPECT_EQ(0, s.Length());
        EXPECT_EQ(0, s.CountOfChars());
        unsigned int size = 0;
        EXPECT_EQ(kCUStatusFailure, s.GetString(nullptr, CUString_CharCode_UTF8, size));
        EXPECT_EQ(nullptr, static_cast<char const*>(s));
        EXPECT_FALSE(s.Equals(s, CUStringComparison_CaseSensitive));
    }
    // A lone 0xA9 becomes U+FFFD rather than failing, and a UTF-8 BOM is dropped.
    EXPECT_EQ(u"a\xFFFD"
              "b",
              units(*S("a\xA9"
                       "b")));
    EXPECT_EQ(u"x", units(*S("\xEF\xBB\xBFx")));
    // The ASCII code never fails: high bytes read as Latin-1.
    EXPECT_EQ(u"caf\u00E9\u00FF",
              units(*Ptr(new CUStringMac("caf\xE9\xFF", CUString_CharCode_ASCII))));
    // Codes other than 0, 1, 2 mean UTF-8.
    EXPECT_EQ(u"\u00E9",
              units(*Ptr(new CUStringMac("\xC3\xA9", static_cast<_CUString_CharCode>(7)))));
}

TEST(CUStringMac, NullHandleAndNullPointerConstructors) {
    CUStringMac fromNullHandle(static_cast<__CFString const*>(nullptr));
    EXPECT_EQ("(null)", utf8(fromNullHandle));
    CUStringMac fromNullPointer{Ptr()};
    EXPECT_TRUE(isNullText(fromNullPointer));
    CUStringMac copyOfNull(fromNullPointer);
    EXPECT_TRUE(isNullText(copyOfNull));
    CUStringMac empty;
    EXPECT_EQ(0, empty.Length());
    EXPECT_STREQ("", static_cast<char const*>(empty));
}

TEST(CUStringMac, SizeQueryGivesTheWorstCasePerEncoding) {
    CUStringMac abc("abc", CUString_CharCode_UTF8);
    unsigned int size = 0;
    EXPECT_EQ(0u, abc.GetString(nullptr, CUString_CharCode_UTF8, size));
    EXPECT_EQ(12u, size);
    EXPECT_EQ(0u, abc.GetString(nullptr, CUString_CharCode_UTF16, size));
    EXPECT_EQ(8u, size);
    EXPECT_EQ(0u, abc.GetString(nullptr, CUString_CharCode_ASCII, size));
    EXPECT_EQ(4u, size);
    char buffer[4];
    size = 0;
    EXPECT_EQ(kCUStatusFailure, abc.GetString(buffer, CUString_CharCode_UTF8, size));
}

TEST(CUStringMac, GetStringNeverOverrunsAndAlwaysTerminates) {
    // Mixed widths: 1, 2, 3 and 4 UTF-8 bytes, so cuts fall inside characters.
    CUStringMac text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8C\x8D"
                     "b",
                     CUString_CharCode_UTF8);
    std::string const full = utf8(text);
    for (_CUString_CharCode code :
         {CUString_CharCode_UTF8, CUString_CharCode_UTF16, CUString_CharCode_ASCII}) {
        unsigned int need = 0;
        text.GetString(nullptr, code, need);
        for (unsigned int size = 1; size <= need + 8; ++size) {
            std::vector<char> buffer(size + 16, '\x5A');
            unsigned int given = size;
            ASSERT_EQ(0u, text.GetString(buffer.data(), code, given));
            EXPECT_EQ(size, given);
            for (unsigned int k = size; k < buffer.size(); ++k) {
                ASSERT_EQ('\x5A', buffer[k]) << "overrun at " << k << " size " << size;
            }
            unsigned int reserve = code == CUString_CharCode_UTF8    ? 3
                                   : code == CUString_CharCode_UTF16 ? 2
                                                                     : 1;
            for (unsigned int k = size > reserve ? size - reserve : 0; k < size; ++k) {
                ASSERT_EQ(0, buffer[k]) << "terminator missing, size " << size;
            }
            if (code == CUString_CharCode_UTF8) {
                std::string got(buffer.data());
                ASSERT_EQ(0u, full.find(got)); // a prefix made of whole characters
                CUStringMac back(got.c_str(), CUString_CharCode_UTF8);
                ASSERT_FALSE(isNullText(back)) << "cut inside a character at size " << size;
            }
        }
    }
    // ASCII output stops at the first character it cannot hold.
    char ascii[32];
    unsigned int size = sizeof ascii;
    text.GetString(ascii, CUString_CharCode_ASCII, size);
    EXPECT_STREQ("a", ascii);
}

TEST(CUStringMac, UTF16OutputIsHostOrderWithoutMarkAndMayCutAPair) {
    CUStringMac globe("x\xF0\x9F\x8C\x8D", CUString_CharCode_UTF8);
    char buffer[6];
    unsigned int size = sizeof buffer; // room for 2 units after the 2-byte reserve
    globe.GetString(buffer, CUString_CharCode_UTF16, size);
    EXPECT_EQ('x', buffer[0]);
    EXPECT_EQ(0, buffer[1]);
    EXPECT_EQ('\x3C', buffer[2]); // D83C little-endian: the high surrogate alone
    EXPECT_EQ('\xD8', buffer[3]);
}

TEST(CUStringMac, StdStringConversionFailsOnAnUnpairedSurrogate) {
    CUStringMac broken = fromUnits(u"ab\xDC00");
    std::string out = "kept";
    EXPECT_EQ(kCUStatusFailure, broken.GetString(out));
    EXPECT_EQ("kept", out);
    CUStringMac null{Ptr()};
    EXPECT_EQ(kCUStatusFailure, null.GetString(out));
}

TEST(CUStringMac, ConversionBufferIsRefreshedOnEachCall) {
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

TEST(CUStringMac, EqualityWithAndWithoutCase) {
    CUStringMac upper("ABC", CUString_CharCode_UTF8), lower("abc", CUString_CharCode_UTF8);
    EXPECT_FALSE(lower.Equals(lower, static_cast<_CUStringComparison>(2)));
    EXPECT_TRUE(upper.Equals(lower, CUStringComparison_CaseInsensitive));
    EXPECT_FALSE(upper == lower);
    EXPECT_TRUE(lower == *S("abc"));
    // Full case folding: the sharp s equals "SS" without case.
    EXPECT_TRUE(S("stra\xC3\x9F"
                  "e")
                    ->Equals(*S("STRASSE"), CUStringComparison_CaseInsensitive));
    EXPECT_TRUE(S("\xC3\x89T\xC3\x89")
                    ->Equals(*S("\xC3\xA9t\xC3\xA9"), CUStringComparison_CaseInsensitive));
    // Ignorable characters make different texts equal, as the platform's comparison does.
    EXPECT_TRUE(*S("ab") == *S("a\xC2\xAD"
                               "b"));
    // Width and composition still tell texts apart.
    EXPECT_FALSE(*S("A") == *S("\xEF\xBC\xA1"));
    EXPECT_FALSE(*S("\xC3\xA9") == *S("e\xCC\x81"));
}

TEST(CUStringMac, OrderFollowsTheLocaleNotTheCodeUnits) {
    auto less = [](char const* a, char const* b) { return *S(a) < *S(b); };
    EXPECT_TRUE(less("abc", "ABC")); // lower case first at the case level
    EXPECT_FALSE(less("ABC", "abc"));
    EXPECT_TRUE(less("a", "B"));
    EXPECT_TRUE(less("a", "ab")); // a proper prefix is less
    EXPECT_FALSE(less("ab", "a"));
    EXPECT_FALSE(less("same", "same"));
    EXPECT_TRUE(less("cote", "c\xC3\xB4te"));
    EXPECT_TRUE(less("e\xCC\x81", "\xC3\xA9")); // a combining mark before the precomposed form
    EXPECT_FALSE(less("\xC3\xA9", "e\xCC\x81"));
    EXPECT_TRUE(less("A", "\xEF\xBC\xA1"));        // half width before full width
    EXPECT_TRUE(less("item2", "item10") == false); // no numeric collation
    // Repeated comparisons use the cached key and must agree with the first.
    Ptr x = S("Zebra"), y = S("apple");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(*y < *x);
        EXPECT_FALSE(*x < *y);
    }
}

TEST(CUStringMac, NullTextIsNeverLessNorEqual) {
    CUStringMac null{Ptr()};
    CUStringMac a("a", CUString_CharCode_UTF8);
    EXPECT_FALSE(null < a);
    EXPECT_FALSE(a < null);
    EXPECT_FALSE(null < null);
    EXPECT_FALSE(a == null);
}

TEST(CUStringMac, FindReturnsTheFirstOccurrenceOrTheNoneRange) {
    Ptr hay = S("abcabc");
    _CURange r = hay->Find(S("bc"), CUStringComparison_CaseSensitive);
    EXPECT_EQ(1u, r.location);
    EXPECT_EQ(2u, r.length);
    r = hay->Find(S("BC"), CUStringComparison_CaseSensitive);
    EXPECT_EQ(kCURangeNoLocation, r.location);
    EXPECT_EQ(0u, r.length);
    r = hay->Find(S("BC"), CUStringComparison_CaseInsensitive);
    EXPECT_EQ(1u, r.location);
    for (Ptr what : {S(""), Ptr(), S("abcabcabc")}) {
        EXPECT_EQ(kCURangeNoLocation, hay->Find(what, CUStringComparison_CaseSensitive).location);
    }
    EXPECT_EQ(kCURangeNoLocation, hay->Find(S("a"), static_cast<_CUStringComparison>(5)).location);
    // Case-insensitive matches map back to whole characters of the text.
    r = S("Stra\xC3\x9F"
          "e")
            ->Find(S("SSE"), CUStringComparison_CaseInsensitive);
    EXPECT_EQ(4u, r.location);
    EXPECT_EQ(2u, r.length);
    EXPECT_EQ(kCURangeNoLocation, S("Stra\xC3\x9F"
                                    "e")
                                      ->Find(S("as"), CUStringComparison_CaseInsensitive)
                                      .location);
    r = S("x\xF0\x9F\x8C\x8Dy")->Find(S("Y"), CUStringComparison_CaseInsensitive);
    EXPECT_EQ(3u, r.location);
}

TEST(CUStringMac, SubStringChecksItsRange) {
    Ptr abcd = S("abcd");
    EXPECT_EQ("bc", utf8(*abcd->SubString(1, 2)));
    EXPECT_FALSE(abcd->SubString(3, 2));
    EXPECT_EQ("", utf8(*abcd->SubString(4)));
    EXPECT_FALSE(abcd->SubString(5));
    EXPECT_FALSE(abcd->SubString(-1, 1));
    EXPECT_FALSE(abcd->SubString(1, -1));
    EXPECT_FALSE(abcd->SubString(0x7fffffff, 0x7fffffff));
    EXPECT_EQ(1, abcd->SubString(1, 2)->GetRetainCount());
    // Cutting a surrogate pair gives a text with a lone surrogate, not a crash or a null.
    Ptr pair = S("\xF0\x9F\x8C\x8D");
    Ptr half = pair->SubString(0, 1);
    ASSERT_TRUE(half);
    EXPECT_EQ(1, half->Length());
    EXPECT_EQ(0, half->CountOfChars());
    std::string out;
    EXPECT_EQ(kCUStatusFailure, half->GetString(out));
    CUStringMac null{Ptr()};
    EXPECT_FALSE(null.SubString(0, 0));
}

TEST(CUStringMac, TrimRemovesThePlatformWhiteSpaceOnly) {
    EXPECT_EQ("a b", utf8(*S("  a b \n")->Trim()));
    EXPECT_EQ(u"x", units(*fromUnits(u"\u00A0\u2003\u3000\u200Bx\u2028\u0085\t").Trim()));
    EXPECT_EQ(u"\uFEFFx\u180E", units(*fromUnits(u"\uFEFFx\u180E").Trim()));
    EXPECT_EQ("", utf8(*S(" \t\r\n ")->Trim()));
    CUStringMac null{Ptr()};
    EXPECT_FALSE(null.Trim());
}

TEST(CUStringMac, JoiningAndAssignment) {
    CUStringMac a("a", CUString_CharCode_UTF8), b("b\xC3\xA9", CUString_CharCode_UTF8);
    EXPECT_EQ("ab\xC3\xA9", utf8(*Ptr(new CUStringMac(a + b))));
    CUStringMac null{Ptr()};
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(null + a))));
    EXPECT_EQ("", utf8(*Ptr(new CUStringMac(a + null))));

    CUStringMac target("old", CUString_CharCode_UTF8);
    target = b;
    EXPECT_TRUE(target == b);
    target = null;
    EXPECT_TRUE(isNullText(target));
    // Self-assignment releases first and so ends with a null text.
    CUStringMac self("me", CUString_CharCode_UTF8);
    CUStringMac& alias = self;
    self = alias;
    EXPECT_EQ(0, self.Length());
    EXPECT_FALSE(self.Equals(*S(""), CUStringComparison_CaseSensitive));
}

TEST(CUStringMac, CopiesShareTheTextAndDescribeThemselves) {
    Ptr original = S("shared");
    CUStringMac copy(*original);
    EXPECT_EQ(original->GetCFStringRef(), copy.GetCFStringRef());
    CUStringMac fromPtr(original);
    EXPECT_TRUE(fromPtr == *original);
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
