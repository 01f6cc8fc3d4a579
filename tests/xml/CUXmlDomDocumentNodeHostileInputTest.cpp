// CUXmlDomDocumentNodeHostileInputTest.cpp — documents built to hurt a loader: entity
// expansion bombs, nesting far past the limit, elements with huge numbers of attributes, and
// text that a careless conversion would change.
#include "XmlTestSupport.h"

#include "platform/XmlParser.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <string>

namespace {

CUSharedPtr<CUXmlDomDocumentNode> NewDoc() {
    return CUSharedPtr<CUXmlDomDocumentNode>(new CUXmlDomDocumentNode());
}

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

TEST(CUXmlDomDocumentNode, EntityExpansionBombInContentIsRefusedWithoutExpanding) {
    long before = PeakKiB();
    std::string bomb = LaughsDeclarations() + "<r>&l9;</r>";
    auto doc = NewDoc();
    EXPECT_NE(LoadText(doc, bomb), 0u); // a document type declaration fails the load
    // The reader hands the reference on as a reference: nothing was expanded.
    varn::platform::XmlParseResult parsed = varn::platform::ParseXml(bomb.data(), bomb.size());
    if (parsed.ok) {
        ASSERT_FALSE(parsed.topLevel.empty());
        varn::platform::XmlPiece const& root = parsed.topLevel.back();
        for (auto const& child : root.children) {
            EXPECT_LT(child.value.size(), bomb.size());
        }
    }
    EXPECT_LT(PeakKiB() - before, kMemoryBoundKiB);
}

TEST(CUXmlDomDocumentNode, EntityExpansionBombInAnAttributeIsStoppedByTheReader) {
    long before = PeakKiB();
    std::string bomb = LaughsDeclarations() + "<r a=\"&l9;\"/>";
    auto doc = NewDoc();
    EXPECT_NE(LoadText(doc, bomb), 0u);
    EXPECT_EQ(doc->GetChildNodes()->Count(), 0u);
    // Attribute values are expanded by the reader, whose amplification limit stops this one.
    varn::platform::XmlParseResult parsed = varn::platform::ParseXml(bomb.data(), bomb.size());
    EXPECT_FALSE(parsed.ok);
    EXPECT_NE(parsed.error.find("amplification"), std::string::npos) << parsed.error;
    EXPECT_LT(PeakKiB() - before, kMemoryBoundKiB);
}

TEST(CUXmlDomDocumentNode, QuadraticBlowupEntityIsRefused) {
    // One large entity referenced many times: linear declarations, quadratic expansion.
    long before = PeakKiB();
    std::string big(50000, 'x');
    std::string doc = "<!DOCTYPE r [<!ENTITY b \"" + big + "\">]><r a=\"";
    for (int i = 0; i < 20000; ++i) {
        doc += "&b;";
    }
    doc += "\"/>";
    auto loaded = NewDoc();
    EXPECT_NE(LoadText(loaded, doc), 0u);
    EXPECT_FALSE(varn::platform::ParseXml(doc.data(), doc.size()).ok);
    EXPECT_LT(PeakKiB() - before, kMemoryBoundKiB + 8 * 1024);
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

TEST(CUXmlDomDocumentNode, NestingPastTheLimitFailsAndAddsNothing) {
    auto doc = NewDoc();
    EXPECT_NE(LoadText(doc, Nested(varn::platform::kMaxXmlDepth + 1)), 0u);
    EXPECT_EQ(doc->GetChildNodes()->Count(), 0u);
}

TEST(CUXmlDomDocumentNode, MillionOpenElementsFailWithoutExhaustingTheStack) {
    // Only start tags: the reader refuses at the limit long before the end of the text, and
    // nothing recursive runs over the depth of the text.
    std::string text;
    for (int i = 0; i < 1000000; ++i) {
        text += "<e>";
    }
    auto doc = NewDoc();
    EXPECT_NE(LoadText(doc, text), 0u);
    EXPECT_EQ(doc->GetChildNodes()->Count(), 0u);
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

TEST(CUXmlDomDocumentNode, DuplicateAmongManyAttributesFails) {
    std::string text = "<r";
    for (int i = 0; i < 20000; ++i) {
        text += " a" + std::to_string(i) + "=\"\"";
    }
    text += " a777=\"again\"/>";
    auto doc = NewDoc();
    EXPECT_NE(LoadText(doc, text), 0u);
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
