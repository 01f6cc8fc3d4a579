// XmlParser.cpp — the XML reader over expat and the writer, for the document model.
//
// expat is asked to tell us as little as possible: only start tags, end tags and skipped
// entities have handlers. Everything else reaches the default handler as the raw text of the
// document (a reference stays "&lt;", a PI stays "<?t d?>", a comment "<!--...-->"), which is
// exactly the granularity the document model wants: references are kept as pieces, markup we
// refuse is seen at the place where it stands, and text is not normalised.
#include "platform/XmlParser.h"

#include "platform/SmallBlocks.h"

#include <expat.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>

namespace varn::platform {
namespace {

bool IsXmlBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool AllBlank(std::string const& text) {
    for (char c : text) {
        if (!IsXmlBlank(c)) {
            return false;
        }
    }
    return true;
}

bool EqualsIgnoringAsciiCase(std::string const& a, char const* b) {
    std::size_t n = std::strlen(b);
    if (a.size() != n) {
        return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
        char x = a[i];
        char y = b[i];
        if (x >= 'A' && x <= 'Z') {
            x = static_cast<char>(x - 'A' + 'a');
        }
        if (y >= 'A' && y <= 'Z') {
            y = static_cast<char>(y - 'A' + 'a');
        }
        if (x != y) {
            return false;
        }
    }
    return true;
}

void AppendUTF8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Converts with ICU, stopping at the first byte sequence the charset does not define.
bool ConvertWithIcu(char const* charset, char const* bytes, std::size_t length, std::string& utf8) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UConverter, void (*)(UConverter*)> conv(ucnv_open(charset, &status),
                                                            ucnv_close);
    if (U_FAILURE(status) || !conv) {
        return false;
    }
    ucnv_setToUCallBack(conv.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status)) {
        return false;
    }
    // One byte never yields more than two UTF-16 units in any ICU charset.
    std::u16string units(length * 2 + 2, u'\0');
    UChar* target = reinterpret_cast<UChar*>(units.data());
    UChar* targetEnd = target + units.size();
    char const* source = bytes;
    ucnv_toUnicode(conv.get(), &target, targetEnd, &source, bytes + length, nullptr, true, &status);
    if (U_FAILURE(status)) {
        return false;
    }
    int32_t unitCount = static_cast<int32_t>(target - reinterpret_cast<UChar*>(units.data()));
    int32_t needed = 0;
    status = U_ZERO_ERROR;
    u_strToUTF8(nullptr, 0, &needed, reinterpret_cast<UChar const*>(units.data()), unitCount,
                &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) {
        return false;
    }
    utf8.assign(static_cast<std::size_t>(needed), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8(utf8.data(), needed, &needed, reinterpret_cast<UChar const*>(units.data()),
                unitCount, &status);
    return U_SUCCESS(status);
}

// The charset named by `encoding="..."` in a leading XML declaration, or empty.
std::string DeclaredEncoding(char const* bytes, std::size_t length) {
    // Only a real declaration counts: "<?xml" followed by a blank, not a PI whose target
    // merely starts with those letters.
    if (length < 6 || std::memcmp(bytes, "<?xml", 5) != 0 || !IsXmlBlank(bytes[5])) {
        return {};
    }
    std::size_t end = 5;
    while (end < length && bytes[end] != '?' && bytes[end] != '>') {
        ++end;
    }
    std::string head(bytes + 5, end - 5);
    std::size_t at = head.find("encoding=");
    if (at == std::string::npos) {
        return {};
    }
    std::size_t open = at + 9;
    if (open >= head.size() || (head[open] != '"' && head[open] != '\'')) {
        return {};
    }
    std::size_t close = head.find(head[open], open + 1);
    if (close == std::string::npos) {
        return {};
    }
    return head.substr(open + 1, close - open - 1);
}

// Whether the encoding declared in UTF-8 text (if any) belongs to the family that the
// byte-order mark announced: UTF-16 for a UTF-16 mark, UTF-8 for a UTF-8 one.
bool DeclarationAgrees(std::string_view utf8, bool utf16) {
    std::string declared = DeclaredEncoding(utf8.data(), utf8.size());
    if (declared.empty()) {
        return true;
    }
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UConverter, void (*)(UConverter*)> conv(ucnv_open(declared.c_str(), &status),
                                                            ucnv_close);
    if (U_FAILURE(status) || !conv) {
        return false;
    }
    UConverterType type = ucnv_getType(conv.get());
    if (utf16) {
        return type == UCNV_UTF16 || type == UCNV_UTF16_BigEndian ||
               type == UCNV_UTF16_LittleEndian;
    }
    return type == UCNV_UTF8;
}

// Names are not resolved against namespaces, but the two prefixes that every namespace-aware
// reader reserves may not be rebound: such a document is malformed for all of them.
bool BindsReservedPrefix(std::string_view attribute, std::string_view value) {
    return attribute == "xmlns:xmlns" ||
           (attribute == "xmlns:xml" && value != "http://www.w3.org/XML/1998/namespace");
}

// The most that one call hands to expat, whose lengths are ints.
constexpr std::size_t kSlice = std::size_t{1} << 30;

// Reads expat's events into the pieces of XmlEvents: text is gathered into runs between
// markup, references and markup are classified, and the checks that expat does not make are
// made before an element is reported.
class EventReader {
  public:
    EventReader(XML_Parser parser, std::string_view input, XmlEvents& events)
        : m_parser(parser), m_input(input), m_events(events) {}

    std::string const& Error() const { return m_error; }
    void SetParser(XML_Parser parser) { m_parser = parser; }
    void SetInput(std::string_view input) { m_input = input; }

    static void XMLCALL OnStart(void* self, XML_Char const* name, XML_Char const** atts) {
        static_cast<EventReader*>(self)->Start(name, atts);
    }
    static void XMLCALL OnEnd(void* self, XML_Char const* /*name*/) {
        static_cast<EventReader*>(self)->End();
    }
    static void XMLCALL OnDefault(void* self, XML_Char const* s, int len) {
        static_cast<EventReader*>(self)->Raw(std::string_view(s, static_cast<std::size_t>(len)));
    }
    static void XMLCALL OnSkipped(void* self, XML_Char const* name, int isParameterEntity) {
        if (isParameterEntity == 0) {
            auto* reader = static_cast<EventReader*>(self);
            reader->Flush();
            reader->m_events.EntityReference(name);
        }
    }

  private:
    // Ends the pending text run. A run of blanks only is dropped, as the macOS parser drops
    // whitespace between markup; a run holding a decoded character reference is kept.
    void Flush() {
        if (m_run.empty()) {
            return;
        }
        if (m_depth != 0 && (m_runHasCharRef || !AllBlank(m_run))) {
            m_events.Text(m_run);
        }
        m_run.clear();
        m_runHasCharRef = false;
    }

    void AddMarker(XmlPieceKind kind) {
        Flush();
        m_events.Refused(kind);
    }

    void Start(XML_Char const* name, XML_Char const** atts) {
        Flush();
        m_inDoctype = false;
        if (!m_sawDoctype && HasUnknownEntityInTag()) {
            // expat silently drops an undeclared entity inside an attribute value; the model
            // cannot keep it, so the document is refused rather than loaded with a hole.
            m_error = "reference to an undeclared entity in an attribute value";
            XML_StopParser(m_parser, XML_FALSE);
            return;
        }
        if (m_depth >= kMaxXmlDepth) {
            // Building, converting, dumping and freeing a tree all recurse once per level;
            // a bound keeps a hostile document from exhausting the stack.
            m_error = "elements nested deeper than " + std::to_string(kMaxXmlDepth) + " levels";
            XML_StopParser(m_parser, XML_FALSE);
            return;
        }
        for (std::size_t i = 0; atts[i] != nullptr; i += 2) {
            if (atts[i][0] == 'x' && BindsReservedPrefix(atts[i], atts[i + 1])) {
                m_error = "attempt to bind a reserved namespace prefix";
                XML_StopParser(m_parser, XML_FALSE);
                return;
            }
        }
        ++m_depth;
        m_events.StartElement(name, atts);
    }

    void End() {
        Flush();
        if (m_depth == 0) {
            return;
        }
        --m_depth;
        m_events.EndElement();
    }

    bool HasUnknownEntityInTag() const {
        XML_Index index = XML_GetCurrentByteIndex(m_parser);
        int count = XML_GetCurrentByteCount(m_parser);
        if (index < 0 || count <= 0 ||
            static_cast<std::size_t>(index) + static_cast<std::size_t>(count) > m_input.size()) {
            return false;
        }
        std::string_view tag =
            m_input.substr(static_cast<std::size_t>(index), static_cast<std::size_t>(count));
        for (std::size_t amp = tag.find('&'); amp != std::string::npos;
             amp = tag.find('&', amp + 1)) {
            std::size_t semi = tag.find(';', amp);
            if (semi == std::string::npos) {
                return true;
            }
            std::string_view ref = tag.substr(amp + 1, semi - amp - 1);
            if (!ref.empty() && ref[0] != '#' && ref != "lt" && ref != "gt" && ref != "amp" &&
                ref != "quot" && ref != "apos") {
                return true;
            }
        }
        return false;
    }

    void Raw(std::string_view piece) {
        if (m_inCData) {
            if (piece == "]]>") {
                m_inCData = false;
            }
            return;
        }
        // Markup and references are told apart by their first character; everything else
        // is text (character data reaches this handler in pieces, split at line ends).
        char const first = piece.empty() ? '\0' : piece[0];
        if (first == '<') {
            if (piece.starts_with("<!DOCTYPE")) {
                AddMarker(XmlPieceKind::DocumentType);
                m_inDoctype = true;
                m_sawDoctype = true;
                return;
            }
            if (m_inDoctype) {
                return;
            }
            if (piece.starts_with("<!--")) {
                AddMarker(XmlPieceKind::Comment);
                return;
            }
            if (piece.starts_with("<![CDATA[")) {
                AddMarker(XmlPieceKind::CDataSection);
                m_inCData = true;
                return;
            }
            if (piece.starts_with("<?")) {
                Flush();
                AddProcessingInstruction(piece);
                return;
            }
        } else if (m_inDoctype) {
            return;
        } else if (first == '&') {
            if (piece.starts_with("&#")) {
                if (m_depth != 0) {
                    bool hex = piece.size() > 2 && piece[2] == 'x';
                    std::uint32_t cp = static_cast<std::uint32_t>(
                        std::stoul(std::string(piece.substr(hex ? 3 : 2)), nullptr, hex ? 16 : 10));
                    AppendUTF8(m_run, cp);
                    m_runHasCharRef = true;
                }
                return;
            }
            if (piece.size() >= 3 && piece.back() == ';') {
                Flush();
                m_events.EntityReference(piece.substr(1, piece.size() - 2));
                return;
            }
        }
        if (m_depth != 0) {
            m_run += piece;
        }
    }

    void AddProcessingInstruction(std::string_view raw) {
        // raw is "<?target data?>": the data starts after the blanks that follow the target
        // and runs to the closing "?>", trailing blanks included.
        std::string_view body = raw.substr(2, raw.size() >= 4 ? raw.size() - 4 : 0);
        std::size_t nameEnd = 0;
        while (nameEnd < body.size() && !IsXmlBlank(body[nameEnd])) {
            ++nameEnd;
        }
        std::size_t dataStart = nameEnd;
        while (dataStart < body.size() && IsXmlBlank(body[dataStart])) {
            ++dataStart;
        }
        m_events.ProcessingInstruction(body.substr(0, nameEnd), body.substr(dataStart));
    }

    XML_Parser m_parser;
    std::string_view m_input;
    XmlEvents& m_events;
    std::size_t m_depth = 0;
    std::string m_run;
    std::string m_error;
    bool m_runHasCharRef = false;
    bool m_inCData = false;
    bool m_inDoctype = false;
    bool m_sawDoctype = false;
};

// Builds the piece tree from the events.
class PieceBuilder : public XmlEvents {
  public:
    std::vector<XmlPiece> TakeTopLevel() { return std::move(m_top); }

    void StartElement(char const* name, char const* const* attributes) override {
        XmlPiece element;
        element.kind = XmlPieceKind::Element;
        element.name = name;
        for (std::size_t i = 0; attributes[i] != nullptr; i += 2) {
            element.attributes.emplace_back(attributes[i], attributes[i + 1]);
        }
        m_open.push_back(std::move(element));
    }
    void EndElement() override {
        XmlPiece done = std::move(m_open.back());
        m_open.pop_back();
        Add(std::move(done));
    }
    void Text(std::string_view text) override {
        XmlPiece piece;
        piece.kind = XmlPieceKind::Text;
        piece.value = std::string(text);
        Add(std::move(piece));
    }
    void EntityReference(std::string_view name) override {
        XmlPiece piece;
        piece.kind = XmlPieceKind::EntityReference;
        piece.name = std::string(name);
        Add(std::move(piece));
    }
    void ProcessingInstruction(std::string_view target, std::string_view data) override {
        XmlPiece pi;
        pi.kind = XmlPieceKind::ProcessingInstruction;
        pi.name = std::string(target);
        pi.value = std::string(data);
        Add(std::move(pi));
    }
    void Refused(XmlPieceKind kind) override {
        XmlPiece piece;
        piece.kind = kind;
        Add(std::move(piece));
    }

  private:
    void Add(XmlPiece piece) {
        if (m_open.empty()) {
            m_top.push_back(std::move(piece));
        } else {
            m_open.back().children.push_back(std::move(piece));
        }
    }

    std::vector<XmlPiece> m_top;
    std::vector<XmlPiece> m_open;
};

bool IsXmlSpecial(char c) {
    return c == '&' || c == '<' || c == '>' || c == '\'' || c == '"';
}

void AppendEscaped(std::string& out, std::string_view text, bool attribute) {
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += attribute ? "'" : "&apos;";
            break;
        // A parser normalises these to blanks inside attribute values; written as
        // references they load back as themselves.
        case '\t':
            out += attribute ? "&#9;" : "\t";
            break;
        case '\n':
            out += attribute ? "&#10;" : "\n";
            break;
        case '\r':
            out += attribute ? "&#13;" : "\r";
            break;
        default:
            out += c;
        }
    }
}

void Serialize(XmlPiece const& piece, std::string& out) {
    switch (piece.kind) {
    case XmlPieceKind::Element:
        out += '<';
        out += piece.name;
        for (auto const& [key, value] : piece.attributes) {
            out += ' ';
            out += key;
            out += "=\"";
            AppendEscaped(out, value, true);
            out += '"';
        }
        out += '>';
        for (XmlPiece const& child : piece.children) {
            Serialize(child, out);
        }
        out += "</";
        out += piece.name;
        out += '>';
        break;
    case XmlPieceKind::Text:
        out += piece.value;
        break;
    case XmlPieceKind::ProcessingInstruction:
        out += "<?";
        out += piece.name;
        out += ' ';
        out += piece.name == "xml" ? DeclarationForUTF8(piece.value) : piece.value;
        out += "?>";
        break;
    case XmlPieceKind::EntityReference:
        out += '&';
        out += piece.name;
        out += ';';
        break;
    default:
        break;
    }
}

// The document as UTF-8: a view of the caller's bytes when they are UTF-8 already (the
// common case costs no copy), else a view of `storage` holding the converted text.
bool DecodeInput(void const* data, std::size_t length, std::string& storage,
                 std::string_view& input) {
    auto const* bytes = static_cast<char const*>(data);
    auto const* u = static_cast<unsigned char const*>(data);
    input = std::string_view(bytes, length);
    if (length <= 2) {
        return true;
    }
    bool utf16 = false;
    if ((u[0] == 0xFF && u[1] == 0xFE) || u[1] == 0x00) {
        std::size_t skip = (u[0] == 0xFF && u[1] == 0xFE) ? 2 : 0;
        if (!ConvertWithIcu("UTF-16LE", bytes + skip, length - skip, storage)) {
            return false;
        }
        utf16 = true;
        input = storage;
    } else if ((u[0] == 0xFE && u[1] == 0xFF) || u[0] == 0x00) {
        std::size_t skip = (u[0] == 0xFE && u[1] == 0xFF) ? 2 : 0;
        if (!ConvertWithIcu("UTF-16BE", bytes + skip, length - skip, storage)) {
            return false;
        }
        utf16 = true;
        input = storage;
    } else if (u[0] == 0xEF && u[1] == 0xBB && u[2] == 0xBF) {
        input = std::string_view(bytes + 3, length - 3);
    } else {
        std::string declared = DeclaredEncoding(bytes, length);
        if (!declared.empty() && !EqualsIgnoringAsciiCase(declared, "utf-8")) {
            if (!ConvertWithIcu(declared.c_str(), bytes, length, storage)) {
                return false;
            }
            input = storage;
        }
        return true;
    }
    // The byte-order mark decided the encoding; a declaration naming another family
    // contradicts it and makes the document malformed.
    return DeclarationAgrees(input, utf16);
}

} // namespace

bool ConvertXmlToUTF8(void const* data, std::size_t length, std::string& utf8) {
    std::string storage;
    std::string_view input;
    if (!DecodeInput(data, length, storage, input)) {
        return false;
    }
    utf8.assign(input);
    return true;
}

namespace {

using ExpatParser = std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)>;

// A parser for UTF-8 input (the explicit encoding overrides any declaration: the input is
// UTF-8 by the time expat sees it) with the reader's handlers; null when memory runs out.
// Expat's memory: its input buffer, the size of the whole document, is the one large block
// of a load; it comes from (and goes back to) the large block kept between documents.
void* ExpatMalloc(std::size_t size) {
    return size >= kMinLargeBlock ? AllocateLarge(size) : std::malloc(size);
}

void ExpatFree(void* block) {
    FreeLarge(block);
}

void* ExpatRealloc(void* block, std::size_t size) {
    return std::realloc(block, size);
}

XML_Memory_Handling_Suite const kExpatMemory = {&ExpatMalloc, &ExpatRealloc, &ExpatFree};

ExpatParser MakeParser(EventReader& reader) {
    ExpatParser parser(XML_ParserCreate_MM("UTF-8", &kExpatMemory, nullptr), XML_ParserFree);
    if (!parser) {
        return parser;
    }
    XML_SetUserData(parser.get(), &reader);
    XML_SetElementHandler(parser.get(), &EventReader::OnStart, &EventReader::OnEnd);
    XML_SetDefaultHandler(parser.get(), &EventReader::OnDefault);
    XML_SetSkippedEntityHandler(parser.get(), &EventReader::OnSkipped);
    // With a foreign DTD assumed, undeclared entities reach the skipped-entity handler
    // instead of failing the parse; the document model decides what they mean.
    XML_UseForeignDTD(parser.get(), XML_TRUE);
    return parser;
}

bool Fail(std::string* error, char const* what) {
    if (error != nullptr) {
        *error = what;
    }
    return false;
}

// The outcome of a parse: true when it went through, else false with the error and its line.
bool Outcome(XML_Parser parser, EventReader const& reader, XML_Status status, std::string* error) {
    if (status == XML_STATUS_OK) {
        return true;
    }
    if (error != nullptr) {
        std::string const line = std::to_string(XML_GetCurrentLineNumber(parser));
        *error = (reader.Error().empty() ? std::string(XML_ErrorString(XML_GetErrorCode(parser)))
                                         : reader.Error()) +
                 " at line " + line;
    }
    return false;
}

// Parses UTF-8 text held elsewhere.
bool ParseUTF8(std::string_view utf8, XmlEvents& events, std::string* error) {
    EventReader reader(nullptr, utf8, events);
    ExpatParser parser = MakeParser(reader);
    if (!parser) {
        return Fail(error, "out of memory");
    }
    reader.SetParser(parser.get());
    // Parsed in slices so that a document above 2 GiB does not overflow expat's int length.
    std::size_t offset = 0;
    XML_Status status = XML_STATUS_OK;
    do {
        std::size_t slice = std::min(kSlice, utf8.size() - offset);
        bool last = offset + slice == utf8.size();
        status = XML_Parse(parser.get(), utf8.data() + offset, static_cast<int>(slice),
                           last ? XML_TRUE : XML_FALSE);
        offset += slice;
    } while (status == XML_STATUS_OK && offset < utf8.size());
    return Outcome(parser.get(), reader, status, error);
}

} // namespace

bool ParseXml(void const* bytes, std::size_t length, XmlEvents& events, std::string* error) {
    std::string storage;
    std::string_view utf8;
    if (!DecodeInput(bytes, length, storage, utf8)) {
        return Fail(error, "unknown encoding or bytes that do not decode");
    }
    return ParseUTF8(utf8, events, error);
}

bool ParseXml(std::size_t length, std::function<bool(void*)> const& fill, XmlEvents& events,
              std::string* error) {
    if (length == 0 || length > kSlice) {
        std::string data;
        try {
            data.resize(length);
        } catch (std::exception const&) { // bad_alloc, or length_error past max_size()
            return Fail(error, "out of memory");
        }
        if (!fill(data.data())) {
            return Fail(error, "the document could not be read");
        }
        return ParseXml(data.data(), data.size(), events, error);
    }
    EventReader reader(nullptr, {}, events);
    ExpatParser parser = MakeParser(reader);
    void* buffer = parser ? XML_GetBuffer(parser.get(), static_cast<int>(length)) : nullptr;
    if (buffer == nullptr) {
        return Fail(error, "out of memory");
    }
    if (!fill(buffer)) {
        return Fail(error, "the document could not be read");
    }
    std::string storage;
    std::string_view utf8;
    if (!DecodeInput(buffer, length, storage, utf8)) {
        return Fail(error, "unknown encoding or bytes that do not decode");
    }
    if (utf8.data() != buffer || utf8.size() != length) {
        // Converted or without its byte-order mark: the text to parse is not the buffer's.
        std::string const text(utf8);
        parser.reset();
        return ParseUTF8(text, events, error);
    }
    reader.SetParser(parser.get());
    reader.SetInput(utf8);
    XML_Status status = XML_ParseBuffer(parser.get(), static_cast<int>(length), XML_TRUE);
    return Outcome(parser.get(), reader, status, error);
}

XmlParseResult ParseXml(void const* bytes, std::size_t length) {
    XmlParseResult result;
    PieceBuilder builder;
    if (!ParseXml(bytes, length, builder, &result.error)) {
        return result;
    }
    result.ok = true;
    result.topLevel = builder.TakeTopLevel();
    return result;
}

std::string DeclarationForUTF8(std::string const& data) {
    std::size_t at = data.find("encoding");
    while (at != std::string::npos) {
        std::size_t i = at + 8;
        while (i < data.size() && IsXmlBlank(data[i])) {
            ++i;
        }
        if (i < data.size() && data[i] == '=') {
            ++i;
            while (i < data.size() && IsXmlBlank(data[i])) {
                ++i;
            }
            if (i < data.size() && (data[i] == '"' || data[i] == '\'')) {
                std::size_t close = data.find(data[i], i + 1);
                if (close == std::string::npos) {
                    return data;
                }
                std::string name = data.substr(i + 1, close - i - 1);
                if (EqualsIgnoringAsciiCase(name, "utf-8")) {
                    return data;
                }
                return data.substr(0, i + 1) + "UTF-8" + data.substr(close);
            }
        }
        at = data.find("encoding", at + 8);
    }
    return data;
}

std::string EscapeXmlText(std::string const& text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    // A run of blanks between two references (or a reference and an end of the text) would
    // be dropped by the reader as whitespace between markup; written as character references
    // it loads back as itself. Every other character but the five is written as it is.
    std::size_t start = 0;
    std::size_t const size = text.size();
    while (true) {
        std::size_t end = start;
        bool blank = true;
        while (end < size && !IsXmlSpecial(text[end])) {
            blank = blank && IsXmlBlank(text[end]);
            ++end;
        }
        if (blank && end > start) {
            for (std::size_t k = start; k < end; ++k) {
                out += "&#";
                out += std::to_string(static_cast<int>(text[k]));
                out += ';';
            }
        } else {
            out.append(text, start, end - start);
        }
        if (end == size) {
            break;
        }
        AppendEscaped(out, std::string_view(&text[end], 1), false);
        start = end + 1;
    }
    return out;
}

std::string SerializeXml(std::vector<XmlPiece> const& pieces) {
    std::string out;
    for (XmlPiece const& piece : pieces) {
        Serialize(piece, out);
    }
    return out;
}

} // namespace varn::platform
