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
#include <unordered_map>

namespace varn::platform {

// Lets the reader tell a receiver where the piece it reports stands.
struct XmlEventsAccess {
    static void Locate(XmlEvents& events, XmlPlace (*locate)(void const*), void const* locator) {
        events.m_locate = locate;
        events.m_locator = locator;
    }
};

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

bool Refuse(XmlProblem* problem, std::string reason, unsigned long long line = 0,
            unsigned long long column = 0) {
    if (problem != nullptr) {
        problem->reason = std::move(reason);
        problem->line = line;
        problem->column = column;
    }
    return false;
}

// Converts with ICU, stopping at the first byte sequence the charset does not define; the
// problem then names the place of that sequence.
bool ConvertWithIcu(char const* charset, char const* bytes, std::size_t length, std::string& utf8,
                    XmlProblem* problem = nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UConverter, void (*)(UConverter*)> conv(ucnv_open(charset, &status),
                                                            ucnv_close);
    if (U_FAILURE(status) || !conv) {
        return Refuse(problem, std::string("unsupported encoding ") + charset, 1, 1);
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
        // The place of the first undecodable sequence: what converted before it, counted.
        unsigned long long line = 1;
        unsigned long long column = 1;
        for (UChar const* u = reinterpret_cast<UChar*>(units.data()); u < target; ++u) {
            if (*u == u'\n') {
                ++line;
                column = 1;
            } else if (*u < 0xDC00 || *u > 0xDFFF) {
                ++column;
            }
        }
        return Refuse(problem, std::string("bytes that do not decode as ") + charset, line, column);
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
    std::size_t at = head.find("encoding");
    if (at == std::string::npos) {
        return {};
    }
    // Blanks may stand on both sides of the "=".
    std::size_t open = at + 8;
    while (open < head.size() && IsXmlBlank(head[open])) {
        ++open;
    }
    if (open >= head.size() || head[open] != '=') {
        return {};
    }
    ++open;
    while (open < head.size() && IsXmlBlank(head[open])) {
        ++open;
    }
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
// made before an element is reported. In a lenient read comments are skipped, CDATA sections
// join the text run, and the general entities declared in the internal subset are expanded
// here (expat is never asked to expand them: with the plain default handler it reports them
// raw, and it opens nothing by itself).
class EventReader {
  public:
    EventReader(XML_Parser parser, std::string_view input, XmlEvents& events,
                XmlReadOptions const& options)
        : m_parser(parser), m_input(input), m_events(events), m_lenient(options.lenient) {}

    XmlProblem const& Problem() const { return m_problem; }

    // The first reference in the tag starting at `tag` that names neither one of the five nor
    // a declared entity; empty when there is none.
    std::string FirstUnknownReference(std::string_view tag) const {
        std::size_t const close = tag.find('>');
        tag = tag.substr(0, close);
        for (std::size_t amp = tag.find('&'); amp != std::string_view::npos;
             amp = tag.find('&', amp + 1)) {
            std::size_t const semi = tag.find(';', amp);
            std::string_view const ref =
                tag.substr(amp + 1, semi == std::string_view::npos ? semi : semi - amp - 1);
            if (!ref.empty() && ref[0] != '#' && !IsPredefined(ref) &&
                m_entities.find(std::string(ref)) == m_entities.end()) {
                return std::string(ref);
            }
        }
        return {};
    }
    bool Stopped() const { return !m_problem.reason.empty(); }
    bool Lenient() const { return m_lenient; }
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
    // Undeclared entities arrive here, and so (since expat does not expand them for us) do
    // the declared internal ones.
    static void XMLCALL OnSkipped(void* self, XML_Char const* name, int isParameterEntity) {
        if (isParameterEntity == 0) {
            static_cast<EventReader*>(self)->Reference(name);
        }
    }
    static void XMLCALL OnDoctypeStart(void* self, XML_Char const* /*name*/,
                                       XML_Char const* /*systemId*/, XML_Char const* /*publicId*/,
                                       int /*internalSubset*/) {
        auto* reader = static_cast<EventReader*>(self);
        reader->m_inDoctype = true;
        reader->m_sawDoctype = true;
    }
    static void XMLCALL OnDoctypeEnd(void* self) {
        static_cast<EventReader*>(self)->m_inDoctype = false;
    }
    // Only the first declaration of an entity binds. Values are UTF-8 with character
    // references already replaced; references to general entities are still in them.
    static void XMLCALL OnEntityDecl(void* self, XML_Char const* name, int isParameterEntity,
                                     XML_Char const* value, int valueLength,
                                     XML_Char const* /*base*/, XML_Char const* /*systemId*/,
                                     XML_Char const* /*publicId*/,
                                     XML_Char const* /*notationName*/) {
        if (isParameterEntity != 0) {
            return;
        }
        Entity entity;
        entity.external = value == nullptr;
        if (value != nullptr) {
            entity.text.assign(value, static_cast<std::size_t>(valueLength));
        }
        static_cast<EventReader*>(self)->m_entities.emplace(name, std::move(entity));
    }

    // Where the current event starts.
    static XmlPlace Locate(void const* parser) {
        auto p = static_cast<XML_Parser>(const_cast<void*>(parser));
        return XmlPlace{static_cast<unsigned long long>(XML_GetCurrentLineNumber(p)),
                        static_cast<unsigned long long>(XML_GetCurrentColumnNumber(p)) + 1};
    }

  private:
    struct Entity {
        bool external = false;
        std::string text;
    };

    // Stops the parse with a reason, placed at the current event.
    void Stop(std::string reason) {
        XmlPlace const place = Locate(m_parser);
        m_problem.reason = std::move(reason);
        m_problem.line = place.line;
        m_problem.column = place.column;
        m_expanding.clear();
        XML_StopParser(m_parser, XML_FALSE);
    }

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

    // expat may still report what the current buffer holds after a stop.
    void Start(XML_Char const* name, XML_Char const** atts) {
        if (Stopped()) {
            return;
        }
        Flush();
        if (!m_lenient) {
            m_inDoctype = false;
        }
        std::string unknown;
        if ((m_lenient || !m_sawDoctype) && !TagReferencesResolve(unknown)) {
            // expat silently drops an undeclared entity inside an attribute value; the model
            // cannot keep it, so the document is refused rather than loaded with a hole.
            if (!Stopped()) {
                Stop("unknown entity &" + unknown + ";");
            }
            return;
        }
        if (m_depth >= kMaxXmlDepth) {
            // Building, converting, dumping and freeing a tree all recurse once per level;
            // a bound keeps a hostile document from exhausting the stack.
            Stop("nesting deeper than " + std::to_string(kMaxXmlDepth));
            return;
        }
        for (std::size_t i = 0; atts[i] != nullptr; i += 2) {
            if (atts[i][0] == 'x' && BindsReservedPrefix(atts[i], atts[i + 1])) {
                Stop("attempt to bind a reserved namespace prefix");
                return;
            }
        }
        ++m_depth;
        m_events.StartElement(name, atts);
    }

    void End() {
        if (Stopped()) {
            return;
        }
        Flush();
        if (m_depth == 0) {
            return;
        }
        --m_depth;
        m_events.EndElement();
    }

    static bool IsPredefined(std::string_view name) {
        return name == "lt" || name == "gt" || name == "amp" || name == "quot" || name == "apos";
    }

    // Whether every entity the raw start tag refers to resolves: one of the five (or a
    // character reference), or in a lenient read an internal entity whose replacement text
    // resolves in turn (expat expanded it). `unknown` receives the first that does not.
    bool TagReferencesResolve(std::string& unknown) {
        XML_Index index = XML_GetCurrentByteIndex(m_parser);
        int count = XML_GetCurrentByteCount(m_parser);
        if (index < 0 || count <= 0 ||
            static_cast<std::size_t>(index) + static_cast<std::size_t>(count) > m_input.size()) {
            return true;
        }
        std::string_view tag =
            m_input.substr(static_cast<std::size_t>(index), static_cast<std::size_t>(count));
        for (std::size_t amp = tag.find('&'); amp != std::string::npos;
             amp = tag.find('&', amp + 1)) {
            std::size_t semi = tag.find(';', amp);
            if (semi == std::string::npos) {
                unknown = std::string(tag.substr(amp + 1));
                return false;
            }
            std::string_view ref = tag.substr(amp + 1, semi - amp - 1);
            if (ref.empty() || ref[0] == '#' || IsPredefined(ref)) {
                continue;
            }
            if (!m_lenient || !m_sawDoctype) {
                unknown = std::string(ref);
                return false;
            }
            std::string scratch;
            if (!Expand(ref, scratch, 0)) {
                return false; // Expand stopped the parse with its own reason
            }
        }
        return true;
    }

    // Appends the replacement text of the general entity `name` with its references expanded
    // in turn. Only text can be expanded: an external entity is never read, and a replacement
    // text holding markup is refused. The limits are those that expat applies to its own
    // expansion (nesting as deep as elements may nest; more than 8 MiB expanded may not be
    // more than 100 times the document), so that a small document cannot expand to gigabytes.
    bool Expand(std::string_view name, std::string& out, std::size_t depth) {
        auto const found = m_entities.find(std::string(name));
        if (found == m_entities.end()) {
            Stop("unknown entity &" + std::string(name) + ";");
            return false;
        }
        Entity const& entity = found->second;
        if (entity.external) {
            Stop("external entity &" + std::string(name) + "; (not read)");
            return false;
        }
        if (depth >= kMaxXmlDepth ||
            std::find(m_expanding.begin(), m_expanding.end(), name) != m_expanding.end()) {
            Stop("entity &" + std::string(name) + "; refers to itself or nests too deep");
            return false;
        }
        m_expanding.push_back(name);
        std::string_view const text = entity.text;
        std::size_t i = 0;
        while (i < text.size()) {
            std::size_t next = text.find_first_of("<&", i);
            if (next == std::string_view::npos) {
                next = text.size();
            }
            out.append(text.substr(i, next - i));
            m_expanded += next - i;
            if (next == text.size()) {
                break;
            }
            if (text[next] == '<') {
                Stop("entity &" + std::string(name) + "; holds markup");
                return false;
            }
            std::size_t const semi = text.find(';', next);
            if (semi == std::string_view::npos) {
                Stop("entity &" + std::string(name) + "; holds a broken reference");
                return false;
            }
            std::string_view const ref = text.substr(next + 1, semi - next - 1);
            if (!ExpandReference(name, ref, out, depth)) {
                return false;
            }
            i = semi + 1;
        }
        m_expanding.pop_back();
        if (m_expanded > (std::size_t{8} << 20) && m_expanded / 100 > m_input.size()) {
            Stop("entity expansion more than 100 times the document");
            return false;
        }
        return true;
    }

    bool ExpandReference(std::string_view owner, std::string_view ref, std::string& out,
                         std::size_t depth) {
        static constexpr std::string_view kNames[] = {"lt", "gt", "amp", "quot", "apos"};
        static constexpr char kCharacters[] = {'<', '>', '&', '"', '\''};
        for (int k = 0; k < 5; ++k) {
            if (ref == kNames[k]) {
                out += kCharacters[k];
                ++m_expanded;
                return true;
            }
        }
        if (!ref.empty() && ref[0] == '#') {
            bool const hex = ref.size() > 1 && ref[1] == 'x';
            std::string_view digits = ref.substr(hex ? 2 : 1);
            std::uint32_t cp = 0;
            bool valid = !digits.empty() && digits.size() <= 8;
            for (char c : digits) {
                int d = c >= '0' && c <= '9'          ? c - '0'
                        : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                      : -1;
                valid = valid && d >= 0;
                cp = cp * (hex ? 16 : 10) + static_cast<std::uint32_t>(d < 0 ? 0 : d);
            }
            valid = valid && (cp == 0x9 || cp == 0xA || cp == 0xD || (cp >= 0x20 && cp <= 0xD7FF) ||
                              (cp >= 0xE000 && cp <= 0xFFFD) || (cp >= 0x10000 && cp <= 0x10FFFF));
            if (!valid) {
                Stop("entity &" + std::string(owner) + "; holds a broken character reference");
                return false;
            }
            AppendUTF8(out, cp);
            m_expanded += 4;
            return true;
        }
        return Expand(ref, out, depth + 1);
    }

    void Raw(std::string_view piece) {
        if (Stopped()) {
            return;
        }
        if (m_inCData) {
            if (piece == "]]>") {
                m_inCData = false;
            } else if (m_lenient && m_depth != 0) {
                // The section's text, taken as it stands, like a character reference kept
                // even when it is blank.
                m_run += piece;
                m_runHasCharRef = true;
            }
            return;
        }
        if (m_lenient && m_inDoctype) {
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
                if (!m_lenient) {
                    AddMarker(XmlPieceKind::Comment);
                }
                return;
            }
            if (piece.starts_with("<![CDATA[")) {
                if (!m_lenient) {
                    AddMarker(XmlPieceKind::CDataSection);
                }
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
                Reference(piece.substr(1, piece.size() - 2));
                return;
            }
        }
        if (m_depth != 0) {
            m_run += piece;
        }
    }

    // A reference to a named entity in content. In a lenient read an entity other than the
    // five has its text expanded into the run (kept even when blank, as written on purpose).
    void Reference(std::string_view name) {
        if (Stopped()) {
            return;
        }
        if (m_lenient && m_depth != 0 && !IsPredefined(name)) {
            if (Expand(name, m_run, 0)) {
                m_runHasCharRef = true;
            }
            return;
        }
        Flush();
        m_events.EntityReference(name);
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
    bool const m_lenient;
    std::size_t m_depth = 0;
    std::string m_run;
    XmlProblem m_problem;
    std::unordered_map<std::string, Entity> m_entities;
    std::vector<std::string_view> m_expanding; ///< entities being expanded, outermost first
    std::size_t m_expanded = 0;                ///< bytes that expansion added so far
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
            // In text too: a reader turns a carriage return written plainly (with the line
            // feed after it) into a line feed.
            out += "&#13;";
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
                 std::string_view& input, XmlProblem* problem = nullptr) {
    auto const* bytes = static_cast<char const*>(data);
    auto const* u = static_cast<unsigned char const*>(data);
    input = std::string_view(bytes, length);
    if (length <= 2) {
        return true;
    }
    bool utf16 = false;
    if ((u[0] == 0xFF && u[1] == 0xFE) || u[1] == 0x00) {
        std::size_t skip = (u[0] == 0xFF && u[1] == 0xFE) ? 2 : 0;
        if (!ConvertWithIcu("UTF-16LE", bytes + skip, length - skip, storage, problem)) {
            return false;
        }
        utf16 = true;
        input = storage;
    } else if ((u[0] == 0xFE && u[1] == 0xFF) || u[0] == 0x00) {
        std::size_t skip = (u[0] == 0xFE && u[1] == 0xFF) ? 2 : 0;
        if (!ConvertWithIcu("UTF-16BE", bytes + skip, length - skip, storage, problem)) {
            return false;
        }
        utf16 = true;
        input = storage;
    } else if (u[0] == 0xEF && u[1] == 0xBB && u[2] == 0xBF) {
        input = std::string_view(bytes + 3, length - 3);
    } else {
        std::string declared = DeclaredEncoding(bytes, length);
        if (!declared.empty() && !EqualsIgnoringAsciiCase(declared, "utf-8")) {
            if (!ConvertWithIcu(declared.c_str(), bytes, length, storage, problem)) {
                return false;
            }
            input = storage;
        }
        return true;
    }
    // The byte-order mark decided the encoding; a declaration naming another family
    // contradicts it and makes the document malformed.
    if (!DeclarationAgrees(input, utf16)) {
        return Refuse(problem,
                      "declared encoding " + DeclaredEncoding(input.data(), input.size()) +
                          " differs from the byte-order mark",
                      1, 1);
    }
    return true;
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
    if (reader.Lenient()) {
        // The declarations are read for their general entities; no external entity handler
        // is set and parameter entities are not parsed, so expat reads no DTD or entity from
        // outside the document. No foreign DTD is assumed here: with one, expat skips the
        // declarations of the internal subset. An undeclared entity then fails the parse.
        XML_SetDoctypeDeclHandler(parser.get(), &EventReader::OnDoctypeStart,
                                  &EventReader::OnDoctypeEnd);
        XML_SetEntityDeclHandler(parser.get(), &EventReader::OnEntityDecl);
        XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);
    } else {
        // With a foreign DTD assumed, undeclared entities reach the skipped-entity handler
        // instead of failing the parse; the document model decides what they mean.
        XML_UseForeignDTD(parser.get(), XML_TRUE);
    }
    return parser;
}

// The name of the tag at the byte where expat stopped ("</a" for "</a>").
std::string TagAt(std::string_view input, XML_Index index) {
    if (index < 0 || static_cast<std::size_t>(index) >= input.size()) {
        return {};
    }
    std::size_t const start = static_cast<std::size_t>(index);
    std::size_t end = start + 1;
    while (end < input.size() && end - start < 256 && input[end] != '>' && input[end] != ';' &&
           !IsXmlBlank(input[end]) && input[end] != '<') {
        ++end;
    }
    return std::string(input.substr(start, end - start));
}

// The outcome of a parse: true when it went through, else false with the reason and place.
bool Outcome(XML_Parser parser, EventReader const& reader, std::string_view input,
             XML_Status status, XmlProblem* problem) {
    if (status == XML_STATUS_OK) {
        return true;
    }
    if (problem == nullptr) {
        return false;
    }
    if (reader.Stopped()) {
        *problem = reader.Problem();
        return false;
    }
    XML_Error const code = XML_GetErrorCode(parser);
    std::string reason = XML_ErrorString(code);
    XML_Index at = XML_GetCurrentByteIndex(parser);
    unsigned long long column = XML_GetCurrentColumnNumber(parser) + 1;
    if (code == XML_ERROR_TAG_MISMATCH && at >= 2 &&
        input.substr(static_cast<std::size_t>(at - 2), 2) == "</") {
        at -= 2; // expat points at the name
        column = column > 2 ? column - 2 : 1;
    }
    std::string const tag = TagAt(input, at);
    if (code == XML_ERROR_TAG_MISMATCH && tag.starts_with("</")) {
        reason = "mismatched end tag " + tag + ">";
    } else if (code == XML_ERROR_UNDEFINED_ENTITY && tag.starts_with("&")) {
        reason = "unknown entity " + tag + ";";
    } else if (code == XML_ERROR_UNDEFINED_ENTITY && at >= 0 &&
               static_cast<std::size_t>(at) < input.size()) {
        // In an attribute value: expat points at the start tag.
        std::string const name =
            reader.FirstUnknownReference(input.substr(static_cast<std::size_t>(at)));
        if (!name.empty()) {
            reason = "unknown entity &" + name + ";";
        }
    }
    return Refuse(problem, std::move(reason),
                  static_cast<unsigned long long>(XML_GetCurrentLineNumber(parser)), column);
}

// Parses UTF-8 text held elsewhere.
bool ParseUTF8(std::string_view utf8, XmlEvents& events, XmlReadOptions const& options,
               XmlProblem* problem) {
    EventReader reader(nullptr, utf8, events, options);
    ExpatParser parser = MakeParser(reader);
    if (!parser) {
        return Refuse(problem, "out of memory");
    }
    reader.SetParser(parser.get());
    XmlEventsAccess::Locate(events, &EventReader::Locate, parser.get());
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
    bool const ok = Outcome(parser.get(), reader, utf8, status, problem);
    XmlEventsAccess::Locate(events, nullptr, nullptr);
    return ok;
}

// The reason and the line of a problem, in the words of the former error text.
bool Describe(XmlProblem const& problem, std::string* error) {
    if (error != nullptr) {
        *error = problem.reason;
        if (problem.line != 0) {
            *error += " at line " + std::to_string(problem.line);
        }
    }
    return false;
}

} // namespace

bool ParseXml(void const* bytes, std::size_t length, XmlEvents& events, std::string* error) {
    std::string storage;
    std::string_view utf8;
    XmlProblem problem;
    if (!DecodeInput(bytes, length, storage, utf8, &problem) ||
        !ParseUTF8(utf8, events, XmlReadOptions{}, &problem)) {
        return Describe(problem, error);
    }
    return true;
}

bool ParseXml(std::size_t length, std::function<bool(void*)> const& fill, XmlEvents& events,
              std::string* error) {
    XmlProblem problem;
    if (!ParseXml(length, fill, events, XmlReadOptions{}, &problem)) {
        return Describe(problem, error);
    }
    return true;
}

bool ParseXml(std::size_t length, std::function<bool(void*)> const& fill, XmlEvents& events,
              XmlReadOptions const& options, XmlProblem* problem) {
    if (length == 0 || length > kSlice) {
        std::string data;
        try {
            data.resize(length);
        } catch (std::exception const&) { // bad_alloc, or length_error past max_size()
            return Refuse(problem, "out of memory");
        }
        if (!fill(data.data())) {
            return Refuse(problem, "the document could not be read");
        }
        std::string storage;
        std::string_view utf8;
        if (!DecodeInput(data.data(), data.size(), storage, utf8, problem)) {
            return false;
        }
        return ParseUTF8(utf8, events, options, problem);
    }
    EventReader reader(nullptr, {}, events, options);
    ExpatParser parser = MakeParser(reader);
    void* buffer = parser ? XML_GetBuffer(parser.get(), static_cast<int>(length)) : nullptr;
    if (buffer == nullptr) {
        return Refuse(problem, "out of memory");
    }
    if (!fill(buffer)) {
        return Refuse(problem, "the document could not be read");
    }
    std::string storage;
    std::string_view utf8;
    if (!DecodeInput(buffer, length, storage, utf8, problem)) {
        return false;
    }
    if (utf8.data() != buffer || utf8.size() != length) {
        // Converted or without its byte-order mark: the text to parse is not the buffer's.
        std::string const text(utf8);
        parser.reset();
        return ParseUTF8(text, events, options, problem);
    }
    reader.SetParser(parser.get());
    reader.SetInput(utf8);
    XmlEventsAccess::Locate(events, &EventReader::Locate, parser.get());
    XML_Status status = XML_ParseBuffer(parser.get(), static_cast<int>(length), XML_TRUE);
    bool const ok = Outcome(parser.get(), reader, utf8, status, problem);
    XmlEventsAccess::Locate(events, nullptr, nullptr);
    return ok;
}

bool IsXmlName(std::string_view name) {
    bool ascii = true;
    for (std::size_t i = 0; i < name.size(); ++i) {
        unsigned char const c = static_cast<unsigned char>(name[i]);
        if (c >= 0x80) {
            ascii = false;
            continue;
        }
        bool const start = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':';
        bool const inner = start || (c >= '0' && c <= '9') || c == '.' || c == '-';
        if (!(i == 0 ? start : inner)) {
            return false;
        }
    }
    if (name.empty() || ascii) {
        return !name.empty();
    }
    // Which letters beyond ASCII make a name is the reader's own table: ask it.
    std::string const probe = "<" + std::string(name) + "/>";
    ExpatParser parser(XML_ParserCreate("UTF-8"), XML_ParserFree);
    return parser && XML_Parse(parser.get(), probe.data(), static_cast<int>(probe.size()),
                               XML_TRUE) == XML_STATUS_OK;
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
    // it loads back as itself. Every other character but the five and CR is written as it is.
    std::size_t start = 0;
    std::size_t const size = text.size();
    while (true) {
        std::size_t end = start;
        bool blank = true;
        while (end < size && !IsXmlSpecial(text[end]) && text[end] != '\r') {
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
