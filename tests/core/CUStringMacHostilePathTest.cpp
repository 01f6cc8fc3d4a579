// CUStringMacHostilePathTest.cpp — path arithmetic on names an attacker or a careless program
// could hand in: control characters, shell syntax, quotes, very long names, unpaired
// surrogates. The operations must treat every unit but "/" and "." as an ordinary character.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

CUStringMac Utf8(std::string const& text) {
    return CUStringMac(text.data(), static_cast<unsigned int>(text.size()), CUString_CharCode_UTF8);
}

CUStringMac Units(std::u16string const& units) {
    std::vector<unsigned short> copy(units.begin(), units.end());
    return CUStringMac(copy.data(), static_cast<unsigned int>(copy.size() * 2));
}

std::u16string UnitsOf(CUStringMac& s) {
    unsigned int need = 0;
    if (s.GetString(nullptr, CUString_CharCode_UTF16, need) != 0) {
        return u"<null>";
    }
    std::vector<char> buffer(need);
    s.GetString(buffer.data(), CUString_CharCode_UTF16, need);
    std::u16string out(static_cast<std::size_t>(s.Length()), u'\0');
    std::copy_n(reinterpret_cast<char16_t const*>(buffer.data()), out.size(), out.begin());
    return out;
}

std::vector<std::u16string> Components(CUStringMac& path) {
    CUSharedPtr<CUArray> parts;
    EXPECT_EQ(kCUStatusSuccess, path.PathComponents(&parts));
    std::vector<std::u16string> out;
    for (unsigned long i = 0; parts && i < parts->Count(); ++i) {
        CUSharedPtr<CUStringMac> part = parts->ObjectAtIndex(i);
        out.push_back(UnitsOf(*part));
    }
    return out;
}

} // namespace

TEST(CUStringMac, ControlCharactersBesideTheSeparatorAreNotTheSeparator) {
    // The localized comparison ignores control characters, so "/\x01" compares equal to "/";
    // paths must not: POSIX names may hold any byte but "/" and NUL.
    CUStringMac slashControl = Units(u"/\u0001");
    EXPECT_EQ((std::vector<std::u16string>{u"/", u"\u0001"}), Components(slashControl));
    CUStringMac out;
    ASSERT_EQ(kCUStatusSuccess, slashControl.PathGetLastComponent(out));
    EXPECT_EQ(u"\u0001", UnitsOf(out));

    CUStringMac around = Units(u"\u008A/\u0002");
    ASSERT_EQ(kCUStatusSuccess, around.PathGetLastComponent(out));
    EXPECT_EQ(u"\u0002", UnitsOf(out));
    EXPECT_EQ((std::vector<std::u16string>{u"\u008A", u"\u0002"}), Components(around));

    CUSharedPtr<CUArray> split;
    ASSERT_EQ(kCUStatusSuccess, Units(u"\u200B:").SplitComponents(&split, ":"));
    ASSERT_TRUE(split);
    ASSERT_EQ(1u, split->Count()); // the trailing separator is dropped, the space kept
    CUSharedPtr<CUStringMac> first = split->ObjectAtIndex(0);
    EXPECT_EQ(u"\u200B", UnitsOf(*first));
}

TEST(CUStringMac, ShellSyntaxQuotesAndNewlinesAreOrdinaryCharacters) {
    std::string const name = "$(touch pwned) `id` 'q' \"dq\" ;|&\n\t*?.sh";
    CUStringMac folder = Utf8("/tmp/a b\nc");
    CUStringMac joined;
    ASSERT_EQ(kCUStatusSuccess, folder.PathAppend(Utf8(name), joined));
    EXPECT_EQ("/tmp/a b\nc/" + name, std::string(static_cast<char const*>(joined)));
    CUStringMac out;
    ASSERT_EQ(kCUStatusSuccess, joined.PathGetFileName(out));
    EXPECT_EQ(name, std::string(static_cast<char const*>(out)));
    ASSERT_EQ(kCUStatusSuccess, joined.PathGetExtension(out));
    EXPECT_EQ(".sh", std::string(static_cast<char const*>(out)));
    ASSERT_EQ(kCUStatusSuccess, joined.PathRemoveLastComponent(out));
    EXPECT_EQ("/tmp/a b\nc", std::string(static_cast<char const*>(out)));
    CUStringMac nameText = Utf8(name);
    EXPECT_EQ((std::vector<std::u16string>{u"/", u"tmp", u"a b\nc", UnitsOf(nameText)}),
              Components(joined));
}

TEST(CUStringMac, NamesLongerThanAnyFileSystemAllowsAreSplitExactly) {
    std::string const longName(5000, 'n');
    CUStringMac path = Utf8("/base/" + longName + "/" + longName + ".ext");
    CUStringMac out;
    ASSERT_EQ(kCUStatusSuccess, path.PathGetFileNameNoExtension(out));
    EXPECT_EQ(5000, out.Length());
    ASSERT_EQ(kCUStatusSuccess, path.PathRemoveLastComponent(out));
    EXPECT_EQ(6 + 5000, out.Length());
    EXPECT_EQ(4u, Components(path).size());
    // The file-name record holds 255 units and refuses more.
    HFSUniStr255 record{};
    EXPECT_EQ(kCUStatusFailure,
              CUStringMac::GetUnicodeFileName(
                  CUSharedPtr<CUStringMac>(new CUStringMac(Utf8(std::string(256, 'x')))), &record));
}

TEST(CUStringMac, InvalidUtf8PathFailsEveryOperationAndTouchesNothing) {
    for (std::string bad :
         {"/tmp/\xC3\x28", "/tmp/\xFF", "/tmp/\xED\xA0\x80", "/tmp/\xF4\x90\x80\x80",
          "/tmp/\xC0\xAF"}) { // lone byte, 0xFF, surrogate, too high, overlong "/"
        CUStringMac path = Utf8(bad);
        ASSERT_EQ(nullptr, static_cast<__CFString const*>(path)) << bad;
        CUStringMac out = Utf8("untouched");
        EXPECT_EQ(kCUStatusFailure, path.PathAppend(Utf8("x"), out));
        EXPECT_EQ(kCUStatusFailure, path.PathRemoveLastComponent(out));
        EXPECT_EQ(kCUStatusFailure, path.PathGetFileName(out));
        EXPECT_EQ(kCUStatusFailure, path.PathGetExtension(out));
        EXPECT_EQ(kCUStatusFailure, path.PathGetLastComponent(out));
        CUSharedPtr<CUArray> parts;
        EXPECT_EQ(kCUStatusFailure, path.PathComponents(&parts));
        EXPECT_FALSE(parts);
        EXPECT_EQ("untouched", std::string(static_cast<char const*>(out)));
    }
}

TEST(CUStringMac, UnpairedSurrogatesSplitAsUnitsAndRefuseUtf8) {
    CUStringMac path = Units(u"/a\xD800/b\xDC00.x");
    EXPECT_EQ((std::vector<std::u16string>{u"/", u"a\xD800", u"b\xDC00.x"}), Components(path));
    CUStringMac out;
    ASSERT_EQ(kCUStatusSuccess, path.PathGetFileNameNoExtension(out));
    EXPECT_EQ(u"b\xDC00", UnitsOf(out));
    std::string utf8;
    EXPECT_EQ(kCUStatusFailure, path.GetString(utf8)); // no UTF-8 form: never a file name
}
