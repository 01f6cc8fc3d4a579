// CUXmlDomDocumentNodeTest.cpp — loading, the merging pass and writing of documents.
#include "XmlTestSupport.h"

#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CUMemoryStream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

namespace {

// The document's children, skipping the declaration when present.
CUSharedPtr<CUXmlDomNode> RootOf(CUSharedPtr<CUXmlDomDocumentNode> const& doc) {
    auto list = doc->GetChildNodes();
    for (unsigned long i = 0; i < list->Count(); ++i) {
        CUSharedPtr<CUXmlDomNode> node = list->ObjectAtIndex(i);
        if (node && node->GetNodeType() == CUXmlDomNodeType_Element) {
            return node;
        }
    }
    return {};
}

CUSharedPtr<CUMutableArray> ListOf(std::initializer_list<CUSharedPtr<CUXmlDomNode>> nodes) {
    CUSharedPtr<CUMutableArray> list(new CUMutableArray());
    for (auto const& node : nodes) {
        list->AddObject(node);
    }
    return list;
}

CUSharedPtr<CUXmlDomNode> Text(char const* text) {
    return CUXmlDomDocumentNode::CreateTextNode(Str(text));
}
CUSharedPtr<CUXmlDomNode> Ref(char const* name) {
    return CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(Str(name));
}
CUSharedPtr<CUXmlDomNode> Element(char const* name) {
    return CUXmlDomDocumentNode::CreateElementNode(Str(name));
}

} // namespace

// ---- loading ----

TEST(CUXmlDomDocumentNode, StrictLoadBuildsTheModelAndKeepsOnlyTopLevelNodesBeforeAFailure) {
    // Nodes are built while the document is read: after a failure the top-level nodes before
    // it stay, the element it happened in does not, and a malformed document keeps nothing.
    struct Row {
        char const* text;
        char const* outcome;
    } const rows[] = {
        {"", "!"},
        {"just text", "!"},
        {"<a><b></a>", "!"},
        {"<?xml version=\"1.0\"?>\n<r b=\"2\" a=\"x &amp; &#60;\"><?pi some data?><e/></r>",
         "?xml:version=\"1.0\" r(a=x & <,b=2)[?pi:some data e]"},
        {"<a>\n  <b/>\n\t<c> </c>\r\n</a>", "a[b c]"},
        {"<a>x &amp;&quot; y</a>", "a['x &\" y']"},
        {"<a>1<b>in</b>2</a>", "a['12' b['in']]"},
        {"<a><x/>a &lt; b<c/>c</a>", "a[x 'a < bc' c]"},
        {"<?xml version=\"1.0\"?><a>x&foo;y</a>", "!?xml:version=\"1.0\""},
        {"<?xml version=\"1.0\"?><a><b/><!-- c --></a>", "!?xml:version=\"1.0\""},
        {"<a><![CDATA[x]]></a>", "!"},
        {"<?p d?><!DOCTYPE a><a/>", "!?p:d"},
        {"<a/><!-- end -->", "!a"},
        {"<?a 1?><?b 2?><r><x>t</x><y>&foo;</y><z/></r><?c 3?>", "!?a:1 ?b:2"},
        {"<?a 1?><r><x>t</x></r><bad", "!"},
        {"<?a 1?><r><!-- c --></r><bad", "!"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.outcome, StrictOutcome(row.text)) << row.text;
    }
}

TEST(CUXmlDomDocumentNode, LargeDocumentWritesAndLoadsBack) {
    // Enough text and nodes to grow the writer's block many times.
    std::string text = "<r>";
    for (int i = 0; i < 5000; ++i) {
        text += "<i n=\"" + std::to_string(i) + "\" s=\"a&amp;b\">x &lt; " + std::to_string(i) +
                " \xC3\xA9</i>";
    }
    text += "</r>";
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, text), 0u);
    CUSharedPtr<BufferStream> out(new BufferStream());
    ASSERT_EQ(doc->WriteXml(out), 0u);
    EXPECT_EQ(out->writeCalls, 1);
    auto again = NewDoc();
    ASSERT_EQ(LoadText(again, out->Bytes()), 0u);
    EXPECT_EQ(Utf8(again->Description()), Utf8(doc->Description()));
    CUSharedPtr<CUXmlDomNode> last = Child(RootOf(again), 4999);
    EXPECT_EQ(Utf8(Child(last, 0)->GetNodeValue()), "x < 4999 \xC3\xA9");
}

TEST(CUXmlDomDocumentNode, ShortReadFails) {
    // A stream that hands back one byte less than asked for.
    class ShortStream : public BufferStream {
      public:
        using BufferStream::BufferStream;
        unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                                CUStream_Seek_Origin origin) override {
            return BufferStream::Read(out, count > 1 ? count - 1 : count, offset, origin);
        }
    };
    auto doc = NewDoc();
    EXPECT_EQ(doc->LoadXml(CUSharedPtr<CUStream>(new ShortStream("<a>x</a>"))), kCUStatusFailure);
    EXPECT_EQ(doc->GetChildNodes()->Count(), 0u);
}

TEST(CUXmlDomDocumentNode, ReadsUtf16AndDeclaredEncodings) {
    std::string utf16("\xFF\xFE", 2);
    for (char c : std::string("<a>x</a>")) {
        utf16 += c;
        utf16 += '\0';
    }
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, utf16), 0u);
    EXPECT_EQ(Utf8(Child(RootOf(doc), 0)->GetNodeValue()), "x");

    auto latin = NewDoc();
    ASSERT_EQ(LoadText(latin, "<?xml version='1.0' encoding='ISO-8859-1'?><a v='\xE9'>\xFC</a>"),
              0u);
    EXPECT_EQ(Utf8(Child(RootOf(latin), 0)->GetNodeValue()), "\xC3\xBC");
    EXPECT_EQ(Utf8(RootOf(latin)->GetAttribute(Str("v"))), "\xC3\xA9");

    auto ascii = NewDoc();
    EXPECT_EQ(LoadText(ascii, "<?xml version='1.0' encoding='US-ASCII'?><a>\xE9</a>"),
              kCUStatusFailure);
}

// ---- merging pass ----

TEST(CUXmlDomDocumentNode, MergeInsertsJoinedTextAtTheFirstPiece) {
    auto b = Element("b");
    auto list = ListOf({b, Text("a "), Ref("lt"), Ref("gt"), Ref("amp"), Ref("quot"), Ref("apos"),
                        Element("c"), Text(" z")});
    list->AddObject(nullptr);
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list), 0u);
    ASSERT_EQ(list->Count(), 4u);
    CUSharedPtr<CUXmlDomNode> first = list->ObjectAtIndex(0);
    EXPECT_EQ(first.get(), b.get());
    CUSharedPtr<CUXmlDomNode> merged = list->ObjectAtIndex(1);
    EXPECT_EQ(Utf8(merged->GetNodeValue()), "a <>&\"' z");
    EXPECT_FALSE(list->ObjectAtIndex(3));
}

TEST(CUXmlDomDocumentNode, MergeWithUnknownEntityDropsTextAndFails) {
    auto unknown = Ref("nbsp");
    auto list = ListOf({Text("a"), unknown, Ref("lt"), Text("b"), Element("e")});
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list),
              kCUStatusFailure);
    ASSERT_EQ(list->Count(), 2u);
    EXPECT_EQ(CUSharedPtr<CUXmlDomNode>(list->ObjectAtIndex(0)).get(), unknown.get());
}

// ---- writing ----

TEST(CUXmlDomDocumentNode, WritesTagsAttributesInKeyOrderAndEscapedText) {
    auto doc = NewDoc();
    doc->GetChildNodes()->AddObject(
        CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str("xml"), Str("version=\"1.0\"")));
    auto r = Element("r");
    r->SetAttribute(Str("z"), Str("1"));
    r->SetAttribute(Str("a"), Str("x\"<&"));
    r->SetAttribute(Str("gone"), nullptr);
    r->GetChildNodes()->AddObject(Element("e"));
    r->GetChildNodes()->AddObject(Text("a<b>&c"));
    doc->GetChildNodes()->AddObject(r);
    unsigned int status = 1;
    EXPECT_EQ(WriteText(doc, &status), "<?xml version=\"1.0\"?><r a=\"x&quot;&lt;&amp;\" z=\"1\">"
                                       "<e></e>a&lt;b&gt;&amp;c</r>");
    EXPECT_EQ(status, 0u);
}

TEST(CUXmlDomDocumentNode, ElementWithOnlyAnEntityReferenceIsLeftOut) {
    auto doc = NewDoc();
    auto r = Element("r");
    auto bad = Element("bad");
    bad->GetChildNodes()->AddObject(Ref("amp"));
    r->GetChildNodes()->AddObject(bad);
    r->GetChildNodes()->AddObject(Element("ok"));
    doc->GetChildNodes()->AddObject(r);
    unsigned int status = 1;
    EXPECT_EQ(WriteText(doc, &status), "<r><ok></ok></r>");
    EXPECT_EQ(status, 0u);
}

TEST(CUXmlDomDocumentNode, LaterChildMasksAnEarlierFailure) {
    auto doc = NewDoc();
    auto r = Element("r");
    r->GetChildNodes()->AddObject(Ref("amp"));
    r->GetChildNodes()->AddObject(Text("t"));
    doc->GetChildNodes()->AddObject(r);
    unsigned int status = 1;
    EXPECT_EQ(WriteText(doc, &status), "<r>t</r>");
    EXPECT_EQ(status, 0u);

    // The other way round the last child fails, and so does the whole document.
    auto doc2 = NewDoc();
    auto r2 = Element("r");
    r2->GetChildNodes()->AddObject(Text("t"));
    r2->GetChildNodes()->AddObject(Ref("amp"));
    doc2->GetChildNodes()->AddObject(r2);
    CUSharedPtr<BufferStream> stream(new BufferStream());
    EXPECT_EQ(doc2->WriteXml(stream), kCUStatusXmlWriteFailed);
    EXPECT_EQ(stream->writeCalls, 0);
}

TEST(CUXmlDomDocumentNode, UnwritableNodesFailWith0x10005) {
    struct Case {
        char const* what;
        CUSharedPtr<CUXmlDomNode> node;
    };
    auto bare = CUSharedPtr<CUXmlDomNode>(new CUXmlDomNode());
    bare->SetNodeName(Str("n"));
    auto textNoValue = CUSharedPtr<CUXmlDomNode>(new CUXmlDomTextNode());
    auto piNoData = CUSharedPtr<CUXmlDomNode>(new CUXmlDomProcessingInstructionNode());
    piNoData->SetNodeName(Str("p"));
    auto elementNoName = CUSharedPtr<CUXmlDomNode>(new CUXmlDomElementNode());
    for (Case const& c :
         {Case{"bare node", bare}, Case{"text without value", textNoValue},
          Case{"PI without data", piNoData}, Case{"element without name", elementNoName},
          Case{"entity reference", Ref("lt")}}) {
        auto doc = NewDoc();
        doc->GetChildNodes()->AddObject(c.node);
        unsigned int status = 0;
        WriteText(doc, &status);
        EXPECT_EQ(status, kCUStatusXmlWriteFailed) << c.what;
    }
}

TEST(CUXmlDomDocumentNode, NonNodeChildIsSkippedWithoutChangingTheStatus) {
    auto doc = NewDoc();
    auto r = Element("r");
    r->GetChildNodes()->AddObject(Ref("x"));
    r->GetChildNodes()->AddObject(Str("not a node"));
    doc->GetChildNodes()->AddObject(r);
    unsigned int status = 0;
    EXPECT_EQ(WriteText(doc, &status), "");
    EXPECT_EQ(status, kCUStatusXmlWriteFailed);
}

TEST(CUXmlDomDocumentNode, ShortWriteGives0x10005) {
    auto doc = NewDoc();
    doc->GetChildNodes()->AddObject(Element("a"));
    CUSharedPtr<BufferStream> stream(new BufferStream());
    stream->acceptLimit = 3;
    EXPECT_EQ(doc->WriteXml(stream), kCUStatusXmlWriteFailed);
}

TEST(CUXmlDomDocumentNode, UnpairedSurrogateCannotBeWritten) {
    unsigned short units[] = {0x61, 0xD800};
    auto doc = NewDoc();
    auto a = Element("a");
    a->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateTextNode(
        CUSharedPtr<CUStringMac>(new CUStringMac(units, sizeof units))));
    doc->GetChildNodes()->AddObject(a);
    unsigned int status = 0;
    WriteText(doc, &status);
    EXPECT_EQ(status, kCUStatusXmlWriteFailed);
}

TEST(CUXmlDomDocumentNode, WrittenDocumentLoadsBackToTheSameTree) {
    std::string source = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<r k=\"tab&#9;nl&#10;&lt;&quot;'\" a=\"\">\n"
                         "  <e>a &lt; b<f/> c&#32;&amp;</e>\n"
                         "  <?pi data ?>\n"
                         "  <g>\xC3\xA9\xF0\x9F\x98\x80</g>\n"
                         "</r>";
    auto doc = NewDoc();
    ASSERT_EQ(LoadText(doc, source), 0u);
    unsigned int status = 1;
    std::string written = WriteText(doc, &status);
    ASSERT_EQ(status, 0u);
    auto again = NewDoc();
    ASSERT_EQ(LoadText(again, written), 0u) << written;
    EXPECT_EQ(Utf8(again->Description()), Utf8(doc->Description())) << written;
}

// ---- with the library's own streams ----

TEST(CUXmlDomDocumentNode, WritesToAndLoadsFromAFileStream) {
    std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                   ("varn-xml-test-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(folder);
    struct RemoveAtExit {
        std::filesystem::path path;
        ~RemoveAtExit() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    } cleanup{folder};
    std::string path = (folder / "doc.xml").string();
    {
        auto source = NewDoc();
        ASSERT_EQ(LoadText(source, "<?xml version=\"1.0\"?><r a=\"1\">x &lt; y<e/></r>"), 0u);
        CUSharedPtr<CUStringMac> name = Str(path);
        CUSharedPtr<CUFileStream> file(
            new CUFileStream(name, CUStream_FileMode_Create, CUStream_FileAccess_ReadWrite, false));
        char head[] = "<!-- not ours -->";
        file->Write(reinterpret_cast<unsigned char*>(head), sizeof head - 1, 0,
                    CUStream_Seek_Origin_Begin);
        ASSERT_EQ(source->WriteXml(file), 0u);
        // The comment written first now makes the file unloadable: proof the document went
        // after it, and that loading reads from the first byte.
        EXPECT_EQ(NewDoc()->LoadXml(file), kCUStatusFailure);
        file->SetLength(0);
        file->SetPosition(0);
        ASSERT_EQ(source->WriteXml(file), 0u);
        auto again = NewDoc();
        ASSERT_EQ(again->LoadXml(file), 0u);
        EXPECT_EQ(Utf8(again->Description()), Utf8(source->Description()));
    }
}

TEST(CUXmlDomDocumentNode, BlankTextBetweenEscapesSurvivesWriteAndLoad) {
    for (char const* value : {" ", "< >", "a & \n& b"}) {
        auto doc = NewDoc();
        auto a = Element("a");
        a->GetChildNodes()->AddObject(Text(value));
        doc->GetChildNodes()->AddObject(a);
        unsigned int status = 1;
        std::string written = WriteText(doc, &status);
        ASSERT_EQ(status, 0u);
        auto again = NewDoc();
        ASSERT_EQ(LoadText(again, written), 0u) << written;
        EXPECT_EQ(Utf8(again->Description()), Utf8(doc->Description())) << written;
    }
}

TEST(CUXmlDomDocumentNode, NullStreamOrListFails) {
    auto doc = NewDoc();
    EXPECT_EQ(doc->LoadXml(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->LoadXmlMac(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->WriteXml(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->WriteXmlMac(nullptr), kCUStatusFailure);
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(nullptr),
              kCUStatusFailure);
}

TEST(CUXmlDomDocumentNode, ReleasingALargeDocumentLeavesNodesOthersHoldIntact) {
    std::string text = "<a>";
    for (int i = 0; i < 200000; ++i) {
        text += "<b/><b/>"; // 1.6 MB: past the size whose release gives memory back
    }
    text += "<c>kept</c></a>";
    CUSharedPtr<CUXmlDomDocumentNode> doc = NewDoc();
    ASSERT_EQ(0u, LoadText(doc, text));
    CUSharedPtr<CUMutableArray> list = doc->GetChildNodes();
    CUSharedPtr<CUXmlDomNode> last = Child(Child(doc, 0), 400000);
    doc.Reset();
    ASSERT_EQ(1u, list->Count()) << "the document's list, held here, keeps its root";
    EXPECT_EQ(400001u, CUSharedPtr<CUXmlDomNode>(list->ObjectAtIndex(0))->GetChildNodes()->Count());
    EXPECT_EQ("kept", Utf8(Child(last, 0)->GetNodeValue()));
}
