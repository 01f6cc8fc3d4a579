// CUStringMac: encodings in and out, comparison under the pinned en_US locale, search, cuts and
// the path arithmetic, as tables of inputs and results.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Ptr = CUSharedPtr<CUStringMac>;
using varn::test::Str;
using varn::test::Units;
using U = std::vector<std::u16string>;
constexpr auto kUtf8 = CUString_CharCode_UTF8;
constexpr auto kUtf16 = CUString_CharCode_UTF16;
constexpr auto kAscii = CUString_CharCode_ASCII;
constexpr auto kSensitive = CUStringComparison_CaseSensitive;
constexpr auto kInsensitive = CUStringComparison_CaseInsensitive;
constexpr unsigned int kOk = kCUStatusSuccess;
constexpr unsigned int kFail = kCUStatusFailure;

CUStringMac s(char const* utf8) {
    return CUStringMac(utf8, kUtf8);
}

// A string with a null text (bytes that are not UTF-8).
CUStringMac nullText() {
    return s("\xC3\x28");
}

bool isNullText(CUStringMac const& str) {
    return static_cast<__CFString const*>(str) == nullptr;
}

std::string utf8(CUStringMac str) {
    std::string out;
    return str.GetString(out) == 0 ? out : std::string("<failed>");
}

std::u16string units(CUStringMac const& str) {
    __CFString const* t = str;
    return t == nullptr ? u"<null>"
                        : std::u16string(CUPlatformStringGetUnits(t), CUPlatformStringGetLength(t));
}

struct Row {
    char const* path;
    unsigned int status;
    char const* out;           // expected output; nullptr: left untouched
    char const* arg = nullptr; // the name or separator of the operation
};

// Runs `op(path, arg, out)` over the rows, then on a string with a null text, which must fail.
template <class Op> void checkRows(Op op, std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        CUStringMac out = s("untouched");
        EXPECT_EQ(row.status, op(s(row.path), row.arg, out)) << row.path << " with " << row.arg;
        EXPECT_EQ(row.out ? row.out : "untouched", utf8(out)) << row.path << " with " << row.arg;
    }
    CUStringMac out = s("untouched");
    EXPECT_EQ(kFail, op(nullText(), rows.front().arg, out));
    EXPECT_EQ("untouched", utf8(out));
}

// The parts of PathComponents (separator nullptr) or SplitComponents, as UTF-16.
U parts(CUStringMac text, char const* separator = nullptr) {
    CUSharedPtr<CUArray> array;
    EXPECT_EQ(kOk,
              separator ? text.SplitComponents(&array, separator) : text.PathComponents(&array))
        << utf8(text);
    U out;
    for (unsigned long i = 0; array && i < array->Count(); ++i) {
        CUSharedPtr<CUStringMac> part = array->ObjectAtIndex(i);
        out.push_back(part ? units(*part) : u"<not a string>");
    }
    return out;
}

} // namespace

TEST(CUStringMac, ConstructorsReadTheirEncodingAndLengthAndCountCharacters) {
    struct {
        char const* bytes;
        int size; // -1: up to the zero
        _CUString_CharCode code;
        std::u16string units;
    } const rows[] = {
        // clang-format off
        {"ab\0cdefghi", 10, kUtf8, u"ab"}, // cut at the zero
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
    EXPECT_EQ(u"he", units(CUStringMac(five, 5))); // a length in bytes
    EXPECT_EQ(u"", units(CUStringMac(five, 1)));
    EXPECT_EQ("(null)", utf8(CUStringMac(static_cast<__CFString const*>(nullptr))));
    CUStringMac fromNullPointer{Ptr()};
    EXPECT_TRUE(isNullText(CUStringMac(fromNullPointer)));
    CUStringMac empty;
    EXPECT_STREQ("", static_cast<char const*>(empty));
    // Units and characters, up to an unpaired surrogate.
    for (auto [text, length, chars] :
         {std::tuple(s("abc"), 3, 3), std::tuple(s("\U0001F30D"), 2, 1),
          std::tuple(Units({u'a', 0xD800, u'b'}), 3, 1)}) {
        EXPECT_EQ(length, text.Length()) << length;
        EXPECT_EQ(chars, text.CountOfChars()) << length;
    }
}

TEST(CUStringMac, InvalidBytesGiveANullTextThatFailsEverything) {
    for (char const* bad :
         {"\xC3\x28", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\x80", "abc\xE2\x82", "\xFF"}) {
        EXPECT_TRUE(isNullText(s(bad))) << bad;
    }
    CUStringMac text = nullText();
    EXPECT_EQ(0, text.Length());
    EXPECT_EQ(0, text.CountOfChars());
    unsigned int size = 0;
    EXPECT_EQ(kFail, text.GetString(nullptr, kUtf8, size));
    EXPECT_EQ(nullptr, static_cast<char const*>(text));
    EXPECT_FALSE(text.Equals(text, kSensitive));
    EXPECT_FALSE(text.SubString(0, 0));
    EXPECT_FALSE(text.Trim());
    std::string out = "kept";
    EXPECT_EQ(kFail, Units(u"ab\xDC00").GetString(out)); // unpaired surrogate
    EXPECT_EQ(kFail, text.GetString(out));
    EXPECT_EQ("kept", out);
}

TEST(CUStringMac, GetStringSizesNeverOverrunAndAlwaysTerminate) {
    // Mixed widths (1 to 4 UTF-8 bytes), so cuts fall inside characters.
    Ptr text = Str("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8C\x8D"
                   "b");
    std::string const full = utf8(*text);
    // Asked with no buffer: the worst case for its six units and a terminator.
    for (auto [code, worst, reserve] :
         {std::tuple(kUtf8, 21u, 3u), std::tuple(kUtf16, 14u, 2u), std::tuple(kAscii, 7u, 1u)}) {
        unsigned int need = 0;
        EXPECT_EQ(kOk, text->GetString(nullptr, code, need));
        EXPECT_EQ(worst, need);
        for (unsigned int size = 1; size <= need + 8; ++size) {
            SCOPED_TRACE(testing::Message() << "code " << code << " size " << size);
            std::vector<char> buffer(size + 16, 'Z');
            unsigned int given = size;
            ASSERT_EQ(kOk, text->GetString(buffer.data(), code, given));
            ASSERT_EQ(std::string(16, 'Z'), std::string(buffer.begin() + size, buffer.end()));
            unsigned int const zeros = std::min(size, reserve);
            ASSERT_EQ(std::string(zeros, '\0'), std::string(&buffer[size - zeros], zeros));
            if (code == kUtf8) { // a prefix made of whole characters
                ASSERT_EQ(0u, full.find(buffer.data()));
                ASSERT_FALSE(isNullText(s(buffer.data())));
            }
        }
    }
    char small[4];
    unsigned int size = 0;
    EXPECT_EQ(kFail, text->GetString(small, kUtf8, size));
    char ascii[32]; // ASCII output stops at the first character it cannot hold
    size = sizeof ascii;
    text->GetString(ascii, kAscii, size);
    EXPECT_STREQ("a", ascii);
    char pair[6]; // UTF-16 in host order without a mark; room for 2 units cuts the pair
    size = sizeof pair;
    Str("x\xF0\x9F\x8C\x8D")->GetString(pair, kUtf16, size);
    EXPECT_EQ(std::string("x\0\x3C\xD8", 4), std::string(pair, 4));
    // The char const* buffer is refreshed on each call, also for a shorter text after a longer.
    CUStringMac str;
    for (char const* t : {"first", "second, longer", "3rd"}) {
        str = s(t);
        EXPECT_STREQ(t, static_cast<char const*>(str));
    }
    CUStringMac copy(str); // copies do not share the buffer
    EXPECT_NE(static_cast<char const*>(copy), static_cast<char const*>(str));
}

TEST(CUStringMac, EqualityFoldsCaseFullyOrderFollowsTheLocaleAndNullIsNeitherEqualNorLess) {
    struct {
        char const* a;
        char const* b;
        bool equal;       // == (case-sensitive Equals)
        bool foldedEqual; // Equals(CaseInsensitive)
        int order;        // -1: a < b, 1: b < a, 0: neither
    } const rows[] = {
        // clang-format off
        {"abc", "abc", true, true, 0},
        {"ab", "a\u00ADb", true, true, 0}, // ignorable characters, as the platform compares
        {"abc", "ABC", false, true, -1}, {"\u00C9T\u00C9", "\u00E9t\u00E9", false, true, 1},
        {"A", "\uFF21", false, false, -1},
        {"\u00E9", "e\u0301", false, false, 1}, {"a", "B", false, false, -1},
        {"a", "ab", false, false, -1}, {"cote", "c\u00F4te", false, false, -1},
        {"item2", "item10", false, false, 1}}; // no numeric collation
    // clang-format on
    for (auto row : rows) {
        SCOPED_TRACE(testing::Message() << row.a << " vs " << row.b);
        Ptr a = Str(row.a), b = Str(row.b); // the second comparison of a pair uses cached keys
        EXPECT_EQ(row.equal, *a == *b);
        EXPECT_EQ(row.foldedEqual, a->Equals(*b, kInsensitive));
        EXPECT_EQ(row.order < 0, *a < *b);
        EXPECT_EQ(row.order > 0, *b < *a);
    }
    EXPECT_TRUE(Str("stra\u00DFe")->Equals(*Str("STRASSE"), kInsensitive)); // full case folding
    EXPECT_FALSE(Str("abc")->Equals(*Str("abc"), static_cast<_CUStringComparison>(2)));
    CUStringMac null{Ptr()}, x = s("x");
    EXPECT_FALSE(null < x || x < null || null < null || x == null);
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
        _CURange r = Str(row.hay)->Find(row.what ? Str(row.what) : Ptr(),
                                        static_cast<_CUStringComparison>(row.how));
        EXPECT_EQ(row.location, r.location) << "row " << &row - rows;
        EXPECT_EQ(row.length, r.length) << "row " << &row - rows;
    }
}

TEST(CUStringMac, SubStringChecksItsRangeAndMayCutAPairAndTrimTakesWhiteSpaceOnly) {
    Ptr abcd = Str("abcd");
    EXPECT_EQ("bc", utf8(*abcd->SubString(1, 2)));
    EXPECT_EQ("", utf8(*abcd->SubString(4)));
    int const outside[][2] = {{3, 2}, {-1, 1}, {1, -1}, {0x7fffffff, 0x7fffffff}};
    for (auto [start, length] : outside) {
        EXPECT_FALSE(abcd->SubString(start, length)) << start << "," << length;
    }
    Ptr half = Str("\xF0\x9F\x8C\x8D")->SubString(0, 1);
    ASSERT_TRUE(half);
    EXPECT_EQ(1, half->Length());
    // Trim removes the platform's white space only.
    std::u16string const trims[][2] = {// clang-format off
        {u"  a b \n", u"a b"}, {u"\u00A0\u2003\u3000\u200Bx\u2028\u0085\t", u"x"},
        {u"\uFEFFx\u180E", u"\uFEFFx\u180E"}, {u" \t\r\n ", u""}};
    // clang-format on
    for (auto const& row : trims) {
        EXPECT_EQ(row[1], units(*Units(row[0]).Trim())) << "row " << &row - trims;
    }
}

TEST(CUStringMac, JoiningCopyingAndAssignment) {
    CUStringMac a = s("a"), b = s("b\xC3\xA9");
    CUStringMac null{Ptr()};
    EXPECT_EQ("ab\xC3\xA9", utf8(a + b));
    EXPECT_EQ("", utf8(null + a));
    CUStringMac target = s("old");
    target = b;
    EXPECT_TRUE(target == b);
    EXPECT_EQ(b.GetCFStringRef(), CUStringMac(b).GetCFStringRef()); // copies share the text
    target = null;
    EXPECT_TRUE(isNullText(target));
    CUStringMac& alias = a; // self-assignment releases first and so ends with a null text
    a = alias;
    EXPECT_TRUE(isNullText(a));
    Ptr original = Str("shared");
    EXPECT_TRUE(CUStringMac(original) == *original);
    Ptr description = original->Description();
    EXPECT_EQ("shared", utf8(*description));
    EXPECT_NE(description.get(), original.get());
}

TEST(CUStringMac, CreateWithFormatFollowsPrintfAndCharCodesMapToThePlatformConstants) {
    Ptr made = CUStringMac::CreateWithFormat(Str("%d-%s"), 7, "x");
    ASSERT_TRUE(made);
    EXPECT_EQ("7-x", utf8(*made));
    EXPECT_FALSE(CUStringMac::CreateWithFormat(Ptr()));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(kUtf8));
    EXPECT_EQ(0x0100u, CUStringMac::ConvertCharCode(kUtf16));
    EXPECT_EQ(0x0600u, CUStringMac::ConvertCharCode(kAscii));
}

TEST(CUStringMac, PathOperationsCutAndJoinAtSeparatorsAndFailOnANullText) {
    auto op = [](unsigned int (CUStringMac::*member)(CUStringMac&)) {
        return [member](CUStringMac path, char const*, CUStringMac& out) {
            return (path.*member)(out);
        };
    };
    // clang-format off
    checkRows(op(&CUStringMac::PathRemoveLastComponent),
              {{"/a/b", kOk, "/a"}, {"/a", kOk, "/"}, {"/a/b/", kOk, "/a"}, {"/", kOk, "/"},
               {"a/", kFail, ""}});
    checkRows(op(&CUStringMac::PathGetFileName),
              {{"/a/b.txt", kOk, "b.txt"}, {"/a/", kOk, ""}, {"b.txt", kFail, nullptr}});
    checkRows(op(&CUStringMac::PathGetFileNameNoExtension),
              {{"/a/b.tar.gz", kOk, "b.tar"}, {"/a.d/b", kOk, "b"}, {"b.txt", kFail, nullptr}});
    checkRows(op(&CUStringMac::PathGetExtension),
              {{"/a/b.tar.gz", kOk, ".gz"}, {"/a/b", kFail, nullptr}, {"/a.d/b", kOk, ".d/b"}});
    checkRows(op(&CUStringMac::PathGetLastComponent),
              {{"/a/b", kOk, "b"}, {"/a/b/", kOk, "b"}, {"/", kOk, "/"}, {"abc", kFail, nullptr},
               {"abc/", kFail, nullptr}, {"//", kOk, ""}});
    // PathAppend adds one separator unless the path ends with one.
    checkRows([](CUStringMac path, char const* name, CUStringMac& out) {
                  return path.PathAppend(s(name), out);
              },
              {{"a/", kOk, "a/b", "b"}, {"a", kOk, "a/b", "b"}, {"", kOk, "/b", "b"},
               {"/a", kFail, nullptr, "\xC3\x28"}}); // a name with no text
    // RemoveLastComponent with the caller's separator. A two-unit separator: one unit is
    // dropped from the end, then the last separator is searched in what remains.
    checkRows([](CUStringMac path, char const* separator, CUStringMac& out) {
                  return path.RemoveLastComponent(out, separator);
              },
              {{"a.b.c", kOk, "a.b", "."}, {"a::b::", kOk, "a", "::"}, {"abc", kFail, "", ""},
               {"a.b", kFail, nullptr, nullptr}});
    // clang-format on
    CUStringMac path = s("/a/b"); // the output may be the string itself
    EXPECT_EQ(kOk, path.PathRemoveLastComponent(path));
    EXPECT_EQ("/a", utf8(path));
}

TEST(CUStringMac, PathAndSplitComponentsCutAtEverySeparator) {
    struct {
        char const* text;
        char const* separator; // nullptr: PathComponents
        U parts;
    } const rows[] = {
        // clang-format off
        {"/a/b/", nullptr, {u"/", u"a", u"b"}}, {"a//b", nullptr, {u"a", u"", u"b"}},
        {"/", nullptr, {u"/"}}, {"", nullptr, {u""}}, {"//", nullptr, {u"/", u""}},
        {"a,b,,", ",", {u"a", u"b", u""}}, {"abc", ",", {u"abc"}},
        {"\u00E9\u00B7\u00E0", "\u00B7", {u"\u00E9", u"\u00E0"}},
        // A two-unit separator: the leading one is kept whole but the rest starts at unit 1.
        {"::a::b", "::", {u"::", u":a", u"b"}}};
    // clang-format on
    for (auto const& row : rows) {
        EXPECT_EQ(row.parts, parts(s(row.text), row.separator)) << row.text;
    }
    CUSharedPtr<CUArray> out;
    EXPECT_EQ(kFail, s("/a").PathComponents(nullptr));
    EXPECT_EQ(kFail, nullText().PathComponents(&out));
    EXPECT_EQ(kFail, s("a,b").SplitComponents(nullptr, ","));
    EXPECT_EQ(kFail, s("a,b").SplitComponents(&out, nullptr));
    EXPECT_FALSE(out);
}

TEST(CUStringMac, GetUnicodeFileNameSwapsColonsAndHolds255Units) {
    auto record = [](CUStringMac name, HFSUniStr255* out) {
        return CUStringMac::GetUnicodeFileName(Ptr(new CUStringMac(name)), out);
    };
    HFSUniStr255 r{};
    ASSERT_EQ(kOk, record(s("\u00E9:\U0001F30D"), &r)); // a pair counts two units
    EXPECT_EQ(u"\u00E9/\U0001F30D", std::u16string(r.unicode, r.unicode + r.length));
    ASSERT_EQ(kOk, record(s(""), &r));
    EXPECT_EQ(0, r.length);
    r.length = 77;
    EXPECT_EQ(kFail, CUStringMac::GetUnicodeFileName(Ptr(), &r));
    EXPECT_EQ(kFail, record(s("a"), nullptr));
    EXPECT_EQ(kFail, record(nullText(), &r));
    EXPECT_EQ(kFail, record(s(std::string(256, 'x').c_str()), &r));
    EXPECT_EQ(77, r.length);
    EXPECT_EQ(kOk, record(s(std::string(255, 'x').c_str()), &r));
    EXPECT_EQ(255, r.length);
    EXPECT_EQ(u'x', r.unicode[254]);
}

// Hostile names: every unit but "/" is an ordinary character, whatever the collation says.
TEST(CUStringMac, ControlCharactersShellSyntaxAndSurrogatesAreOrdinaryUnits) {
    // The localized comparison ignores control characters ("/\x01" equals "/"); paths must not.
    EXPECT_EQ((U{u"/", u"\u0001"}), parts(Units(u"/\u0001")));
    EXPECT_EQ((U{u"\u008A", u"\u0002"}), parts(Units(u"\u008A/\u0002")));
    EXPECT_EQ((U{u"\u200B"}), parts(Units(u"\u200B:"), ":"));
    CUStringMac out = s("/tmp/a b\nc"); // the output may be the string itself
    ASSERT_EQ(kOk, out.PathAppend(s("$(touch x) `id` 'q' \"d\" ;|&\n\t*?.sh"), out));
    EXPECT_EQ((U{u"/", u"tmp", u"a b\nc", u"$(touch x) `id` 'q' \"d\" ;|&\n\t*?.sh"}), parts(out));
    ASSERT_EQ(kOk, out.PathGetExtension(out));
    EXPECT_EQ(".sh", utf8(out));
    ASSERT_EQ(kOk, Units(u"/\u0001").PathGetLastComponent(out));
    EXPECT_EQ(u"\u0001", units(out));
    CUStringMac path = Units(u"/a\xD800/b\xDC00.x");
    EXPECT_EQ((U{u"/", u"a\xD800", u"b\xDC00.x"}), parts(path));
    ASSERT_EQ(kOk, path.PathGetFileNameNoExtension(out));
    EXPECT_EQ(u"b\xDC00", units(out));
}
