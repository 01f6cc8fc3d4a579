// Loads in both modes (no outside reads), the merging pass, the writer, and faulty streams.
#include "XmlTestSupport.h"
#include "fakes/FileFaults.h"

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

enum Modes { kLenient = 1, kExact = 2, kBoth = 3 };

struct Row {
    char const* name;
    std::string text;
    char const* expected; // ending in "@line:", it stands for any column
    int modes = kLenient;
};

void RunRows(std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        for (bool lenient : {false, true}) {
            if ((row.modes & (lenient ? kLenient : kExact)) == 0) {
                continue;
            }
            std::string const outcome = Outcome(row.text, lenient);
            std::string const expected = row.expected;
            EXPECT_TRUE(expected.ends_with(":") ? outcome.starts_with(expected)
                                                : outcome == expected)
                << row.name << (lenient ? " (lenient): " : ": ") << outcome;
        }
    }
}

} // namespace

// Small documents in, tree or reason and place out: in the lenient load, the exact one (the
// default) or both. Nodes are built while the document is read: after a refusal the top-level
// nodes before it stay, the element it happened in does not, and a malformed document keeps
// nothing.
TEST(CUXmlDomDocumentNode, LoadsGiveTheModelOrWhatARefusalKeptWithReasonAndPlace) {
    // 10 MB from 1.8 kB, refused at the reference.
    std::string const amplifying = EntityChain(3, 100, 1000) + "<a>&e2;</a>";
    std::string const amplified = "!entity expansion more than 100 times the document@1:" +
                                  std::to_string(amplifying.find("<a>") + 4);
    RunRows({
        {"comment dropped, text around it joined", "<a>x<!-- c -->y</a>", "a['xy']"},
        {"comments anywhere", "<!--t--><a><!--c--><b/></a><!--e-->", "a[b]"},
        {"CDATA merged with text and references", "<a>x<![CDATA[<y>&z]]>w &lt; v</a>",
         "a['x<y>&zw < v']"},
        {"blank CDATA kept, as written on purpose", "<a><![CDATA[ ]]><b/></a>", "a[' ' b]"},
        {"text merged across a child, blanks dropped", "<a>1\n  <b/>\n  2</a>",
         "a['1\n  \n  2' b]"},
        {"declaration, document type and PIs", "<?xml version=\"1.0\"?><!DOCTYPE a><?p d?><a/>",
         "?xml:version=\"1.0\" ?p:d a"},
        {"PIs inside the internal subset are not children",
         "<!DOCTYPE a [<?p d?><!ELEMENT a ANY>]><a/>", "a"},
        {"internal entities in text and attributes, nested",
         "<!DOCTYPE a [<!ENTITY e \"E&amp;&f;\"><!ENTITY f \"F\">]><a t=\"&e;\">1&e;2</a>",
         "a(t=E&F)['1E&F2']"},
        {"character reference inside an entity",
         "<!DOCTYPE a [<!ENTITY e \"&#38;#60;\">]><a>&e;</a>", "a['<']"},
        {"blank entity kept", "<!DOCTYPE a [<!ENTITY s \" \">]><a>&s;</a>", "a[' ']"},
        {"first declaration binds", "<!DOCTYPE a [<!ENTITY e \"1\"><!ENTITY e \"2\">]><a>&e;</a>",
         "a['1']"},
        {"external DTD named, internal entity used",
         "<!DOCTYPE a SYSTEM \"a.dtd\" [<!ENTITY e \"E\">]><a>&e;</a>", "a['E']"},
        {"unknown entity with an external DTD", "<!DOCTYPE a SYSTEM \"a.dtd\"><a>\n&foo;</a>",
         "!unknown entity &foo;@2:1"},
        {"unknown entity in an attribute", "<!DOCTYPE a [<!ENTITY e \"E\">]><a t=\"&u;\"/>",
         "!unknown entity &u;@1:31"},
        {"declared after an unread parameter entity",
         "<!DOCTYPE a [<!ENTITY % p SYSTEM \"p.ent\"> %p; <!ENTITY e \"E\">]><a>&e;</a>",
         "!unknown entity &e;@1:67"},
        {"external entity", "<!DOCTYPE a [<!ENTITY x SYSTEM \"x.txt\">]><a>&x;</a>",
         "!external entity &x; (not read)@1:45"},
        {"unparsed entity", "<!DOCTYPE a [<!ENTITY x SYSTEM \"x\" NDATA n>]><a>&x;</a>",
         "!reference to binary entity@1:49"},
        {"entity holding markup", "<!DOCTYPE a [<!ENTITY e \"<b/>\">]><a>&e;</a>",
         "!entity &e; holds markup@1:37"},
        {"recursive entities", "<!DOCTYPE a [<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">]><a>&a;</a>",
         "!entity &a; refers to itself or nests too deep@1:53"},
        {"expansion far beyond the document", amplifying, amplified.c_str()},
        {"still not well-formed", "<a><!-- x -- y --></a>",
         "!not well-formed (invalid token)@1:13"},
        {"declaration, attributes in key order, references, PI",
         "<?xml version=\"1.0\"?>\n<r b=\"2\" a=\"x &amp; &#60;\"><?pi some data?><e/></r>",
         "?xml:version=\"1.0\" r(a=x & <,b=2)[?pi:some data e]", kExact},
        {"empty attribute value", "<a e=\"\" f=\"\"/>", "a(e=,f=)", kBoth},
        {"blank text dropped", "<a>\n  <b/>\n\t<c> </c>\r\n</a>", "a[b c]", kBoth},
        {"merged text at its first piece, the five predefined entities",
         "<a><x/>a &lt; b&gt;&amp;&quot;&apos;<c/>c</a>", "a[x 'a < b>&\"'c' c]", kExact},
        {"UTF-16", std::string("\xFF\xFE<\0a\0>\0x\0<\0/\0a\0>\0", 18), "a['x']", kExact},
        {"declared encoding, blanks around the equals sign",
         "<?xml version='1.0' encoding\t=\n'ISO-8859-1'?><a v='\xE9'>\xFC</a>",
         "?xml:version='1.0' encoding\t=\n'ISO-8859-1' a(v=\xC3\xA9)['\xC3\xBC']", kExact},
        {"PI before a document type kept", "<?p d?><!DOCTYPE a><a/>",
         "?p:d !document type declaration@1:8", kExact},
        {"root before a comment kept", "<a/><!-- end -->", "a !comment@1:5", kExact},
        {"only nodes before the refusal kept",
         "<?a 1?><?b 2?><r><x>t</x><y>&foo;</y><z/></r><?c 3?>",
         "?a:1 ?b:2 !unknown entity &foo;@1:29", kExact},
        {"malformed keeps nothing", "<?a 1?><r><x>t</x></r><bad",
         "!junk after document element@1:23", kExact},
        {"malformed after a refusal keeps nothing", "<?a 1?><r><!-- c --></r><bad", "!comment@1:11",
         kExact},
        {"comment", "<a>\n <!-- c --></a>", "!comment@2:2", kExact},
        {"CDATA section", "<a><![CDATA[x]]></a>", "!CDATA section@1:4", kExact},
        {"document type", "<!DOCTYPE a [<!ENTITY e \"E\">]><a>&e;</a>",
         "!document type declaration@1:1", kExact},
        {"unknown entity in an attribute", "<a t=\"&foo;\"/>", "!unknown entity &foo;@1:1", kExact},
        {"mismatched end tag", "<a>\n  <b></a>", "!mismatched end tag </a>@2:6", kBoth},
        {"columns count characters", "<a>\xC3\xA9\xE2\x82\xAC&foo;</a>",
         "!unknown entity &foo;@1:6", kBoth},
        {"unsupported encoding", "<?xml version=\"1.0\" encoding=\"FOO-9\"?><a/>",
         "!unsupported encoding FOO-9@1:1", kBoth},
        {"bytes that do not decode", "<?xml version=\"1.0\" encoding=\"US-ASCII\"?>\n<a>x\xE9</a>",
         "!bytes that do not decode as US-ASCII@2:5", kBoth},
        {"nesting", Repeat(1025, "<a>"), "!nesting deeper than 1024@1:3073", kBoth},
        {"UTF-16 places", std::string("\xFF\xFE<\0a\0>\0\n\0<\0/\0b\0>\0", 18),
         "!mismatched end tag </b>@2:1", kBoth},
        {"no element", "", "!no element found@1:1", kBoth},
    });
    EXPECT_FALSE(NewDoc()->IsLenientLoad());
    // A successful load clears the reason; a null stream has one without a place.
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    EXPECT_NE(LoadText(doc, "<a>"), 0u);
    EXPECT_EQ(LoadText(doc, "<a/>"), 0u);
    EXPECT_FALSE(doc->GetLoadErrorReason());
    EXPECT_EQ(doc->GetLoadErrorLine(), 0u);
    EXPECT_NE(doc->LoadXml(nullptr), 0u);
    EXPECT_EQ(Utf8(doc->GetLoadErrorReason()), "no stream");
    EXPECT_EQ(doc->GetLoadErrorColumn(), 0u);
}

// The files exist and hold what would make each load succeed, or add content, if they were
// read: a load that fails for want of them (or shows none of their text) never read them.
TEST(CUXmlDomDocumentNode, LenientLoadNeverReadsExternalEntitiesOrDtds) {
    varn::test::TempFolder folder;
    std::string const dtd = folder.File("ext.dtd"), secret = folder.File("secret.txt");
    varn::test::WriteFile(dtd, "<!ENTITY leak \"LEAKED\"><!ATTLIST a d CDATA \"LEAKED\">");
    varn::test::WriteFile(secret, "LEAKED");
    for (std::string const& uri : {dtd, "file://" + dtd}) {
        std::string const secretUri = uri == dtd ? secret : "file://" + secret;
        RunRows({{"entity of an external DTD", "<!DOCTYPE a SYSTEM \"" + uri + "\"><a>&leak;</a>",
                  "!unknown entity &leak;@1:"},
                 {"attribute default of an external DTD", "<!DOCTYPE a SYSTEM \"" + uri + "\"><a/>",
                  "a"},
                 {"external parameter entity",
                  "<!DOCTYPE a [<!ENTITY % p SYSTEM \"" + uri + "\"> %p;]><a d=\"&leak;\"/>",
                  "!unknown entity &leak;@1:"},
                 {"external general entity",
                  "<!DOCTYPE a [<!ENTITY x SYSTEM \"" + secretUri + "\">]><a>&x;</a>",
                  "!external entity &x; (not read)@1:"}});
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

TEST(CUXmlDomDocumentNode, StreamsAreWrittenAtTheirPositionReadWholeAndShortOrNullOnesFail) {
    auto doc = NewDoc();
    CUSharedPtr<BufferStream> shortReads(new BufferStream("<a>x</a>"));
    shortReads->readLimit = 7; // one byte less than asked for
    EXPECT_EQ(doc->LoadXml(shortReads), kCUStatusFailure);
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
    // Written at the stream's position, loaded from its first byte whatever the position.
    std::string const head = "<!-- not ours -->", text = "<r a=\"1\">x &lt; y<e></e></r>";
    doc = NewDoc();
    ASSERT_EQ(LoadText(doc, text), 0u);
    stream = CUSharedPtr<BufferStream>(new BufferStream(head));
    stream->Seek(0, CUStream_Seek_Origin_End);
    ASSERT_EQ(doc->WriteXml(stream), 0u);
    EXPECT_EQ(stream->Bytes(), head + text);
    CUSharedPtr<BufferStream> atEnd(new BufferStream(text));
    atEnd->Seek(0, CUStream_Seek_Origin_End);
    EXPECT_EQ(NewDoc()->LoadXml(atEnd), 0u);
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
