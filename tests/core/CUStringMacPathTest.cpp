// CUStringMacPathTest.cpp — the path arithmetic of CUStringMac, as tables of inputs and results.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr unsigned int kOk = kCUStatusSuccess;
constexpr unsigned int kFail = kCUStatusFailure;

CUStringMac s(char const* text) {
    return CUStringMac(text, CUString_CharCode_UTF8);
}

std::string textOf(CUStringMac& str) {
    char const* t = str;
    return t ? std::string(t) : std::string("<null>");
}

// A string with a null text (bytes that are not UTF-8).
CUStringMac nullText() {
    return CUStringMac("\xC3\x28", CUString_CharCode_UTF8);
}

struct Row {
    char const* path;
    unsigned int status;
    char const* out; // expected output; nullptr: left untouched
};

using PathOp = unsigned int (CUStringMac::*)(CUStringMac&);

void checkRows(PathOp op, std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        CUStringMac path = s(row.path);
        CUStringMac out = s("untouched");
        EXPECT_EQ(row.status, (path.*op)(out)) << "path \"" << row.path << "\"";
        EXPECT_EQ(row.out ? row.out : "untouched", textOf(out)) << "path \"" << row.path << "\"";
    }
    CUStringMac none = nullText();
    CUStringMac out = s("untouched");
    EXPECT_EQ(kFail, (none.*op)(out));
    EXPECT_EQ("untouched", textOf(out));
}

std::vector<std::string> texts(CUSharedPtr<CUArray> const& array) {
    std::vector<std::string> out;
    for (unsigned long i = 0; array && i < array->Count(); ++i) {
        CUSharedPtr<CUStringMac> element = array->ObjectAtIndex(i);
        out.push_back(element ? textOf(*element) : "<not a string>");
    }
    return out;
}

std::vector<std::string> components(char const* path) {
    CUSharedPtr<CUArray> out;
    EXPECT_EQ(kOk, s(path).PathComponents(&out)) << path;
    return texts(out);
}

std::vector<std::string> split(char const* text, char const* separator) {
    CUSharedPtr<CUArray> out;
    EXPECT_EQ(kOk, s(text).SplitComponents(&out, separator)) << text;
    return texts(out);
}

using V = std::vector<std::string>;

} // namespace

TEST(CUStringMac, PathAppendAddsOneSeparatorUnlessThePathEndsWithOne) {
    struct AppendRow {
        char const* path;
        char const* name;
        char const* out;
    };
    for (AppendRow row :
         {AppendRow{"a/", "b", "a/b"}, AppendRow{"a", "b", "a/b"}, AppendRow{"", "b", "/b"},
          AppendRow{"a", "/b", "a//b"}, AppendRow{"/", "b", "/b"}, AppendRow{"a//", "b", "a//b"},
          AppendRow{"/d\xC3\xA9j\xC3\xA0", "\xF0\x9F\x8C\x8D:x",
                    "/d\xC3\xA9j\xC3\xA0/\xF0\x9F\x8C\x8D:x"},
          AppendRow{"a", "", "a/"}}) {
        CUStringMac out;
        EXPECT_EQ(kOk, s(row.path).PathAppend(s(row.name), out)) << row.path;
        EXPECT_EQ(row.out, textOf(out)) << row.path;
    }
    CUStringMac out = s("untouched");
    EXPECT_EQ(kFail, nullText().PathAppend(s("b"), out));
    EXPECT_EQ(kFail, s("/a").PathAppend(nullText(), out)) << "a name with no text";
    EXPECT_EQ("untouched", textOf(out));
    CUStringMac path = s("/a"); // the output may be the string itself
    EXPECT_EQ(kOk, path.PathAppend(s("b"), path));
    EXPECT_EQ("/a/b", textOf(path));
    EXPECT_EQ(kOk, path.PathRemoveLastComponent(path));
    EXPECT_EQ("/a", textOf(path));
    CUStringMac root = s("/");
    EXPECT_EQ(kOk, root.PathRemoveLastComponent(root));
    EXPECT_EQ("/", textOf(root));
}

TEST(CUStringMac, SingleResultPathOperationsFollowTheirTables) {
    // clang-format off
    checkRows(&CUStringMac::PathRemoveLastComponent,
              {{"/a/b", kOk, "/a"}, {"/a", kOk, "/"}, {"/a/b/", kOk, "/a"}, {"/", kOk, "/"},
               {"a", kFail, ""}, {"a/", kFail, ""}, {"", kFail, ""},
               {"//", kOk, "/"}, {"/a//b", kOk, "/a/"}, {"a/b", kOk, "a"}, {"/a:b/c:d", kOk, "/a:b"},
               {"/caf\xC3\xA9/r\xC3\xA9sum\xC3\xA9.txt", kOk, "/caf\xC3\xA9"}});
    checkRows(&CUStringMac::PathGetFileName,
              {{"/a/b.txt", kOk, "b.txt"}, {"/a/", kOk, ""}, {"b.txt", kFail, nullptr}, {"/", kOk, ""},
               {"", kFail, nullptr}, {"a//b", kOk, "b"}, {"/a:b", kOk, "a:b"},
               {"/\xE6\x97\xA5\xE6\x9C\xAC.txt", kOk, "\xE6\x97\xA5\xE6\x9C\xAC.txt"}});
    checkRows(&CUStringMac::PathGetFileNameNoExtension,
              {{"/a/b.tar.gz", kOk, "b.tar"}, {"/a/.profile", kOk, ""}, {"/a.d/b", kOk, "b"},
               {"/a/b.", kOk, "b"}, {"/a/", kOk, ""}, {"b.txt", kFail, nullptr},
               {"/x/\xC3\xA9t\xC3\xA9.md", kOk, "\xC3\xA9t\xC3\xA9"}});
    checkRows(&CUStringMac::PathGetExtension,
              {{"/a/b.txt", kOk, ".txt"}, {"/a/b.tar.gz", kOk, ".gz"}, {"/a/b", kFail, nullptr},
               {"/a.d/b", kOk, ".d/b"}, {"b.", kOk, "."}, {".profile", kOk, ".profile"},
               {"", kFail, nullptr}});
    checkRows(&CUStringMac::PathGetLastComponent,
              {{"/a/b", kOk, "b"}, {"/a/b/", kOk, "b"}, {"/", kOk, "/"}, {"abc", kFail, nullptr},
               {"abc/", kFail, nullptr}, {"a/b", kOk, "b"}, {"/a", kOk, "a"}, {"/a/b//", kOk, ""},
               {"//", kOk, ""}, {"/n\xC3\xA4me:1/", kOk, "n\xC3\xA4me:1"}});
    // clang-format on
}

TEST(CUStringMac, RemoveLastComponentUsesTheCallersSeparator) {
    struct SepRow {
        char const* text;
        char const* separator;
        unsigned int status;
        char const* out;
    };
    for (SepRow row : {SepRow{"a.b.c", ".", kOk, "a.b"}, SepRow{"a.b.", ".", kOk, "a"},
                       SepRow{".", ".", kOk, "."}, SepRow{".a", ".", kOk, "."},
                       SepRow{"abc", ".", kFail, ""}, SepRow{"/a/b", "/", kOk, "/a"},
                       SepRow{"x\xC2\xA7y\xC2\xA7z", "\xC2\xA7", kOk, "x\xC2\xA7y"},
                       // A two-unit separator: one unit is dropped from the end, then the last
                       // separator is searched in what remains.
                       SepRow{"a::b::", "::", kOk, "a"}, SepRow{"a::b", "::", kOk, "a"},
                       SepRow{"abc", "", kFail, ""}}) {
        CUStringMac out = s("untouched");
        EXPECT_EQ(row.status, s(row.text).RemoveLastComponent(out, row.separator)) << row.text;
        EXPECT_EQ(row.out, textOf(out)) << row.text << " by " << row.separator;
    }
    CUStringMac out = s("untouched");
    EXPECT_EQ(kFail, s("a.b").RemoveLastComponent(out, nullptr));
    EXPECT_EQ(kFail, nullText().RemoveLastComponent(out, "."));
    EXPECT_EQ("untouched", textOf(out));
}

TEST(CUStringMac, PathComponentsSplitsAtEverySeparator) {
    EXPECT_EQ((V{"a", "b"}), components("a/b"));
    EXPECT_EQ((V{"/", "a"}), components("/a"));
    EXPECT_EQ((V{"/", "a", "b"}), components("/a/b/"));
    EXPECT_EQ((V{"a", "", "b"}), components("a//b"));
    EXPECT_EQ((V{"/"}), components("/"));
    EXPECT_EQ((V{""}), components(""));
    EXPECT_EQ((V{"/", ""}), components("//"));
    EXPECT_EQ((V{"/", "", "a", "", ""}), components("//a///"));
    EXPECT_EQ((V{"a"}), components("a/"));
    EXPECT_EQ((V{"/", "a:b", "\xC3\xA9t\xC3\xA9", "\xF0\x9F\x8C\x8D"}),
              components("/a:b/\xC3\xA9t\xC3\xA9/\xF0\x9F\x8C\x8D"));
    EXPECT_EQ(kFail, s("/a").PathComponents(nullptr));
    CUSharedPtr<CUArray> out;
    EXPECT_EQ(kFail, nullText().PathComponents(&out));
    EXPECT_FALSE(out);
    ASSERT_EQ(kOk, s("/a/b").PathComponents(&out)); // elements are independent strings
    CUSharedPtr<CUStringMac> first = out->ObjectAtIndex(0);
    EXPECT_EQ(2, first->GetRetainCount());
}

TEST(CUStringMac, SplitComponentsUsesTheCallersSeparator) {
    EXPECT_EQ((V{"x", "y", "", "z"}), split("x,y,,z", ","));
    EXPECT_EQ((V{","}), split(",", ","));
    EXPECT_EQ((V{",", "a", "b"}), split(",a,b,", ","));
    EXPECT_EQ((V{"a", "b", ""}), split("a,b,,", ","));
    EXPECT_EQ((V{"abc"}), split("abc", ","));
    EXPECT_EQ((V{""}), split("", ","));
    EXPECT_EQ((V{"a/b"}), split("a/b", ":"));
    EXPECT_EQ((V{"\xC3\xA9", "\xC3\xA0"}), split("\xC3\xA9\xC2\xB7\xC3\xA0", "\xC2\xB7"));
    // A two-unit separator: the leading one is kept whole but the rest starts at unit 1.
    EXPECT_EQ((V{"::", ":a", "b"}), split("::a::b", "::"));
    CUSharedPtr<CUArray> out;
    EXPECT_EQ(kFail, s("a,b").SplitComponents(nullptr, ","));
    EXPECT_EQ(kFail, s("a,b").SplitComponents(&out, nullptr));
    EXPECT_FALSE(out);
}

TEST(CUStringMac, GetUnicodeFileNameSwapsColonsAndHolds255Units) {
    auto record = [](CUStringMac name, HFSUniStr255* out) {
        return CUStringMac::GetUnicodeFileName(CUSharedPtr<CUStringMac>(new CUStringMac(name)),
                                               out);
    };
    HFSUniStr255 r{};
    ASSERT_EQ(kOk, record(s("\xC3\xA9:\xF0\x9F\x8C\x8D"), &r)); // a pair counts two units
    EXPECT_EQ(u"\u00E9/\xD83C\xDF0D", std::u16string(r.unicode, r.unicode + r.length));
    ASSERT_EQ(kOk, record(s(""), &r));
    EXPECT_EQ(0, r.length);
    r.length = 77;
    EXPECT_EQ(kFail, CUStringMac::GetUnicodeFileName(CUSharedPtr<CUStringMac>(), &r));
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
    auto units = [](std::u16string u) {
        std::vector<unsigned short> copy(u.begin(), u.end());
        return CUStringMac(copy.data(), static_cast<unsigned int>(copy.size() * 2));
    };
    auto unitsOf = [](CUStringMac& str) {
        __CFString const* t = str;
        return std::u16string(CUPlatformStringGetUnits(t), CUPlatformStringGetLength(t));
    };
    auto parts = [&](CUStringMac path) {
        CUSharedPtr<CUArray> array;
        EXPECT_EQ(kOk, path.PathComponents(&array));
        std::vector<std::u16string> out;
        for (unsigned long i = 0; array && i < array->Count(); ++i) {
            CUSharedPtr<CUStringMac> part = array->ObjectAtIndex(i);
            out.push_back(unitsOf(*part));
        }
        return out;
    };
    using U = std::vector<std::u16string>;
    // The localized comparison ignores control characters ("/\x01" equals "/"); paths must not.
    EXPECT_EQ((U{u"/", u"\u0001"}), parts(units(u"/\u0001")));
    EXPECT_EQ((U{u"\u008A", u"\u0002"}), parts(units(u"\u008A/\u0002")));
    CUStringMac out;
    ASSERT_EQ(kOk, units(u"/\u0001").PathGetLastComponent(out));
    EXPECT_EQ(u"\u0001", unitsOf(out));
    CUSharedPtr<CUArray> split;
    ASSERT_EQ(kOk, units(u"\u200B:").SplitComponents(&split, ":"));
    ASSERT_EQ(1u, split->Count());
    EXPECT_EQ(u"\u200B", unitsOf(*CUSharedPtr<CUStringMac>(split->ObjectAtIndex(0))));
    std::string const name = "$(touch pwned) `id` 'q' \"dq\" ;|&\n\t*?.sh";
    CUStringMac joined;
    ASSERT_EQ(kOk, s("/tmp/a b\nc").PathAppend(s(name.c_str()), joined));
    ASSERT_EQ(kOk, joined.PathGetFileName(out));
    EXPECT_EQ(name, textOf(out));
    ASSERT_EQ(kOk, joined.PathGetExtension(out));
    EXPECT_EQ(".sh", textOf(out));
    ASSERT_EQ(kOk, joined.PathRemoveLastComponent(out));
    EXPECT_EQ("/tmp/a b\nc", textOf(out));
    EXPECT_EQ(4u, parts(joined).size());
    CUStringMac path = units(u"/a\xD800/b\xDC00.x");
    EXPECT_EQ((U{u"/", u"a\xD800", u"b\xDC00.x"}), parts(path));
    ASSERT_EQ(kOk, path.PathGetFileNameNoExtension(out));
    EXPECT_EQ(u"b\xDC00", unitsOf(out));
    std::string longName(5000, 'n');
    CUStringMac tooLong = s(("/base/" + longName + "/" + longName + ".ext").c_str());
    ASSERT_EQ(kOk, tooLong.PathGetFileNameNoExtension(out));
    EXPECT_EQ(5000, out.Length());
    ASSERT_EQ(kOk, tooLong.PathRemoveLastComponent(out));
    EXPECT_EQ(6 + 5000, out.Length());
}
