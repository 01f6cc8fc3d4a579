// XmlParser.h — parses an XML document into a portable tree of the pieces the document model
// keeps, and serialises such a tree back to UTF-8 text.
//
// The parser reports what the document holds, piece by piece, without judging it: elements
// with their attributes, processing instructions (the XML declaration is one, named "xml"),
// text, references to named entities as pieces of their own (not replaced), and the kinds the
// document model refuses (comments, CDATA sections, a document type declaration) as pieces
// marking the place where they stood. Whitespace-only text is dropped; character references
// are decoded into the text around them; attribute values arrive decoded.
//
// Input encodings: UTF-8, UTF-16 with a byte-order mark (or recognisable by a zero byte in
// the first two), and anything named in the XML declaration that ICU can convert.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varn::platform {

/// Kinds of parsed pieces, numbered as the macOS XML tree service numbers its nodes so that the
/// document model's conversion reads the same on every platform.
enum class XmlPieceKind : int {
    Element = 2,
    ProcessingInstruction = 4,
    Comment = 5,
    Text = 6,
    CDataSection = 7,
    EntityReference = 10,
    DocumentType = 11,
};

/// One parsed piece. All strings are UTF-8.
struct XmlPiece {
    XmlPieceKind kind = XmlPieceKind::Text;
    std::string name;  ///< element name, PI target or entity name
    std::string value; ///< text, or PI data (after the blanks that follow the target)
    std::vector<std::pair<std::string, std::string>> attributes; ///< document order, decoded
    std::vector<XmlPiece> children;                              ///< elements only
};

/// Result of a parse: `ok` false on any error (nothing is delivered then).
struct XmlParseResult {
    bool ok = false;
    std::string error;              ///< what went wrong, with the line, when not ok
    std::vector<XmlPiece> topLevel; ///< the document's own children in document order
};

/// The deepest nesting of elements a document may have.
inline constexpr std::size_t kMaxXmlDepth = 1024;

/// How a document is read.
struct XmlReadOptions {
    /// Comments are dropped, CDATA sections become text, a document type declaration is
    /// accepted and the general entities of its internal subset are expanded where their
    /// replacement text holds no markup. Nothing outside the document is ever opened: external
    /// entities and external DTDs stay unread, and a reference to one fails the parse.
    bool lenient = false;
};

/// Where and why a document was refused. Line and column count from 1 in characters of the
/// document; 0 when the problem has no place (a stream that could not be read).
struct XmlProblem {
    std::string reason;
    unsigned long long line = 0;
    unsigned long long column = 0;
};

/// A place in the document being read: line and column from 1.
struct XmlPlace {
    unsigned long long line = 0;
    unsigned long long column = 0;
};

/// Receives the pieces of a document in document order while ParseXml reads it, the same
/// pieces that the tree form holds. Strings are UTF-8 and valid only during the call. A
/// receiver sees a document that turns out malformed further on up to the point of the error:
/// it must not publish what it built before ParseXml returns true.
class XmlEvents {
  public:
    virtual ~XmlEvents() = default;
    /// An element's start; `attributes` holds name and value pairs in document order (values
    /// decoded), ended by a null name.
    virtual void StartElement(char const* name, char const* const* attributes) = 0;
    /// The end of the element most recently started and not yet ended.
    virtual void EndElement() = 0;
    /// A run of text between two pieces of markup or references, never whitespace only unless
    /// it holds a decoded character reference; only inside an element.
    virtual void Text(std::string_view text) = 0;
    /// A reference to a named entity (the five predefined ones included), by its name.
    virtual void EntityReference(std::string_view name) = 0;
    /// A processing instruction (the XML declaration is one, named "xml").
    virtual void ProcessingInstruction(std::string_view target, std::string_view data) = 0;
    /// A comment, CDATA section or document type declaration, at the place where it stands
    /// (never in a lenient read).
    virtual void Refused(XmlPieceKind kind) = 0;

    /// During a call from ParseXml: where the piece being reported starts. {0, 0} otherwise.
    XmlPlace Place() const { return m_locate != nullptr ? m_locate(m_locator) : XmlPlace{}; }

  private:
    friend struct XmlEventsAccess;
    XmlPlace (*m_locate)(void const*) = nullptr;
    void const* m_locator = nullptr;
};

/// Parses a whole document held in `length` bytes, handing its pieces to `events`. True when
/// the whole document is well formed; false (with `error` set when it is not null) for
/// malformed input, an unknown encoding or elements nested deeper than kMaxXmlDepth.
bool ParseXml(void const* bytes, std::size_t length, XmlEvents& events, std::string* error);

/// ParseXml over a document of `length` bytes that `fill` writes into the buffer it is handed
/// (all `length` bytes, in one call): a document read from a stream lands directly in the
/// parser's own buffer instead of passing through a copy. A false from `fill` fails the parse;
/// exceptions thrown by `fill` pass through, with nothing reported to `events`.
bool ParseXml(std::size_t length, std::function<bool(void*)> const& fill, XmlEvents& events,
              std::string* error);

/// ParseXml over a filled buffer, read as `options` say; on failure `problem` (when not null)
/// receives the reason and the place: "mismatched end tag </a>", "unknown entity &foo;",
/// "unsupported encoding X", "nesting deeper than 1024", or expat's own words.
bool ParseXml(std::size_t length, std::function<bool(void*)> const& fill, XmlEvents& events,
              XmlReadOptions const& options, XmlProblem* problem);

/// Parses a whole document held in `length` bytes into a tree. Fails for elements nested
/// deeper than kMaxXmlDepth.
XmlParseResult ParseXml(void const* bytes, std::size_t length);

/// Whether `name` is a name that the reader accepts for an element, attribute or processing
/// instruction target.
bool IsXmlName(std::string_view name);

/// The document's bytes converted to UTF-8 by the encoding rules above (byte-order mark
/// removed). False when the encoding is unknown or the bytes do not decode.
bool ConvertXmlToUTF8(void const* bytes, std::size_t length, std::string& utf8);

/// The text with &, <, >, ' and " replaced by the five predefined entities and a carriage
/// return by "&#13;" (a reader turns a plain one, with its line feed, into a line feed). A
/// stretch made only of blanks (space, tab, LF) that lies between two of those characters or
/// between one and an end of the text is written as character references, so that the reader,
/// which drops whitespace between markup, gives it back. Nothing else changes.
std::string EscapeXmlText(std::string const& text);

/// The data of an XML declaration with its encoding pseudo-attribute, if it names anything
/// but UTF-8, changed to name UTF-8 (the quotes kept); other data is returned unchanged.
std::string DeclarationForUTF8(std::string const& data);

/// Writes the pieces as XML text: elements always with a start and an end tag, attributes in
/// the given order with their values escaped (tab, line feed and carriage return as character
/// references, so that they load back unchanged), text written as it is (the caller escapes
/// it), processing instructions as "<?target data?>", entity references as "&name;".
/// Comment, CDATA and document-type pieces are not written. No declaration, no indentation.
std::string SerializeXml(std::vector<XmlPiece> const& pieces);

} // namespace varn::platform
