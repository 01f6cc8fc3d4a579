// Documents built to hurt a loader, and large or odd ones that must write back unchanged.
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

std::string Nested(std::size_t depth) {
    return Repeat(static_cast<int>(depth), "<e>") + Repeat(static_cast<int>(depth), "</e>");
}

} // namespace

TEST(CUXmlDomDocumentNode, HostileDocumentsAreRefusedWithinBoundedMemoryAndAddNothing) {
    // Ten levels of ten references each: 10^9 copies of "xxx" if expanded.
    std::string const laughs = EntityChain(10, 10, 3);
    std::string const quadratic = "<!DOCTYPE r [<!ENTITY b \"" + std::string(50000, 'x') +
                                  "\">]><r a=\"" + Repeat(20000, "&b;") + "\"/>";
    std::string const duplicate =
        "<r" + Repeat(20000, [](int i) { return " a" + std::to_string(i) + "=\"\""; }) +
        " a777=\"again\"/>";
    struct Row {
        char const* what;
        std::string text;
    } const rows[] = {
        {"expansion bomb in content", laughs + "<a>&e9;</a>"},
        {"expansion bomb in an attribute", laughs + "<a t=\"&e9;\"/>"},
        {"one large entity referenced many times", quadratic},
        {"nesting one past the limit", Nested(varn::platform::kMaxXmlDepth + 1)},
        {"a million start tags", Repeat(1000000, "<e>")}, // refused at the limit, not at the end
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
    // Enough text and nodes to grow the writer's block many times.
    std::string const many = Repeat(5000, [](int i) {
        return "<i n=\"" + std::to_string(i) + "\" s=\"a&amp;b\">x &lt; " + std::to_string(i) +
               " \xC3\xA9</i>";
    });
    // Names of one length: their key order is this order.
    std::string const attributes = Repeat(100000, [](int i) {
        return " a" + std::to_string(100000 + i) + "=\"" + std::to_string(100000 + i) + "\"";
    });
    std::string const mark = "\xEF\xBB\xBF"; // U+FEFF inside a document is content, not a mark
    struct Row {
        char const* what;
        std::string text;
        bool exact;
    } const rows[] = {
        {"nesting up to the limit", Nested(varn::platform::kMaxXmlDepth), true},
        {"a hundred thousand attributes", "<r" + attributes + "></r>", true},
        {"five thousand elements", "<r>" + many + "</r>", true},
        {"zero-width no-break spaces",
         "<r a=\"" + mark + "v\"><f>" + mark + "t</f><g>" + mark + "</g></r>", true},
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
