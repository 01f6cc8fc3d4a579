// The expat-based reader and the writer behind the XML document model.
#include "platform/XmlParser.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
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

// The pieces in one line: <name k=v>children</>, [text], &ref;, {?target|data}, {!--}, ...
std::string Shape(std::vector<XmlPiece> const& pieces) {
    std::string out;
    for (XmlPiece const& p : pieces) {
        switch (p.kind) {
        case XmlPieceKind::Element:
            out += "<" + p.name;
            for (auto const& [key, value] : p.attributes) {
                out += " " + key + "=" + value;
            }
            out += ">" + Shape(p.children) + "</>";
            break;
        case XmlPieceKind::Text:
            out += "[" + p.value + "]";
            break;
        case XmlPieceKind::EntityReference:
            out += "&" + p.name + ";";
            break;
        case XmlPieceKind::ProcessingInstruction:
            out += "{?" + p.name + "|" + p.value + "}";
            break;
        default: // the kinds the document model refuses
            out += p.kind == XmlPieceKind::Comment        ? "{!--}"
                   : p.kind == XmlPieceKind::CDataSection ? "{CDATA}"
                                                          : "{DOCTYPE}";
        }
    }
    return out;
}

XmlPiece Piece(XmlPieceKind kind, std::string name = "", std::string value = "",
               std::vector<XmlPiece> children = {}) {
    XmlPiece p;
    p.kind = kind;
    p.name = std::move(name);
    p.value = std::move(value);
    p.children = std::move(children);
    return p;
}

} // namespace

TEST(XmlParser, MalformedRefusedAndUndecodableInputFails) {
    for (char const* bad : {"", "<a>", "<a x=\"&foo;\"/>", "<a x='1' y=\"&lt;&foo;\"/>",
                            "<?xml version=\"1.0\" encoding=\"US-ASCII\"?><a>\xE9</a>",
                            "<?xml version=\"1.0\" encoding=\"no-such-charset\"?><a/>",
                            "<a>\xE9</a>", "<a xmlns:xmlns=\"\"/>", "<a xmlns:xml=\"\"/>"}) {
        EXPECT_FALSE(Parse(bad).ok) << bad;
    }
    EXPECT_TRUE(Parse("<a xmlns:xml=\"http://www.w3.org/XML/1998/namespace\" xmlns:p=\"u\"/>").ok);
    EXPECT_EQ(Parse("<a>\n</b>").error, "mismatched end tag </b> at line 2");
}

TEST(XmlParser, PiecesArriveAsTheReaderSeesThem) {
    struct {
        char const* in;
        char const* pieces;
    } const rows[] = {
        // clang-format off
        {"<?xml version=\"1.0\" ?><a/>", "{?xml|version=\"1.0\" }<a></>"},
        {"<a><?go  fast\tnow?><?empty?></a>", "<a>{?go|fast\tnow}{?empty|}</>"},
        {"<a>x\r\ny\rz</a>", "<a>[x\r\ny\rz]</>"}, // line ends kept
        {"<a>&lt; &gt;</a>", "<a>&lt;&gt;</>"},
        {"<a>x&foo;y</a>", "<a>[x]&foo;[y]</>"},
        {"<a>x&#60;&#x263A;y</a>", "<a>[x<\xE2\x98\xBAy]</>"},
        {"<b>&#32;</b>", "<b>[ ]</>"},
        {"<a>t<!-- c --><![CDATA[<x>]]>u</a>", "<a>[t]{!--}{CDATA}[u]</>"},
        {"<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e \"v\">]><a>&e;</a>", "{?xml|version=\"1.0\"}{DOCTYPE}<a>&e;</>"},
        {"<a z=\"1 &amp; &#60;\" b='x&quot;y' c=\"l1&#10;l2\"/>", "<a z=1 & < b=x\"y c=l1\nl2></>"},
        {"<?xml version=\"1.0\" encoding=\"windows-1252\"?><b>\x80</b>",
         "{?xml|version=\"1.0\" encoding=\"windows-1252\"}<b>[\xE2\x82\xAC]</>"},
        {"\xEF\xBB\xBF<a>x</a>", "<a>[x]</>"},
        // A target that only starts with "xml" declares nothing: the text stays UTF-8.
        {"<?xmlfoo encoding='UTF-16'?><a>\xC3\xA9</a>", "{?xmlfoo|encoding='UTF-16'}<a>[\xC3\xA9]</>"},
        // clang-format on
    };
    for (auto const& row : rows) {
        XmlParseResult r = Parse(row.in);
        ASSERT_TRUE(r.ok) << row.in << ": " << r.error;
        EXPECT_EQ(row.pieces, Shape(r.topLevel)) << row.in;
    }
}

TEST(XmlParser, EscapeReplacesTheFiveMarkupCharactersAndProtectsBlanksTheReaderWouldDrop) {
    // Blanks the reader would drop between markup are written as references.
    std::pair<char const*, char const*> const rows[] = {
        {"a<b>&'\"\r\n\xC3\xA9", "a&lt;b&gt;&amp;&apos;&quot;&#13;\n\xC3\xA9"},
        {"a b\tc", "a b\tc"},
        {" ", "&#32;"},
        {"< >", "&lt;&#32;&gt;"},
        {"\t<x \n", "&#9;&lt;x \n"},
        {" \r\n<\t", "&#32;&#13;&#10;&lt;&#9;"},
        {"&\n", "&amp;&#10;"},
    };
    for (auto const& [text, escaped] : rows) {
        EXPECT_EQ(EscapeXmlText(text), escaped) << text;
    }
}

TEST(XmlParser, SerializerWritesTagsEscapedAttributesAndAUtf8Declaration) {
    XmlPiece root =
        Piece(XmlPieceKind::Element, "r", "",
              {Piece(XmlPieceKind::Element, "e"), Piece(XmlPieceKind::Text, "", "&lt;already"),
               Piece(XmlPieceKind::Comment), Piece(XmlPieceKind::ProcessingInstruction, "p")});
    root.attributes = {{"k", "a\"<&>'\t\n\r"}, {"b", ""}};
    EXPECT_EQ(
        SerializeXml({Piece(XmlPieceKind::ProcessingInstruction, "xml", "version=\"1.0\""), root}),
        "<?xml version=\"1.0\"?><r k=\"a&quot;&lt;&amp;&gt;'&#9;&#10;&#13;\" b=\"\">"
        "<e></e>&lt;already<?p ?></r>");
    using varn::platform::DeclarationForUTF8;
    EXPECT_EQ(DeclarationForUTF8("version=\"1.0\" encoding = \"ISO-8859-1\" standalone='no'"),
              "version=\"1.0\" encoding = \"UTF-8\" standalone='no'");
    EXPECT_EQ(DeclarationForUTF8("version='1.0' encoding='utf-8'"),
              "version='1.0' encoding='utf-8'");
    XmlPiece decl =
        Piece(XmlPieceKind::ProcessingInstruction, "xml", "version='1.0' encoding='UTF-16'");
    XmlPiece other = decl;
    other.name = "other";
    EXPECT_EQ(SerializeXml({decl, other, Piece(XmlPieceKind::Element, "a")}),
              "<?xml version='1.0' encoding='UTF-8'?><?other version='1.0' "
              "encoding='UTF-16'?><a></a>");
}
