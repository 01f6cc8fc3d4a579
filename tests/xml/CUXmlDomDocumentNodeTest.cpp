// The merging pass, the writer, and the library's own and faulty streams.
#include "XmlTestSupport.h"
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

CUSharedPtr<CUXmlDomNode> Pi(char const* target, char const* data) {
    return CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str(target), Str(data));
}
CUSharedPtr<CUXmlDomNode> Units(std::u16string const& units) {
    return CUXmlDomDocumentNode::CreateTextNode(CUSharedPtr<CUStringMac>(
        new CUStringMac(reinterpret_cast<unsigned short*>(const_cast<char16_t*>(units.data())),
                        static_cast<unsigned int>(units.size() * 2))));
}
} // namespace

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
    CUSharedPtr<CUXmlDomNode> textNoValue(new CUXmlDomTextNode());
    CUSharedPtr<CUXmlDomNode> elementNoName(new CUXmlDomElementNode());
    struct Case {
        char const* name;
        std::vector<CUSharedPtr<CUXmlDomNode>> children; // of the root element <r>
        char const* written;                             // null: refused
    } const cases[] = {
        {"U+0001 in text", {Units(u"a\x01")}, nullptr},
        {"U+FFFE in text", {Units(u"\xFFFE")}, nullptr},
        {"U+0001 in an attribute value", {Element("e", {{"k", "\x01"}})}, nullptr},
        {"?> in PI data", {Pi("p", "a?>b")}, nullptr},
        {"PI target not a name", {Pi("p q", "d")}, nullptr},
        {"element name starting with a digit", {Element("1a")}, nullptr},
        {"element name with a blank", {Element("a b")}, nullptr},
        {"element name with a symbol beyond ASCII", {Element("a\xE2\x82\xAC")}, nullptr},
        {"attribute name not a name", {Element("e", {{"k=\"1\"", "v"}})}, nullptr},
        {"lone surrogate", {Units(u"a\xD800")}, nullptr},
        {"bare node", {bare}, nullptr},
        {"text without value", {textNoValue}, nullptr},
        {"PI without data", {piNoData}, nullptr},
        {"element without name", {elementNoName}, nullptr},
        {"entity reference last", {Text("t"), Ref("amp")}, nullptr},
        {"a child that is not a node is skipped", {Ref("x"), nullptr}, nullptr},
        {"a later child masks an entity reference", {Ref("amp"), Text("t")}, "<r>t</r>"},
        {"element holding only an entity reference left out",
         {onlyReference, Element("ok")},
         "<r><ok></ok></r>"},
        {"lone surrogate in a subtree left out",
         {dropped(Units(u"\xD800")), Text("ok")},
         "<r>ok</r>"},
        {"U+0001 and a bad name in a subtree left out",
         {dropped(Units(u"\x01")), dropped(Element("1a")), Text("ok")},
         "<r>ok</r>"},
        {"attributes in key order without null values, escaped text",
         {Element("e", {{"z", "1"}, {"a", "x\"<&"}, {"gone", nullptr}}), Text("a<b>&c")},
         "<r><e a=\"x&quot;&lt;&amp;\" z=\"1\"></e>a&lt;b&gt;&amp;c</r>"},
        {"carriage return written as a reference, which every reader keeps",
         {Units(u"a\r\nb")},
         "<r>a&#13;\nb</r>"},
        {"blanks between escapes written as references",
         {Element("a"), Text(" "), Element("b"), Text("a & \n& b")},
         "<r><a></a>&#32;<b></b>a &amp;&#32;&#10;&amp; b</r>"},
        {"names and text beyond ASCII, blanks, controls XML allows",
         {Element("\xC3\xA9:x-1.y"), Units(u"\t\u00e9\n\U0001F600"), Pi("p", "a?b>")},
         "<r><\xC3\xA9:x-1.y></\xC3\xA9:x-1.y>\t\xC3\xA9\n\xF0\x9F\x98\x80<?p a?b>?></r>"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = NewDoc();
        auto root = Element("r");
        Add(*doc, root);
        for (auto const& child : c.children) {
            // A null entry stands for a child that is not a node.
            root->GetChildNodes()->AddObject(child ? CUSharedPtr<CUObject>(child)
                                                   : CUSharedPtr<CUObject>(Str("not a node")));
        }
        CUSharedPtr<BufferStream> stream(new BufferStream());
        EXPECT_EQ(doc->WriteXml(stream), c.written != nullptr ? 0u : kCUStatusXmlWriteFailed);
        EXPECT_EQ(stream->Bytes(), c.written != nullptr ? c.written : "");
        EXPECT_EQ(stream->writeCalls, c.written != nullptr ? 1 : 0);
        if (c.written != nullptr) {
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
    // 1.6 MB: past the size whose release gives memory back.
    std::string const text = "<a>" + Repeat(200000, "<b/><b/>") + "<c>kept</c></a>";
    CUSharedPtr<CUXmlDomDocumentNode> doc = NewDoc();
    ASSERT_EQ(0u, LoadText(doc, text));
    CUSharedPtr<CUMutableArray> list = doc->GetChildNodes();
    CUSharedPtr<CUXmlDomNode> last = Child(Child(doc, 0), 400000);
    doc.Reset();
    ASSERT_EQ(1u, list->Count()) << "the document's list, held here, keeps its root";
    EXPECT_EQ(400001u, CUSharedPtr<CUXmlDomNode>(list->ObjectAtIndex(0))->GetChildNodes()->Count());
    EXPECT_EQ("kept", Utf8(Child(last, 0)->GetNodeValue()));
}
