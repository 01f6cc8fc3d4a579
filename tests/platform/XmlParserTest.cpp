// XmlParserTest.cpp — the expat-based reader and the writer behind the XML document model.
#include "platform/XmlParser.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using varn::platform::EscapeXmlText;
using varn::platform::ParseXml;
using varn::platform::SerializeXml;
using varn::platform::XmlParseResult;
using varn::platform::XmlPiece;
using varn::platform::XmlPieceKind;

namespace {

XmlParseResult Parse(std::string const& text) {
    return ParseXml(text.data(), text.size());
}

// The single root element of a parse that must succeed.
XmlPiece Root(XmlParseResult const& result) {
    EXPECT_TRUE(result.ok) << result.error;
    for (XmlPiece const& piece : result.topLevel) {
        if (piece.kind == XmlPieceKind::Element) {
            return piece;
        }
    }
    ADD_FAILURE() << "no root element";
    return {};
}

} // namespace

TEST(XmlParser, EmptyAndNonXmlInputFail) {
    EXPECT_FALSE(Parse("").ok);
    EXPECT_FALSE(Parse("hello").ok);
    EXPECT_FALSE(Parse("<a>").ok);
    EXPECT_FALSE(Parse("<a></b>").ok);
    EXPECT_FALSE(Parse("<a/><b/>").ok);
    EXPECT_FALSE(Parse("<a>]]></a>").ok);
}

TEST(XmlParser, DeclarationArrivesAsProcessingInstructionWithRawData) {
    XmlParseResult r = Parse("<?xml version=\"1.0\" ?><a/>");
    ASSERT_TRUE(r.ok) << r.error;
    ASSERT_EQ(r.topLevel.size(), 2u);
    EXPECT_EQ(r.topLevel[0].kind, XmlPieceKind::ProcessingInstruction);
    EXPECT_EQ(r.topLevel[0].name, "xml");
    EXPECT_EQ(r.topLevel[0].value, "version=\"1.0\" ");
    EXPECT_EQ(r.topLevel[1].kind, XmlPieceKind::Element);
}

TEST(XmlParser, ProcessingInstructionsKeepTargetAndData) {
    XmlPiece const& a = Root(Parse("<a><?go  fast\tnow?><?empty?></a>"));
    ASSERT_EQ(a.children.size(), 2u);
    EXPECT_EQ(a.children[0].name, "go");
    EXPECT_EQ(a.children[0].value, "fast\tnow");
    EXPECT_EQ(a.children[1].name, "empty");
    EXPECT_EQ(a.children[1].value, "");
}

TEST(XmlParser, WhitespaceOnlyRunsAreDroppedAndOthersKeptWhole) {
    XmlPiece const& a = Root(Parse("<a>\n  <b> x </b>\r\n\t<c>y </c>  </a>"));
    ASSERT_EQ(a.children.size(), 2u);
    ASSERT_EQ(a.children[0].children.size(), 1u);
    EXPECT_EQ(a.children[0].children[0].value, " x ");
    EXPECT_EQ(a.children[1].children[0].value, "y ");
}

TEST(XmlParser, LineEndsInTextAreNotNormalised) {
    XmlPiece const& a = Root(Parse("<a>x\r\ny\rz</a>"));
    ASSERT_EQ(a.children.size(), 1u);
    EXPECT_EQ(a.children[0].value, "x\r\ny\rz");
}

TEST(XmlParser, PredefinedEntitiesArriveAsSeparateReferences) {
    XmlPiece const& a = Root(Parse("<a>x &amp;&quot; y</a>"));
    ASSERT_EQ(a.children.size(), 4u);
    EXPECT_EQ(a.children[0].value, "x ");
    EXPECT_EQ(a.children[1].kind, XmlPieceKind::EntityReference);
    EXPECT_EQ(a.children[1].name, "amp");
    EXPECT_EQ(a.children[2].name, "quot");
    EXPECT_EQ(a.children[3].value, " y");
}

TEST(XmlParser, BlankBetweenReferencesIsDropped) {
    XmlPiece const& a = Root(Parse("<a>&lt; &gt;</a>"));
    ASSERT_EQ(a.children.size(), 2u);
    EXPECT_EQ(a.children[0].name, "lt");
    EXPECT_EQ(a.children[1].name, "gt");
}

TEST(XmlParser, UndeclaredEntityArrivesAsReference) {
    XmlPiece const& a = Root(Parse("<a>x&foo;y</a>"));
    ASSERT_EQ(a.children.size(), 3u);
    EXPECT_EQ(a.children[1].kind, XmlPieceKind::EntityReference);
    EXPECT_EQ(a.children[1].name, "foo");
}

TEST(XmlParser, CharacterReferencesAreDecodedIntoTheText) {
    XmlPiece const& a = Root(Parse("<a>x&#60;&#x263A;y</a>"));
    ASSERT_EQ(a.children.size(), 1u);
    EXPECT_EQ(a.children[0].value, "x<\xE2\x98\xBAy");
    XmlPiece const& b = Root(Parse("<b>&#32;</b>"));
    ASSERT_EQ(b.children.size(), 1u);
    EXPECT_EQ(b.children[0].value, " ");
}

TEST(XmlParser, RefusedKindsAreReportedWhereTheyStand) {
    XmlPiece const& a = Root(Parse("<a>t<!-- c --><![CDATA[<x>]]>u</a>"));
    ASSERT_EQ(a.children.size(), 4u);
    EXPECT_EQ(a.children[0].value, "t");
    EXPECT_EQ(a.children[1].kind, XmlPieceKind::Comment);
    EXPECT_EQ(a.children[2].kind, XmlPieceKind::CDataSection);
    EXPECT_EQ(a.children[3].value, "u");

    XmlParseResult d = Parse("<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e \"v\">]><a>&e;</a>");
    ASSERT_TRUE(d.ok) << d.error;
    ASSERT_EQ(d.topLevel.size(), 3u);
    EXPECT_EQ(d.topLevel[1].kind, XmlPieceKind::DocumentType);
    EXPECT_EQ(d.topLevel[2].kind, XmlPieceKind::Element);
}

TEST(XmlParser, AttributesAreDecodedInDocumentOrder) {
    XmlPiece const& a = Root(Parse("<a z=\"1 &amp; &#60;\" b='x&quot;y' c=\"l1&#10;l2\"/>"));
    ASSERT_EQ(a.attributes.size(), 3u);
    EXPECT_EQ(a.attributes[0].first, "z");
    EXPECT_EQ(a.attributes[0].second, "1 & <");
    EXPECT_EQ(a.attributes[1].second, "x\"y");
    EXPECT_EQ(a.attributes[2].second, "l1\nl2");
    EXPECT_TRUE(a.children.empty());
}

TEST(XmlParser, UndeclaredEntityInAttributeFails) {
    EXPECT_FALSE(Parse("<a x=\"&foo;\"/>").ok);
    EXPECT_FALSE(Parse("<a x='1' y=\"&lt;&foo;\"/>").ok);
}

TEST(XmlParser, DuplicateAttributeFails) {
    EXPECT_FALSE(Parse("<a x=\"1\" x=\"2\"/>").ok);
}

TEST(XmlParser, ReadsUtf16WithByteOrderMarks) {
    std::string le("\xFF\xFE", 2);
    std::string be("\xFE\xFF", 2);
    for (char c : std::string("<a>\xE9</a>")) {
        unsigned char u = static_cast<unsigned char>(c);
        char16_t unit = u == 0xE9 ? u'\u00E9' : static_cast<char16_t>(u);
        le += static_cast<char>(unit & 0xFF);
        le += static_cast<char>(unit >> 8);
        be += static_cast<char>(unit >> 8);
        be += static_cast<char>(unit & 0xFF);
    }
    for (std::string const& doc : {le, be}) {
        XmlPiece const& a = Root(Parse(doc));
        ASSERT_EQ(a.children.size(), 1u);
        EXPECT_EQ(a.children[0].value, "\xC3\xA9");
    }
}

TEST(XmlParser, ReadsDeclaredSingleByteEncodings) {
    XmlPiece const& a = Root(Parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>"));
    ASSERT_EQ(a.children.size(), 1u);
    EXPECT_EQ(a.children[0].value, "\xC3\xA9");
    XmlPiece const& b = Root(Parse("<?xml version=\"1.0\" encoding=\"windows-1252\"?><b>\x80</b>"));
    ASSERT_EQ(b.children.size(), 1u);
    EXPECT_EQ(b.children[0].value, "\xE2\x82\xAC");
}

TEST(XmlParser, RefusesUndecodableOrUnknownEncodings) {
    EXPECT_FALSE(Parse("<?xml version=\"1.0\" encoding=\"US-ASCII\"?><a>\xE9</a>").ok);
    EXPECT_FALSE(Parse("<?xml version=\"1.0\" encoding=\"no-such-charset\"?><a/>").ok);
    EXPECT_FALSE(Parse("<a>\xE9</a>").ok); // not UTF-8
}

TEST(XmlParser, Utf8ByteOrderMarkIsSkipped) {
    XmlParseResult r = Parse("\xEF\xBB\xBF<a>x</a>");
    ASSERT_TRUE(r.ok) << r.error;
    ASSERT_EQ(r.topLevel.size(), 1u);
}

TEST(XmlParser, EscapeReplacesExactlyTheFiveSpecialCharacters) {
    EXPECT_EQ(EscapeXmlText("a<b>&'\"\r\n\xC3\xA9"), "a&lt;b&gt;&amp;&apos;&quot;\r\n\xC3\xA9");
    EXPECT_EQ(EscapeXmlText(""), "");
    EXPECT_EQ(EscapeXmlText("a b\tc"), "a b\tc");
}

TEST(XmlParser, EscapeProtectsBlanksThatTheReaderWouldDrop) {
    EXPECT_EQ(EscapeXmlText(" "), "&#32;");
    EXPECT_EQ(EscapeXmlText("< >"), "&lt;&#32;&gt;");
    EXPECT_EQ(EscapeXmlText("\t<x \n"), "&#9;&lt;x \n");
    for (std::string text : {" ", "< >", " \r\n<\t", "a < b &  c", "&\n"}) {
        XmlPiece element;
        element.kind = XmlPieceKind::Element;
        element.name = "a";
        XmlPiece piece;
        piece.kind = XmlPieceKind::Text;
        piece.value = EscapeXmlText(text);
        element.children = {piece};
        XmlParseResult back = Parse(SerializeXml({element}));
        ASSERT_TRUE(back.ok) << back.error;
        // Join what the reader gives back the way the document model's merging pass does.
        std::string joined;
        for (XmlPiece const& child : back.topLevel[0].children) {
            if (child.kind == XmlPieceKind::Text) {
                joined += child.value;
            } else {
                joined += child.name == "lt"    ? "<"
                          : child.name == "gt"  ? ">"
                          : child.name == "amp" ? "&"
                                                : "?";
            }
        }
        EXPECT_EQ(joined, text);
    }
}

TEST(XmlParser, SerializerWritesStartAndEndTagsAndEscapedAttributes) {
    XmlPiece pi;
    pi.kind = XmlPieceKind::ProcessingInstruction;
    pi.name = "xml";
    pi.value = "version=\"1.0\"";
    XmlPiece root;
    root.kind = XmlPieceKind::Element;
    root.name = "r";
    root.attributes = {{"k", "a\"<&>'\t\n\r"}, {"b", ""}};
    XmlPiece empty;
    empty.kind = XmlPieceKind::Element;
    empty.name = "e";
    XmlPiece text;
    text.kind = XmlPieceKind::Text;
    text.value = "&lt;already";
    XmlPiece comment;
    comment.kind = XmlPieceKind::Comment;
    XmlPiece emptyPi;
    emptyPi.kind = XmlPieceKind::ProcessingInstruction;
    emptyPi.name = "p";
    root.children = {empty, text, comment, emptyPi};
    EXPECT_EQ(SerializeXml({pi, root}),
              "<?xml version=\"1.0\"?><r k=\"a&quot;&lt;&amp;&gt;'&#9;&#10;&#13;\" b=\"\">"
              "<e></e>&lt;already<?p ?></r>");
    EXPECT_EQ(SerializeXml({}), "");
}

TEST(XmlParser, SerializedAttributesLoadBackUnchanged) {
    XmlPiece root;
    root.kind = XmlPieceKind::Element;
    root.name = "r";
    root.attributes = {{"k", " a\"<&>'\t\n\r\n  b "}};
    XmlPiece const& back = Root(Parse(SerializeXml({root})));
    ASSERT_EQ(back.attributes.size(), 1u);
    EXPECT_EQ(back.attributes[0].second, root.attributes[0].second);
}

TEST(XmlParser, DeclarationIsWrittenNamingUtf8) {
    using varn::platform::DeclarationForUTF8;
    EXPECT_EQ(DeclarationForUTF8("version='1.0' encoding='UTF-16'"),
              "version='1.0' encoding='UTF-8'");
    EXPECT_EQ(DeclarationForUTF8("version=\"1.0\" encoding = \"ISO-8859-1\" standalone='no'"),
              "version=\"1.0\" encoding = \"UTF-8\" standalone='no'");
    EXPECT_EQ(DeclarationForUTF8("version='1.0' encoding='utf-8'"),
              "version='1.0' encoding='utf-8'");
    EXPECT_EQ(DeclarationForUTF8("version='1.0'"), "version='1.0'");

    XmlPiece decl;
    decl.kind = XmlPieceKind::ProcessingInstruction;
    decl.name = "xml";
    decl.value = "version='1.0' encoding='UTF-16'";
    XmlPiece other = decl;
    other.name = "other";
    XmlPiece root;
    root.kind = XmlPieceKind::Element;
    root.name = "a";
    std::string text = SerializeXml({decl, other, root});
    EXPECT_EQ(text, "<?xml version='1.0' encoding='UTF-8'?><?other version='1.0' "
                    "encoding='UTF-16'?><a></a>");
    EXPECT_TRUE(Parse(text).ok);
}

TEST(XmlParser, RebindingReservedPrefixesFails) {
    EXPECT_FALSE(Parse("<a xmlns:xmlns=\"\"/>").ok);
    EXPECT_FALSE(Parse("<a xmlns:xml=\"\"/>").ok);
    EXPECT_TRUE(Parse("<a xmlns:xml=\"http://www.w3.org/XML/1998/namespace\" xmlns:p=\"u\"/>").ok);
}

TEST(XmlParser, NestingIsBoundedAtTheMaximumDepth) {
    auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i) {
            text += "<e>";
        }
        for (std::size_t i = 0; i < depth; ++i) {
            text += "</e>";
        }
        return text;
    };
    EXPECT_TRUE(Parse(nested(varn::platform::kMaxXmlDepth)).ok);
    XmlParseResult deep = Parse(nested(varn::platform::kMaxXmlDepth + 1));
    EXPECT_FALSE(deep.ok);
    EXPECT_NE(deep.error.find("nested"), std::string::npos) << deep.error;
}

TEST(XmlParser, OnlyARealDeclarationNamesTheEncoding) {
    // A PI whose target only starts with "xml" declares nothing: the text stays UTF-8.
    XmlParseResult r = Parse("<?xmlfoo encoding='UTF-16'?><a>\xC3\xA9</a>");
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.topLevel[0].name, "xmlfoo");
    EXPECT_EQ(r.topLevel[1].children[0].value, "\xC3\xA9");
}

namespace {

// Records the events of a parse as one line each.
class EventLog : public varn::platform::XmlEvents {
  public:
    void StartElement(char const* name, char const* const* attributes) override {
        std::string line = std::string("start ") + name;
        for (std::size_t i = 0; attributes[i] != nullptr; i += 2) {
            line += std::string(" ") + attributes[i] + "=" + attributes[i + 1];
        }
        lines.push_back(line);
    }
    void EndElement() override { lines.push_back("end"); }
    void Text(std::string_view text) override { lines.push_back("text " + std::string(text)); }
    void EntityReference(std::string_view name) override {
        lines.push_back("ref " + std::string(name));
    }
    void ProcessingInstruction(std::string_view target, std::string_view data) override {
        lines.push_back("pi " + std::string(target) + "|" + std::string(data));
    }
    void Refused(XmlPieceKind kind) override {
        lines.push_back("refused " + std::to_string(static_cast<int>(kind)));
    }
    std::vector<std::string> lines;
};

} // namespace

TEST(XmlParser, EventsArriveInDocumentOrderWithRunsAndReferencesApart) {
    std::string const text = "<?xml version=\"1.0\"?>\n<r b=\"2\" a=\"x&amp;&#60;\">\n  "
                             "one &lt; two&#32;<e/>\n<?p  d ?>&foo;three</r>";
    EventLog log;
    std::string error;
    ASSERT_TRUE(varn::platform::ParseXml(text.data(), text.size(), log, &error)) << error;
    std::vector<std::string> const expected = {"pi xml|version=\"1.0\"",
                                               "start r b=2 a=x&<",
                                               "text \n  one ",
                                               "ref lt",
                                               "text  two ",
                                               "start e",
                                               "end",
                                               "pi p|d ",
                                               "ref foo",
                                               "text three",
                                               "end"};
    EXPECT_EQ(log.lines, expected);
}

TEST(XmlParser, EventsStopAtAnErrorAndRefusedKindsAreReported) {
    std::string const text = "<a><!-- c --><b>x</b><![CDATA[y]]></a><bad";
    EventLog log;
    std::string error;
    EXPECT_FALSE(varn::platform::ParseXml(text.data(), text.size(), log, &error));
    EXPECT_FALSE(error.empty());
    std::vector<std::string> const expected = {"start a", "refused 5", "start b", "text x",
                                               "end",     "refused 7", "end"};
    EXPECT_EQ(log.lines, expected);
}
