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

// Loaded, written in one call to the stream and loaded again, each gives the same tree; those
// written in the source's own form give back the very text.
TEST(CUXmlDomDocumentNode, LargeDeepAndOddDocumentsWriteBackToTheSameTree) {
    std::string many = "<r>", attributes = "<r";
    for (int i = 0; i < 5000; ++i) { // enough text and nodes to grow the writer's block often
        many += "<i n=\"" + std::to_string(i) + "\" s=\"a&amp;b\">x &lt; " + std::to_string(i) +
                " \xC3\xA9</i>";
    }
    for (int i = 100000; i < 200000; ++i) { // names of one length: key order is this order
        attributes += " a" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
    }
    std::string const mark = "\xEF\xBB\xBF"; // U+FEFF inside a document is content, not a mark
    struct Row {
        char const* what;
        std::string text;
        bool exact;
    } const rows[] = {
        {"nesting up to the limit", Nested(varn::platform::kMaxXmlDepth), true},
        {"a hundred thousand attributes", attributes + "></r>", true},
        {"five thousand elements", many + "</r>", true},
        {"zero-width no-break spaces",
         "<r a=\"" + mark + "v\"><f>" + mark + "t</f><g>" + mark + "</g></r>", true},
        {"blanks as references", "<r><a>&#32;</a><b>a &amp;&#32;&#10;&amp; b</b></r>", true},
        {"declaration, references, blanks between markup, a PI, characters beyond the BMP",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r k=\"tab&#9;nl&#10;&lt;&quot;'\" a=\"\">\n"
         "  <e>a &lt; b<f/> c&#32;&amp;</e>\n  <?pi data ?>\n  "
         "<g>\xC3\xA9\xF0\x9F\x98\x80</g>\n</r>",
         false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        auto doc = NewDoc();
        ASSERT_EQ(LoadText(doc, row.text), 0u);
        CUSharedPtr<BufferStream> out(new BufferStream());
        ASSERT_EQ(doc->WriteXml(out), 0u);
        EXPECT_EQ(out->writeCalls, 1);
        if (row.exact) {
            EXPECT_EQ(out->Bytes(), row.text);
        }
        auto again = NewDoc();
        ASSERT_EQ(LoadText(again, out->Bytes()), 0u);
        EXPECT_EQ(Utf8(again->Description()), Utf8(doc->Description()));
    }
}
