// CUXmlDomDocumentNodeTest.cpp — the strict load, the merging pass, the writer's output and
// refusals, and the library's own streams and faulty ones.
#include "XmlTestSupport.h"
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <gtest/gtest.h>

#include <functional>

namespace {

CUSharedPtr<CUXmlDomNode> Text(char const* text) {
    return CUXmlDomDocumentNode::CreateTextNode(Str(text));
}
CUSharedPtr<CUXmlDomNode> Ref(char const* name) {
    return CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(Str(name));
}
CUSharedPtr<CUXmlDomNode> Element(std::string const& name) {
    return CUXmlDomDocumentNode::CreateElementNode(Str(name));
}
CUSharedPtr<CUXmlDomNode> Pi(char const* target, char const* data) {
    return CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str(target), Str(data));
}
CUSharedPtr<CUXmlDomNode> Units(std::u16string const& units) {
    return CUXmlDomDocumentNode::CreateTextNode(CUSharedPtr<CUStringMac>(
        new CUStringMac(reinterpret_cast<unsigned short*>(const_cast<char16_t*>(units.data())),
                        static_cast<unsigned int>(units.size() * 2))));
}
template <typename... Nodes> void Add(CUXmlDomNode& parent, Nodes const&... nodes) {
    (parent.GetChildNodes()->AddObject(nodes), ...);
}

} // namespace

TEST(CUXmlDomDocumentNode, StrictLoadBuildsTheModelAndKeepsOnlyTopLevelNodesBeforeAFailure) {
    // Nodes are built while the document is read: after a failure the top-level nodes before
    // it stay, the element it happened in does not, and a malformed document keeps nothing.
    std::string utf16("\xFF\xFE", 2);
    for (char c : std::string("<a>x</a>")) {
        utf16 += {c, '\0'};
    }
    struct Row {
        std::string text;
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
        {utf16, "a['x']"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a v='\xE9'>\xFC</a>",
         "?xml:version='1.0' encoding='ISO-8859-1' a(v=\xC3\xA9)['\xC3\xBC']"},
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

TEST(CUXmlDomDocumentNode, MergeJoinsTextAndPredefinedEntitiesAtTheFirstPieceOrFails) {
    auto b = Element("b");
    CUSharedPtr<CUMutableArray> list(new CUMutableArray());
    for (auto const& node : {b, Text("a "), Ref("lt"), Ref("gt"), Ref("amp"), Ref("quot"),
                             Ref("apos"), Element("c"), Text(" z")}) {
        list->AddObject(node);
    }
    list->AddObject(nullptr);
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list), 0u);
    ASSERT_EQ(list->Count(), 4u);
    EXPECT_EQ(CUSharedPtr<CUXmlDomNode>(list->ObjectAtIndex(0)).get(), b.get());
    CUSharedPtr<CUXmlDomNode> merged = list->ObjectAtIndex(1);
    EXPECT_EQ(Utf8(merged->GetNodeValue()), "a <>&\"' z");
    EXPECT_FALSE(list->ObjectAtIndex(3));

    // An unknown entity: the text and the known references go, the unknown one stays first.
    auto unknown = Ref("nbsp");
    list->RemoveAllObjects();
    for (auto const& node : {Text("a"), unknown, Ref("lt"), Text("b"), Element("e")}) {
        list->AddObject(node);
    }
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list),
              kCUStatusFailure);
    ASSERT_EQ(list->Count(), 2u);
    EXPECT_EQ(CUSharedPtr<CUXmlDomNode>(list->ObjectAtIndex(0)).get(), unknown.get());
}

// A node that cannot be written leaves no bytes; the last child's status is its parent's, so an
// earlier failure is only left out. A failed document reaches the stream not at all.
TEST(CUXmlDomDocumentNode, WriteXmlWritesWhatLoadsAgainAndRefusesTheRest) {
    // An element left out of the text: its last child (an entity reference) fails it.
    auto dropped = [&](CUSharedPtr<CUXmlDomNode> bad) {
        auto d = Element("d");
        Add(*d, bad, Ref("e"));
        return d;
    };
    auto onlyReference = Element("bad");
    Add(*onlyReference, Ref("amp"));
    auto bare = CUSharedPtr<CUXmlDomNode>(new CUXmlDomNode());
    bare->SetNodeName(Str("n"));
    auto piNoData = CUSharedPtr<CUXmlDomNode>(new CUXmlDomProcessingInstructionNode());
    piNoData->SetNodeName(Str("p"));
    unsigned int const kFailed = kCUStatusXmlWriteFailed;
    struct Case {
        char const* name;
        std::function<void(CUXmlDomNode& doc, CUXmlDomNode& r)> build; // r: the root element
        unsigned int status;
        char const* written;
    } const cases[] = {
        {"U+0001 in text", [&](auto&, auto& r) { Add(r, Units(u"a\x01")); }, kFailed, ""},
        {"U+FFFE in text", [&](auto&, auto& r) { Add(r, Units(u"\xFFFE")); }, kFailed, ""},
        {"U+0001 in an attribute value",
         [&](auto&, auto& r) { r.SetAttribute(Str("k"), Str("\x01")); }, kFailed, ""},
        {"?> in PI data", [&](auto&, auto& r) { Add(r, Pi("p", "a?>b")); }, kFailed, ""},
        {"PI target not a name", [&](auto&, auto& r) { Add(r, Pi("p q", "d")); }, kFailed, ""},
        {"element name starting with a digit", [&](auto&, auto& r) { Add(r, Element("1a")); },
         kFailed, ""},
        {"element name with a blank", [&](auto&, auto& r) { Add(r, Element("a b")); }, kFailed, ""},
        {"element name with a symbol beyond ASCII",
         [&](auto&, auto& r) { Add(r, Element("a\xE2\x82\xAC")); }, kFailed, ""},
        {"attribute name not a name",
         [&](auto&, auto& r) { r.SetAttribute(Str("k=\"1\""), Str("v")); }, kFailed, ""},
        {"lone surrogate", [&](auto&, auto& r) { Add(r, Units(u"a\xD800")); }, kFailed, ""},
        {"bare node", [&](auto&, auto& r) { Add(r, bare); }, kFailed, ""},
        {"text without value",
         [&](auto&, auto& r) { Add(r, CUSharedPtr<CUXmlDomNode>(new CUXmlDomTextNode())); },
         kFailed, ""},
        {"PI without data", [&](auto&, auto& r) { Add(r, piNoData); }, kFailed, ""},
        {"element without name",
         [&](auto&, auto& r) { Add(r, CUSharedPtr<CUXmlDomNode>(new CUXmlDomElementNode())); },
         kFailed, ""},
        {"entity reference last", [&](auto&, auto& r) { Add(r, Text("t"), Ref("amp")); }, kFailed,
         ""},
        {"a child that is not a node is skipped",
         [&](auto&, auto& r) { Add(r, Ref("x"), Str("not a node")); }, kFailed, ""},
        {"a later child masks an entity reference",
         [&](auto&, auto& r) { Add(r, Ref("amp"), Text("t")); }, 0, "<r>t</r>"},
        {"element holding only an entity reference left out",
         [&](auto&, auto& r) { Add(r, onlyReference, Element("ok")); }, 0, "<r><ok></ok></r>"},
        {"lone surrogate in a subtree left out",
         [&](auto&, auto& r) { Add(r, dropped(Units(u"\xD800")), Text("ok")); }, 0, "<r>ok</r>"},
        {"U+0001 and a bad name in a subtree left out",
         [&](auto&, auto& r) {
             Add(r, dropped(Units(u"\x01")), dropped(Element("1a")), Text("ok"));
         },
         0, "<r>ok</r>"},
        {"declaration, attributes in key order without null values, escaped text",
         [&](auto& doc, auto& r) {
             doc.GetChildNodes()->InsertObjectAtIndex(Pi("xml", "version=\"1.0\""), 0);
             r.SetAttribute(Str("z"), Str("1"));
             r.SetAttribute(Str("a"), Str("x\"<&"));
             r.SetAttribute(Str("gone"), nullptr);
             Add(r, Element("e"), Text("a<b>&c"));
         },
         0, "<?xml version=\"1.0\"?><r a=\"x&quot;&lt;&amp;\" z=\"1\"><e></e>a&lt;b&gt;&amp;c</r>"},
        {"carriage return written as a reference, which every reader keeps",
         [&](auto&, auto& r) { Add(r, Units(u"a\r\nb")); }, 0, "<r>a&#13;\nb</r>"},
        {"blanks between escapes written as references",
         [&](auto&, auto& r) { Add(r, Element("a"), Text(" "), Element("b"), Text("a & \n& b")); },
         0, "<r><a></a>&#32;<b></b>a &amp;&#32;&#10;&amp; b</r>"},
        {"names and text beyond ASCII, blanks, controls XML allows",
         [&](auto&, auto& r) {
             Add(r, Element("\xC3\xA9:x-1.y"), Units(u"\t\u00e9\n\U0001F600"), Pi("p", "a?b>"));
         },
         0, "<r><\xC3\xA9:x-1.y></\xC3\xA9:x-1.y>\t\xC3\xA9\n\xF0\x9F\x98\x80<?p a?b>?></r>"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = NewDoc();
        auto root = Element("r");
        Add(*doc, root);
        c.build(*doc, *root);
        CUSharedPtr<BufferStream> stream(new BufferStream());
        EXPECT_EQ(doc->WriteXml(stream), c.status);
        EXPECT_EQ(stream->Bytes(), c.written);
        EXPECT_EQ(stream->writeCalls, c.status == 0 ? 1 : 0);
        if (c.status == 0) {
            auto again = NewDoc();
            EXPECT_EQ(LoadText(again, stream->Bytes()), 0u);
        }
    }
}

TEST(CUXmlDomDocumentNode, ShortStreamsNullStreamsAndNullListsFail) {
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
    Add(*doc, Element("a"));
    CUSharedPtr<BufferStream> stream(new BufferStream());
    stream->acceptLimit = 3;
    EXPECT_EQ(doc->WriteXml(stream), kCUStatusXmlWriteFailed);
    EXPECT_EQ(doc->LoadXml(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->LoadXmlMac(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->WriteXml(nullptr), kCUStatusFailure);
    EXPECT_EQ(doc->WriteXmlMac(nullptr), kCUStatusFailure);
    EXPECT_EQ(CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(nullptr),
              kCUStatusFailure);
}

TEST(CUXmlDomDocumentNode, WritesToAndLoadsFromAFileStream) {
    varn::test::TempFolder folder;
    auto source = NewDoc();
    ASSERT_EQ(LoadText(source, "<?xml version=\"1.0\"?><r a=\"1\">x &lt; y<e/></r>"), 0u);
    CUSharedPtr<CUStringMac> name = Str(folder.File("doc.xml"));
    CUSharedPtr<CUFileStream> file(
        new CUFileStream(name, CUStream_FileMode_Create, CUStream_FileAccess_ReadWrite, false));
    char head[] = "<!-- not ours -->";
    file->Write(reinterpret_cast<unsigned char*>(head), sizeof head - 1, 0,
                CUStream_Seek_Origin_Begin);
    ASSERT_EQ(source->WriteXml(file), 0u);
    // The comment written first now makes the file unloadable: proof the document went after
    // it, and that loading reads from the first byte.
    EXPECT_EQ(NewDoc()->LoadXml(file), kCUStatusFailure);
    file->SetLength(0);
    file->SetPosition(0);
    ASSERT_EQ(source->WriteXml(file), 0u);
    auto again = NewDoc();
    ASSERT_EQ(again->LoadXml(file), 0u);
    EXPECT_EQ(Utf8(again->Description()), Utf8(source->Description()));
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
