// CUXmlDomDocumentNodeHostileInputTest.cpp — documents built to hurt a loader: entity
// expansion bombs, nesting far past the limit, elements with huge numbers of attributes, and
// text that a careless conversion would change.
#include "XmlTestSupport.h"

#include "platform/XmlParser.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// The process's peak resident size in KiB. Each test runs in its own process under ctest, so a
// rise of the peak during a test is what that test made.
long PeakKiB() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

constexpr long kMemoryBoundKiB = 64 * 1024;

// Ten levels of ten references each: 10^9 copies of "lol" if expanded.
std::string LaughsDeclarations() {
    std::string text = "<!DOCTYPE r [\n<!ENTITY l0 \"lol\">\n";
    for (int level = 1; level <= 9; ++level) {
        text += "<!ENTITY l" + std::to_string(level) + " \"";
        for (int i = 0; i < 10; ++i) {
            text += "&l" + std::to_string(level - 1) + ";";
        }
        text += "\">\n";
    }
    return text + "]>\n";
}

std::string Nested(std::size_t depth) {
    std::string text;
    text.reserve(depth * 7);
    for (std::size_t i = 0; i < depth; ++i) {
        text += "<e>";
    }
    for (std::size_t i = 0; i < depth; ++i) {
        text += "</e>";
    }
    return text;
}

} // namespace

TEST(CUXmlDomDocumentNode, HostileDocumentsAreRefusedWithinBoundedMemoryAndAddNothing) {
    std::string quadratic = "<!DOCTYPE r [<!ENTITY b \"" + std::string(50000, 'x') + "\">]><r a=\"";
    for (int i = 0; i < 20000; ++i) {
        quadratic += "&b;";
    }
    quadratic += "\"/>";
    std::string millionOpen;
    for (int i = 0; i < 1000000; ++i) {
        millionOpen += "<e>"; // the reader must refuse at the limit, not recurse to the end
    }
    std::string duplicate = "<r";
    for (int i = 0; i < 20000; ++i) {
        duplicate += " a" + std::to_string(i) + "=\"\"";
    }
    duplicate += " a777=\"again\"/>";
    struct Row {
        char const* what;
        std::string text;
    } const rows[] = {
        {"expansion bomb in content", LaughsDeclarations() + "<r>&l9;</r>"},
        {"expansion bomb in an attribute", LaughsDeclarations() + "<r a=\"&l9;\"/>"},
        {"one large entity referenced many times", quadratic},
        {"nesting one past the limit", Nested(varn::platform::kMaxXmlDepth + 1)},
        {"a million start tags", millionOpen},
        {"a duplicate among many attributes", duplicate},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        long before = PeakKiB();
        auto doc = NewDoc();
        EXPECT_NE(LoadText(doc, row.text), 0u);
        EXPECT_EQ(doc->GetChildNodes()->Count(), 0u);
        EXPECT_LT(PeakKiB() - before, kMemoryBoundKiB + 8 * 1024);
    }
}

TEST(CUXmlDomDocumentNode, NestingUpToTheLimitLoadsWritesAndDescribes) {
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, Nested(varn::platform::kMaxXmlDepth)), 0u);
    unsigned int status = 1;
    std::string written = WriteText(doc, &status);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(written, Nested(varn::platform::kMaxXmlDepth));
    EXPECT_FALSE(Utf8(doc->Description()).empty());
}

TEST(CUXmlDomDocumentNode, HundredThousandAttributesLoadAndWriteBack) {
    constexpr int kCount = 100000;
    std::string text = "<r";
    for (int i = 0; i < kCount; ++i) {
        text += " a" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
    }
    text += "/>";
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, text), 0u);
    CUSharedPtr<CUXmlDomNode> root = doc->GetChildNodes()->ObjectAtIndex(0);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->GetAttributes()->Count(), static_cast<unsigned long>(kCount));
    EXPECT_EQ(Utf8(root->GetAttribute(Str("a99999"))), "99999");
    unsigned int status = 1;
    std::string written = WriteText(doc, &status);
    EXPECT_EQ(status, 0u);
    auto again = NewDoc();
    ASSERT_EQ(LoadText(again, written), 0u);
    EXPECT_EQ(Utf8(again->Description()), Utf8(doc->Description()));
}

TEST(CUXmlDomDocumentNode, LeadingZeroWidthNoBreakSpaceIsContent) {
    // U+FEFF inside a document is a character like any other, not a byte-order mark to drop.
    std::string const mark = "\xEF\xBB\xBF";
    std::string source = "<r a=\"" + mark + "v\"><f>" + mark + "t</f><g>" + mark + "</g></r>";
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, source), 0u);
    CUSharedPtr<CUXmlDomNode> root = doc->GetChildNodes()->ObjectAtIndex(0);
    ASSERT_TRUE(root);
    EXPECT_EQ(Utf8(root->GetAttribute(Str("a"))), mark + "v");
    EXPECT_EQ(Utf8(Child(Child(root, 0), 0)->GetNodeValue()), mark + "t");
    EXPECT_EQ(Utf8(Child(Child(root, 1), 0)->GetNodeValue()), mark);
    unsigned int status = 1;
    EXPECT_EQ(WriteText(doc, &status), source);
    EXPECT_EQ(status, 0u);
}
