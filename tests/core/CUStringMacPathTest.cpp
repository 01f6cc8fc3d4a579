// CUStringMacPathTest.cpp — the path arithmetic of CUStringMac, as tables of inputs and results.
#include "core/StringTesting.h"

#include <VarnUtilityLib/CUArray.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr unsigned int kOk = kCUStatusSuccess;
constexpr unsigned int kFail = kCUStatusFailure;

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
std::vector<std::u16string> parts(CUStringMac text, char const* separator = nullptr) {
    CUSharedPtr<CUArray> array;
    EXPECT_EQ(kOk,
              separator ? text.SplitComponents(&array, separator) : text.PathComponents(&array))
        << utf8(text);
    std::vector<std::u16string> out;
    for (unsigned long i = 0; array && i < array->Count(); ++i) {
        CUSharedPtr<CUStringMac> part = array->ObjectAtIndex(i);
        out.push_back(part ? units(*part) : u"<not a string>");
    }
    return out;
}

using U = std::vector<std::u16string>;

} // namespace

TEST(CUStringMac, PathOperationsCutAndJoinAtSeparatorsAndFailOnANullText) {
    auto op = [](unsigned int (CUStringMac::*member)(CUStringMac&)) {
        return [member](CUStringMac path, char const*, CUStringMac& out) {
            return (path.*member)(out);
        };
    };
    // clang-format off
    checkRows(op(&CUStringMac::PathRemoveLastComponent),
              {{"/a/b", kOk, "/a"}, {"/a", kOk, "/"}, {"/a/b/", kOk, "/a"}, {"/", kOk, "/"},
               {"a", kFail, ""}, {"a/", kFail, ""}, {"", kFail, ""},
               {"//", kOk, "/"}, {"/a//b", kOk, "/a/"}, {"a/b", kOk, "a"}, {"/a:b/c:d", kOk, "/a:b"},
               {"/caf\u00E9/r\u00E9sum\u00E9.txt", kOk, "/caf\u00E9"}});
    checkRows(op(&CUStringMac::PathGetFileName),
              {{"/a/b.txt", kOk, "b.txt"}, {"/a/", kOk, ""}, {"b.txt", kFail, nullptr}, {"/", kOk, ""},
               {"", kFail, nullptr}, {"a//b", kOk, "b"}, {"/a:b", kOk, "a:b"},
               {"/\u65E5\u672C.txt", kOk, "\u65E5\u672C.txt"}});
    checkRows(op(&CUStringMac::PathGetFileNameNoExtension),
              {{"/a/b.tar.gz", kOk, "b.tar"}, {"/a/.profile", kOk, ""}, {"/a.d/b", kOk, "b"},
               {"/a/b.", kOk, "b"}, {"/a/", kOk, ""}, {"b.txt", kFail, nullptr},
               {"/x/\u00E9t\u00E9.md", kOk, "\u00E9t\u00E9"}});
    checkRows(op(&CUStringMac::PathGetExtension),
              {{"/a/b.txt", kOk, ".txt"}, {"/a/b.tar.gz", kOk, ".gz"}, {"/a/b", kFail, nullptr},
               {"/a.d/b", kOk, ".d/b"}, {"b.", kOk, "."}, {".profile", kOk, ".profile"},
               {"", kFail, nullptr}});
    checkRows(op(&CUStringMac::PathGetLastComponent),
              {{"/a/b", kOk, "b"}, {"/a/b/", kOk, "b"}, {"/", kOk, "/"}, {"abc", kFail, nullptr},
               {"abc/", kFail, nullptr}, {"a/b", kOk, "b"}, {"/a", kOk, "a"}, {"/a/b//", kOk, ""},
               {"//", kOk, ""}, {"/n\u00E4me:1/", kOk, "n\u00E4me:1"}});
    // PathAppend adds one separator unless the path ends with one.
    checkRows([](CUStringMac path, char const* name, CUStringMac& out) {
                  return path.PathAppend(s(name), out);
              },
              {{"a/", kOk, "a/b", "b"}, {"a", kOk, "a/b", "b"}, {"", kOk, "/b", "b"},
               {"a", kOk, "a//b", "/b"}, {"/", kOk, "/b", "b"}, {"a//", kOk, "a//b", "b"},
               {"/d\u00E9j\u00E0", kOk, "/d\u00E9j\u00E0/\U0001F30D:x", "\U0001F30D:x"},
               {"a", kOk, "a/", ""}, {"/a", kFail, nullptr, "\xC3\x28"}}); // a name with no text
    // RemoveLastComponent with the caller's separator. A two-unit separator: one unit is
    // dropped from the end, then the last separator is searched in what remains.
    checkRows([](CUStringMac path, char const* separator, CUStringMac& out) {
                  return path.RemoveLastComponent(out, separator);
              },
              {{"a.b.c", kOk, "a.b", "."}, {"a.b.", kOk, "a", "."}, {".", kOk, ".", "."},
               {".a", kOk, ".", "."}, {"abc", kFail, "", "."}, {"/a/b", kOk, "/a", "/"},
               {"x\u00A7y\u00A7z", kOk, "x\u00A7y", "\u00A7"}, {"a::b::", kOk, "a", "::"},
               {"a::b", kOk, "a", "::"}, {"abc", kFail, "", ""}, {"a.b", kFail, nullptr, nullptr}});
    // clang-format on
    CUStringMac path = s("/a"); // the output may be the string itself
    EXPECT_EQ(kOk, path.PathAppend(s("b"), path));
    EXPECT_EQ("/a/b", utf8(path));
    EXPECT_EQ(kOk, path.PathRemoveLastComponent(path));
    EXPECT_EQ("/a", utf8(path));
    CUStringMac root = s("/");
    EXPECT_EQ(kOk, root.PathRemoveLastComponent(root));
    EXPECT_EQ("/", utf8(root));
}

TEST(CUStringMac, PathAndSplitComponentsCutAtEverySeparator) {
    struct {
        char const* text;
        char const* separator; // nullptr: PathComponents
        U parts;
    } const rows[] = {
        // clang-format off
        {"a/b", nullptr, {u"a", u"b"}}, {"/a", nullptr, {u"/", u"a"}},
        {"/a/b/", nullptr, {u"/", u"a", u"b"}}, {"a//b", nullptr, {u"a", u"", u"b"}},
        {"/", nullptr, {u"/"}}, {"", nullptr, {u""}}, {"//", nullptr, {u"/", u""}},
        {"//a///", nullptr, {u"/", u"", u"a", u"", u""}}, {"a/", nullptr, {u"a"}},
        {"/a:b/\u00E9t\u00E9/\U0001F30D", nullptr, {u"/", u"a:b", u"\u00E9t\u00E9", u"\U0001F30D"}},
        {"x,y,,z", ",", {u"x", u"y", u"", u"z"}}, {",", ",", {u","}}, {"abc", ",", {u"abc"}},
        {",a,b,", ",", {u",", u"a", u"b"}}, {"a,b,,", ",", {u"a", u"b", u""}}, {"", ",", {u""}},
        {"a/b", ":", {u"a/b"}}, {"\u00E9\u00B7\u00E0", "\u00B7", {u"\u00E9", u"\u00E0"}},
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
    ASSERT_EQ(kOk, s("/a/b").PathComponents(&out)); // elements are independent strings
    CUSharedPtr<CUStringMac> first = out->ObjectAtIndex(0);
    EXPECT_EQ(2, first->GetRetainCount());
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
    EXPECT_EQ((U{u"/", u"\u0001"}), parts(fromUnits(u"/\u0001")));
    EXPECT_EQ((U{u"\u008A", u"\u0002"}), parts(fromUnits(u"\u008A/\u0002")));
    EXPECT_EQ((U{u"\u200B"}), parts(fromUnits(u"\u200B:"), ":"));
    CUStringMac out;
    ASSERT_EQ(kOk, fromUnits(u"/\u0001").PathGetLastComponent(out));
    EXPECT_EQ(u"\u0001", units(out));
    std::string const name = "$(touch pwned) `id` 'q' \"dq\" ;|&\n\t*?.sh";
    CUStringMac joined;
    ASSERT_EQ(kOk, s("/tmp/a b\nc").PathAppend(s(name.c_str()), joined));
    ASSERT_EQ(kOk, joined.PathGetFileName(out));
    EXPECT_EQ(name, utf8(out));
    ASSERT_EQ(kOk, joined.PathGetExtension(out));
    EXPECT_EQ(".sh", utf8(out));
    ASSERT_EQ(kOk, joined.PathRemoveLastComponent(out));
    EXPECT_EQ("/tmp/a b\nc", utf8(out));
    EXPECT_EQ(4u, parts(joined).size());
    CUStringMac path = fromUnits(u"/a\xD800/b\xDC00.x");
    EXPECT_EQ((U{u"/", u"a\xD800", u"b\xDC00.x"}), parts(path));
    ASSERT_EQ(kOk, path.PathGetFileNameNoExtension(out));
    EXPECT_EQ(u"b\xDC00", units(out));
    std::string longName(5000, 'n');
    CUStringMac tooLong = s(("/base/" + longName + "/" + longName + ".ext").c_str());
    ASSERT_EQ(kOk, tooLong.PathGetFileNameNoExtension(out));
    EXPECT_EQ(5000, out.Length());
    ASSERT_EQ(kOk, tooLong.PathRemoveLastComponent(out));
    EXPECT_EQ(6 + 5000, out.Length());
}
