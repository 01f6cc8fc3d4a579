// CUXmlDomDocumentNode.cpp — the document root: factories, loading and writing.
//
// Loading: the platform reader hands the document's pieces over one by one as it parses, and
// the builder below turns them into nodes with the model's rules (which kinds are kept, when
// an element is attached, the merging of text and predefined entities) as they arrive, without
// an intermediate tree. Writing walks the nodes straight into one UTF-8 buffer.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUStream.h>
#include <VarnUtilityLib/CUXmlDomDocumentNode.h>

#include "platform/Data.h"
#include "platform/SmallBlocks.h"
#include "platform/Text.h"
#include "platform/XmlParser.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>
#include <vector>

using varn::platform::XmlPieceKind;

namespace {

namespace platform = varn::platform;

// Releasing a tree loaded from this many bytes or more gives freed memory back to the system.
constexpr unsigned long long kGiveBackAfterBytes = 1u << 20;

// ---- loading ----

// Reads the stream's whole content, from its first byte whatever its position, into `buffer`
// (room for `length` bytes). False when the read comes back short. Codes thrown by the stream
// pass through.
bool CreateCFDataFromStreamMac(CUStream& stream, unsigned long long length, void* buffer) {
    unsigned long long read =
        stream.Read(static_cast<unsigned char*>(buffer), length, 0, CUStream_Seek_Origin_Begin);
    return read == length;
}

// A string over a text made from content UTF-8 (a leading U+FEFF is content, not a mark);
// null when the bytes do not decode.
CUSharedPtr<CUStringMac> MakeString(std::string_view utf8) {
    platform::Text const* text = platform::DecodeUTF8Content(utf8.data(), utf8.size());
    if (text == nullptr) {
        return {};
    }
    CUSharedPtr<CUStringMac> string(new CUStringMac(text));
    platform::Release(text);
    return string;
}

// The names of one document, each decoded once. Every element and attribute of a name shares
// the name's immutable text (and so its collation key, which the attribute maps compute on
// first use); each node still gets a string object of its own, since strings can be assigned.
class NameTable {
  public:
    struct Entry {
        platform::Text const* text = nullptr;
        CUSharedPtr<CUStringMac> key; ///< handed to SetAttribute, which stores its own copy
    };

    NameTable() = default;
    NameTable(NameTable const&) = delete;
    NameTable& operator=(NameTable const&) = delete;
    ~NameTable() {
        for (auto& [name, entry] : m_entries) {
            platform::Release(entry.text);
        }
    }

    // The entry of a name; null when the name does not decode.
    Entry const* Find(std::string_view name) {
        auto found = m_entries.find(name);
        if (found != m_entries.end()) {
            return &found->second;
        }
        platform::Text const* text = platform::DecodeUTF8Content(name.data(), name.size());
        if (text == nullptr) {
            return nullptr;
        }
        Entry entry;
        entry.text = text;
        entry.key = CUSharedPtr<CUStringMac>(new CUStringMac(text));
        return &m_entries.emplace(std::string(name), std::move(entry)).first->second;
    }

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view s) const noexcept {
            return std::hash<std::string_view>()(s);
        }
    };
    std::unordered_map<std::string, Entry, Hash, std::equal_to<>> m_entries;
};

// Texts of short values seen recently (attribute values such as "true", "en" or "1", short
// text content), so that repeated values share one immutable text instead of each holding a
// copy. A small direct-mapped cache: a miss decodes and takes the slot over.
class ValueCache {
  public:
    ValueCache() = default;
    ValueCache(ValueCache const&) = delete;
    ValueCache& operator=(ValueCache const&) = delete;
    ~ValueCache() {
        for (Slot& slot : m_slots) {
            platform::Release(slot.text);
        }
    }

    // A new string over the value's text; null when the bytes do not decode.
    CUSharedPtr<CUStringMac> Make(std::string_view utf8) {
        if (utf8.size() > kMaxLength) {
            return MakeString(utf8);
        }
        std::uint32_t hash = 2166136261u; // FNV-1a
        for (char c : utf8) {
            hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
        }
        Slot& slot = m_slots[hash % kSlots];
        if (slot.text == nullptr || slot.length != utf8.size() ||
            std::memcmp(slot.bytes, utf8.data(), utf8.size()) != 0) {
            platform::Text const* text = platform::DecodeUTF8Content(utf8.data(), utf8.size());
            if (text == nullptr) {
                return {};
            }
            platform::Release(slot.text);
            slot.text = text;
            slot.length = static_cast<std::uint8_t>(utf8.size());
            std::memcpy(slot.bytes, utf8.data(), utf8.size());
        }
        return CUSharedPtr<CUStringMac>(new CUStringMac(slot.text));
    }

  private:
    static constexpr std::size_t kMaxLength = 22;
    static constexpr std::size_t kSlots = 512;
    struct Slot {
        platform::Text const* text = nullptr;
        std::uint8_t length = 0;
        char bytes[kMaxLength];
    };
    Slot m_slots[kSlots];
};

// Builds nodes from the reader's pieces. The rules are those of a conversion of the finished
// piece tree, one top-level piece after another:
// - an element is attached to its parent only once its whole subtree converted and its text
//   merged; a failure anywhere inside fails every enclosing element, so the first failure
//   loses the top-level piece that holds it and ends the conversion;
// - the text and the references to the five predefined entities of one element are merged
//   into one text node standing where the first of them stood;
// - comments, CDATA sections, a document type and references to other entities fail.
// Top-level nodes wait in a list of their own: a document that turns out malformed later on
// adds nothing, as a parse that fails before any conversion would.
class NodeBuilder : public platform::XmlEvents {
  public:
    bool Failed() const { return m_failed; }
    platform::XmlProblem const& Problem() const { return m_problem; }
    std::vector<CUSharedPtr<CUObject>>& TopLevel() { return m_top; }

    void StartElement(char const* name, char const* const* attributes) override {
        if (m_failed) {
            return;
        }
        NameTable::Entry const* entry = m_names.Find(name);
        if (entry == nullptr) {
            Fail("element that cannot be built");
            return;
        }
        CUSharedPtr<CUXmlDomElementNode> element = CUXmlDomDocumentNode::CreateElementNode(
            CUSharedPtr<CUStringMac>(new CUStringMac(entry->text)));
        if (!element) {
            Fail("element that cannot be built");
            return;
        }
        for (std::size_t i = 0; attributes[i] != nullptr; i += 2) {
            NameTable::Entry const* key = m_names.Find(attributes[i]);
            CUSharedPtr<CUStringMac> value = m_values.Make(attributes[i + 1]);
            if (key == nullptr || !value ||
                CUStatusFailed(element->SetAttribute(key->key, std::move(value)))) {
                Fail("attribute that cannot be stored");
                return;
            }
        }
        if (m_depth == m_open.size()) {
            m_open.emplace_back();
        }
        Open& open = m_open[m_depth++];
        open.element = std::move(element);
        open.inRun = false;
    }

    void EndElement() override {
        if (m_failed) {
            return;
        }
        Open& open = m_open[--m_depth];
        std::vector<CUSharedPtr<CUObject>>& children =
            open.element->GetChildNodes()->GetInternalArray();
        children.reserve(open.staged.size() + (open.inRun ? 1 : 0));
        for (std::size_t i = 0; i < open.staged.size(); ++i) {
            if (open.inRun && i == open.runStart) {
                if (!AddMergedText(open, children)) {
                    return;
                }
            }
            children.push_back(std::move(open.staged[i]));
        }
        if (open.inRun && open.runStart == open.staged.size() && !AddMergedText(open, children)) {
            return;
        }
        open.staged.clear();
        CUSharedPtr<CUObject> element = std::move(open.element);
        Add(std::move(element));
    }

    void Text(std::string_view text) override {
        if (m_failed || m_depth == 0) {
            return;
        }
        Open& open = StartRun();
        open.text.append(text);
    }

    void EntityReference(std::string_view name) override {
        if (m_failed) {
            return;
        }
        if (m_depth == 0) {
            // Outside every element a reference is a node of its own: no merging pass runs
            // over the document's own list.
            CUSharedPtr<CUStringMac> string = MakeString(name);
            CUSharedPtr<CUXmlDomEntityReferenceNode> node =
                string ? CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(string) : nullptr;
            if (!node) {
                Fail("entity reference that cannot be built");
                return;
            }
            Add(std::move(node));
            return;
        }
        static constexpr std::string_view kNames[] = {"lt", "gt", "amp", "quot", "apos"};
        static constexpr char kCharacters[] = {'<', '>', '&', '"', '\''};
        for (int k = 0; k < 5; ++k) {
            if (name == kNames[k]) {
                StartRun().text.push_back(kCharacters[k]);
                return;
            }
        }
        // Any other entity cannot be merged into text: the element fails.
        Fail("unknown entity &" + std::string(name) + ";");
    }

    void ProcessingInstruction(std::string_view target, std::string_view data) override {
        if (m_failed) {
            return;
        }
        CUSharedPtr<CUStringMac> targetString = MakeString(target);
        CUSharedPtr<CUStringMac> dataString = MakeString(data);
        CUSharedPtr<CUXmlDomProcessingInstructionNode> node =
            targetString && dataString
                ? CUXmlDomDocumentNode::CreateProcessingInstructionNode(targetString, dataString)
                : nullptr;
        if (!node) {
            Fail("processing instruction that cannot be built");
            return;
        }
        Add(std::move(node));
    }

    void Refused(XmlPieceKind kind) override {
        // Comments, CDATA sections and document type declarations are not part of the model.
        Fail(kind == XmlPieceKind::Comment        ? "comment"
             : kind == XmlPieceKind::CDataSection ? "CDATA section"
                                                  : "document type declaration");
    }

  private:
    // One open element: its node, its children so far (moved into the node's list in one go
    // when it ends, so the list is allocated once at its final size), and its text run.
    struct Open {
        CUSharedPtr<CUXmlDomElementNode> element;
        std::vector<CUSharedPtr<CUObject>> staged;
        std::string text; ///< UTF-8 of the text and predefined references so far
        bool inRun = false;
        std::size_t runStart = 0; ///< place of the first text piece among the children
    };

    Open& StartRun() {
        Open& open = m_open[m_depth - 1];
        if (!open.inRun) {
            open.inRun = true;
            open.runStart = open.staged.size();
            open.text.clear();
        }
        return open;
    }

    bool AddMergedText(Open& open, std::vector<CUSharedPtr<CUObject>>& children) {
        CUSharedPtr<CUStringMac> text = m_values.Make(open.text);
        CUSharedPtr<CUXmlDomTextNode> node =
            text ? CUXmlDomDocumentNode::CreateTextNode(text) : nullptr;
        if (!node) {
            Fail("text that cannot be built");
            return false;
        }
        children.push_back(std::move(node));
        return true;
    }

    void Add(CUSharedPtr<CUObject> node) {
        if (m_depth == 0) {
            m_top.push_back(std::move(node));
        } else {
            m_open[m_depth - 1].staged.push_back(std::move(node));
        }
    }

    // Everything open is dropped with its subtree, and nothing more is built. The first
    // failure is the one reported, with the place of the piece that caused it.
    void Fail(char const* reason) { Fail(std::string(reason)); }
    void Fail(std::string reason) {
        if (!m_failed) {
            m_problem.reason = std::move(reason);
            platform::XmlPlace const place = Place();
            m_problem.line = place.line;
            m_problem.column = place.column;
        }
        m_failed = true;
        m_open.clear();
        m_depth = 0;
    }

    NameTable m_names;
    ValueCache m_values;
    std::vector<Open> m_open; ///< entries past m_depth are kept for their buffers
    std::size_t m_depth = 0;
    std::vector<CUSharedPtr<CUObject>> m_top;
    platform::XmlProblem m_problem;
    bool m_failed = false;
};

// ---- writing ----

// The node behind a child list's entry, or null. The node classes of this library are
// recognised by their exact type, which is cheaper than a cast searching the class tree.
CUXmlDomNode* AsNode(CUObject* object) {
    if (object == nullptr) {
        return nullptr;
    }
    char const* type = typeid(*object).name();
    if (type == typeid(CUXmlDomElementNode).name() || type == typeid(CUXmlDomTextNode).name()) {
        return static_cast<CUXmlDomNode*>(object);
    }
    return dynamic_cast<CUXmlDomNode*>(object);
}

// The string behind an attribute value, or null. A string is reached from its (virtual) base
// through its most derived object when that is exactly a string.
CUStringMac* AsString(CUObject* object) {
    if (object == nullptr) {
        return nullptr;
    }
    if (typeid(*object).name() == typeid(CUStringMac).name()) {
        return static_cast<CUStringMac*>(dynamic_cast<void*>(object));
    }
    return dynamic_cast<CUStringMac*>(object);
}

// The stored fields of a node. For the library's own node classes, whose getters hand out
// exactly these, the writer reads them in place instead of through getters that copy a shared
// pointer (two atomic count changes) per call.
struct NodeFields : CUXmlDomNode {
    static bool Plain(CUXmlDomNode* node) {
        char const* type = typeid(*node).name();
        return type == typeid(CUXmlDomElementNode).name() ||
               type == typeid(CUXmlDomTextNode).name() ||
               type == typeid(CUXmlDomProcessingInstructionNode).name();
    }
    static CUSharedPtr<CUStringMac> const& Name(CUXmlDomNode& node) {
        return node.*(&NodeFields::m_spName);
    }
    static CUSharedPtr<CUStringMac> const& Value(CUXmlDomNode& node) {
        return node.*(&NodeFields::m_spValue);
    }
    static CUSharedPtr<CUMutableArray> const& Children(CUXmlDomNode& node) {
        return node.*(&NodeFields::m_spChildNodes);
    }
    static CUSharedPtr<CUMutableDictionary> const& Attributes(CUXmlDomNode& node) {
        return node.*(&NodeFields::m_spAttributes);
    }
};

// A node's parts as its getters give them: read in place for the library's own classes,
// through the (possibly overridden) getters for any other.
class NodeParts {
  public:
    explicit NodeParts(CUXmlDomNode* node) : m_node(node), m_plain(NodeFields::Plain(node)) {}

    /// Whether the parts are the node's own fields, alive as long as the tree.
    bool Plain() const { return m_plain; }

    CUStringMac* Name() { return Get(&CUXmlDomNode::GetNodeName, &NodeFields::Name, m_name); }
    CUStringMac* Value() { return Get(&CUXmlDomNode::GetNodeValue, &NodeFields::Value, m_value); }
    CUMutableArray* Children() {
        return Get(&CUXmlDomNode::GetChildNodes, &NodeFields::Children, m_children);
    }
    CUMutableDictionary* Attributes() {
        return Get(&CUXmlDomNode::GetAttributes, &NodeFields::Attributes, m_attributes);
    }

  private:
    // The part, kept alive by `held` when it came from a getter.
    template <class T>
    T* Get(CUSharedPtr<T> (CUXmlDomNode::*getter)(), CUSharedPtr<T> const& (*field)(CUXmlDomNode&),
           CUSharedPtr<T>& held) {
        if (m_plain) {
            return field(*m_node).get();
        }
        held = (m_node->*getter)();
        return held.get();
    }

    CUXmlDomNode* m_node;
    bool m_plain;
    CUSharedPtr<CUStringMac> m_name;
    CUSharedPtr<CUStringMac> m_value;
    CUSharedPtr<CUMutableArray> m_children;
    CUSharedPtr<CUMutableDictionary> m_attributes;
};

// Writes the node tree as UTF-8 XML into one block: elements with start and end tags,
// attributes in the map's key order with escaped values, text escaped in the same pass as its
// conversion, processing instructions as "<?target data?>". A node that cannot be written
// leaves no bytes behind; text that UTF-8 cannot hold (an unpaired surrogate) spoils the whole
// document, as does running out of memory, and so does anything that would not load again: a
// character XML does not allow, a name that is not an XML name, "?>" inside PI data. What
// spoils the document inside an element that is left out goes with its bytes.
class TreeWriter {
  public:
    platform::DataBuilder& Output() { return m_out; }
    bool Spoiled() const { return m_unencodable || m_unloadable || m_outOfMemory; }

    // Every child is tried and the last one's status is the list's: an earlier failing child
    // is simply left out of the text.
    unsigned int WriteChildren(CUXmlDomNode* node) {
        if (node == nullptr) {
            return kCUStatusFailure;
        }
        NodeParts parts(node);
        return WriteChildren(parts);
    }

  private:
    unsigned int WriteChildren(NodeParts& parts) {
        CUMutableArray* children = parts.Children();
        if (children == nullptr) {
            return kCUStatusSuccess;
        }
        unsigned int status = kCUStatusSuccess;
        std::vector<CUSharedPtr<CUObject>> const& entries = children->GetInternalArray();
        std::size_t const count = entries.size();
        // The count is taken once, as a walk by index over Count() would; the bound on the
        // live size guards against a node's own getter shrinking the list meanwhile.
        for (std::size_t i = 0; i < count && i < entries.size(); ++i) {
            // The walk waits on memory more than on anything else: ask for the sibling after
            // next, and for the parts of the next one (whose node was asked for a step ago),
            // while this one is written.
            if (i + 2 < entries.size()) {
                __builtin_prefetch(entries[i + 2].get());
            }
            if (i + 1 < entries.size()) {
                PrefetchParts(entries[i + 1].get());
            }
            CUXmlDomNode* child = AsNode(entries[i].get());
            if (child == nullptr) {
                continue;
            }
            status = WriteNode(child);
        }
        return status;
    }

    // Asks for the objects a node of the library's own classes points at: its name and value
    // strings, its child list and its attribute map.
    static void PrefetchParts(CUObject* object) {
        if (object == nullptr) {
            return;
        }
        char const* type = typeid(*object).name();
        if (type != typeid(CUXmlDomElementNode).name() && type != typeid(CUXmlDomTextNode).name()) {
            return;
        }
        auto& node = *static_cast<CUXmlDomNode*>(object);
        __builtin_prefetch(NodeFields::Name(node).get());
        __builtin_prefetch(NodeFields::Value(node).get());
        __builtin_prefetch(NodeFields::Children(node).get());
        __builtin_prefetch(NodeFields::Attributes(node).get());
    }

    unsigned int WriteNode(CUXmlDomNode* node) {
        switch (node->GetNodeType()) {
        case CUXmlDomNodeType_ProcessingInstruction:
            return WriteProcessingInstruction(node);
        case CUXmlDomNodeType_Text:
            return WriteText(node);
        case CUXmlDomNodeType_Element:
            return WriteElement(node);
        default:
            // Entity references and every other kind are not written.
            return kCUStatusFailure;
        }
    }

    // Peeks at the map behind a dictionary: the keys come in order without a string being made
    // for each, as AllKeys would.
    struct EntriesOf : CUDictionary {
        static Map& Of(CUDictionary& dictionary) { return (dictionary.*(&EntriesOf::z_Entries))(); }
    };

    unsigned int WriteElement(CUXmlDomNode* node) {
        NodeParts parts(node);
        CUStringMac* name = parts.Name();
        CUMutableDictionary* attributes = parts.Attributes();
        if (name == nullptr || attributes == nullptr) {
            return kCUStatusFailure;
        }
        std::size_t const mark = m_out.Size();
        bool const unencodable = m_unencodable;
        bool const unloadable = m_unloadable;
        __CFString const* nameText = name->GetCFStringRef();
        Put('<');
        PutName(nameText, parts.Plain());
        for (auto const& [key, object] : EntriesOf::Of(*attributes)) {
            CUStringMac* value = AsString(object.get());
            if (value == nullptr) {
                continue; // a null value, or one that is not a string, is left out
            }
            Put(' ');
            PutName(static_cast<__CFString const*>(key.string), parts.Plain());
            Put("=\"", 2);
            PutEscaped(value->GetCFStringRef(), true);
            Put('"');
        }
        Put('>');
        unsigned int status = WriteChildren(parts);
        if (CUStatusFailed(status)) {
            m_out.SetSize(mark);
            m_unencodable = unencodable;
            m_unloadable = unloadable;
            return status;
        }
        Put("</", 2);
        PutUTF8(nameText);
        Put('>');
        return status;
    }

    unsigned int WriteText(CUXmlDomNode* node) {
        NodeParts parts(node);
        CUStringMac* value = parts.Value();
        if (value == nullptr) {
            return kCUStatusFailure;
        }
        PutEscaped(value->GetCFStringRef(), false);
        return kCUStatusSuccess;
    }

    unsigned int WriteProcessingInstruction(CUXmlDomNode* node) {
        NodeParts parts(node);
        CUStringMac* target = parts.Name();
        CUStringMac* data = parts.Value();
        if (target == nullptr || data == nullptr) {
            return kCUStatusFailure;
        }
        std::size_t const mark = m_out.Size();
        Put("<?", 2);
        PutName(target->GetCFStringRef(), parts.Plain());
        Put(' ');
        std::size_t const dataMark = m_out.Size();
        bool const declaration =
            !Spoiled() && std::string_view(m_out.Bytes() + mark + 2, m_out.Size() - mark - 2) ==
                              std::string_view("xml ");
        __CFString const* dataText = data->GetCFStringRef();
        if (declaration) {
            // The text is UTF-8 whatever the source was, and a declaration says so.
            std::string utf8;
            if (dataText != nullptr && !platform::ToUTF8(dataText, utf8)) {
                m_unencodable = true;
            }
            std::string const fixed = platform::DeclarationForUTF8(utf8);
            Put(fixed.data(), fixed.size());
        } else {
            PutUTF8(dataText);
        }
        if (!Spoiled()) {
            // The data ends at the first "?>", and holds no control character but blanks.
            std::string_view const written(m_out.Bytes() + dataMark, m_out.Size() - dataMark);
            if (written.find("?>") != std::string_view::npos) {
                m_unloadable = true;
            }
            for (char c : written) {
                if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') {
                    m_unloadable = true;
                }
            }
        }
        Put("?>", 2);
        return kCUStatusSuccess;
    }

    // A name as UTF-8, checked to be one the reader takes. A loaded document's elements and
    // attributes of one name share one text, so a text owned by the tree (`owned`: it lives
    // as long as the write) that was found good is not checked again; a small direct-mapped
    // cache of their addresses holds them. A name with letters beyond ASCII is checked by the
    // reader itself, which costs a parser: each such name is checked once per write.
    void PutName(__CFString const* text, bool owned) {
        std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(text);
        std::size_t const slot = ((address >> 4) ^ (address >> 12)) % kNameSlots;
        if (owned && text != nullptr && m_goodTexts[slot] == text) {
            PutUTF8(text);
            return;
        }
        std::size_t const start = m_out.Size();
        PutUTF8(text);
        if (text == nullptr || Spoiled()) {
            m_unloadable = m_unloadable || text == nullptr;
            return;
        }
        std::string_view const name(m_out.Bytes() + start, m_out.Size() - start);
        bool ascii = true;
        for (char c : name) {
            ascii = ascii && static_cast<unsigned char>(c) < 0x80;
        }
        if (ascii || m_goodNames.find(name) == m_goodNames.end()) {
            if (!platform::IsXmlName(name)) {
                m_unloadable = true;
                return;
            }
            if (!ascii) {
                m_goodNames.emplace(name);
            }
        }
        if (owned) {
            m_goodTexts[slot] = text;
        }
    }

    void Put(char c) {
        if (m_out.Reserve(1)) {
            *m_out.End() = c;
            m_out.SetSize(m_out.Size() + 1);
        } else {
            m_outOfMemory = true;
        }
    }

    void Put(char const* bytes, std::size_t count) {
        if (m_out.Reserve(count)) {
            std::memcpy(m_out.End(), bytes, count);
            m_out.SetSize(m_out.Size() + count);
        } else {
            m_outOfMemory = true;
        }
    }

    void PutUTF8(__CFString const* text) {
        if (text == nullptr) {
            return;
        }
        if (!m_out.Reserve(std::size_t{text->length} * 3)) {
            m_outOfMemory = true;
            return;
        }
        char* out = PutUTF8(m_out.End(), text->Units(), text->length);
        m_out.SetSize(static_cast<std::size_t>(out - m_out.Bytes()));
    }

    // Strict UTF-8 of UTF-16 units into room for three bytes a unit; an unpaired surrogate
    // marks the document unencodable (and ends this piece of text). Returns the new end.
    char* PutUTF8(char* out, char16_t const* units, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            std::uint32_t cp = units[i];
            if (cp < 0x80) {
                *out++ = static_cast<char>(cp);
                continue;
            }
            if (cp >= 0xFFFE) {
                m_unloadable = true;
            }
            if (cp >= 0xD800 && cp <= 0xDBFF) {
                if (i + 1 >= count || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF) {
                    m_unencodable = true;
                    return out;
                }
                cp = 0x10000 + ((cp - 0xD800) << 10) + (units[i + 1] - 0xDC00u);
                ++i;
            } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                m_unencodable = true;
                return out;
            }
            if (cp < 0x800) {
                *out++ = static_cast<char>(0xC0 | (cp >> 6));
                *out++ = static_cast<char>(0x80 | (cp & 0x3F));
            } else if (cp < 0x10000) {
                *out++ = static_cast<char>(0xE0 | (cp >> 12));
                *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
                *out++ = static_cast<char>(0x80 | (cp & 0x3F));
            } else {
                // A pair: two units give four bytes, within the room of six.
                *out++ = static_cast<char>(0xF0 | (cp >> 18));
                *out++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
                *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
                *out++ = static_cast<char>(0x80 | (cp & 0x3F));
            }
        }
        return out;
    }

    static char* PutLiteral(char* out, char const* text, std::size_t count) {
        std::memcpy(out, text, count);
        return out + count;
    }

    // The escaped form of one of the characters that text or attribute values escape.
    static char* PutSpecial(char* out, char16_t c, bool attribute) {
        switch (c) {
        case '&':
            return PutLiteral(out, "&amp;", 5);
        case '<':
            return PutLiteral(out, "&lt;", 4);
        case '>':
            return PutLiteral(out, "&gt;", 4);
        case '"':
            return PutLiteral(out, "&quot;", 6);
        case '\'':
            return attribute ? PutLiteral(out, "'", 1) : PutLiteral(out, "&apos;", 6);
        // A parser normalises these to blanks inside attribute values; written as
        // references they load back as themselves.
        case '\t':
            return PutLiteral(out, "&#9;", 4);
        case '\n':
            return PutLiteral(out, "&#10;", 5);
        case '\r':
            return PutLiteral(out, "&#13;", 5);
        default:
            return PutLiteral(out, "&#32;", 5); // a blank written as a reference
        }
    }

    // Classes of the units below 0x40, looked up once per unit: one of the five special
    // characters of text, a carriage return, a blank of text (tab, line feed, space), what an
    // attribute value escapes (& < > " tab, line feed, carriage return), and a control
    // character that XML does not allow.
    static constexpr unsigned kSpecial = 1;
    static constexpr unsigned kReturn = 2;
    static constexpr unsigned kBlank = 4;
    static constexpr unsigned kAttribute = 8;
    static constexpr unsigned kControl = 16;
    static constexpr std::array<std::uint8_t, 0x40> kClass = [] {
        std::array<std::uint8_t, 0x40> table{};
        for (unsigned c = 0; c < 0x20; ++c) {
            table[c] = kControl;
        }
        table['\t'] = kBlank | kAttribute;
        table['\n'] = kBlank | kAttribute;
        table['\r'] = kReturn | kAttribute;
        table[' '] = kBlank;
        for (char c : {'&', '<', '>', '"'}) {
            table[static_cast<unsigned char>(c)] = kSpecial | kAttribute;
        }
        table['\''] = kSpecial;
        return table;
    }();

    // Text is escaped as platform::EscapeXmlText escapes it, in the same pass as the UTF-8
    // conversion: the five special characters as entities, a carriage return as "&#13;", and a
    // stretch made only of blanks that lies between two of them (or between one and an end of
    // the text) as character references, since the reader drops whitespace between markup.
    // Attribute values escape
    // & < > " and tab, line feed and carriage return. No unit takes more than six bytes.
    void PutEscaped(__CFString const* text, bool attribute) {
        if (text == nullptr) {
            return;
        }
        char16_t const* units = text->Units();
        std::size_t const size = text->length;
        if (!m_out.Reserve(size * 6)) {
            m_outOfMemory = true;
            return;
        }
        char* out = m_out.End();
        if (attribute) {
            std::size_t start = 0;
            for (std::size_t i = 0; i < size; ++i) {
                char16_t const c = units[i];
                if (c < 0x40 && (kClass[c] & kAttribute) != 0) {
                    out = PutUTF8(out, units + start, i - start);
                    out = PutSpecial(out, c, true);
                    start = i + 1;
                } else if (c < 0x20) {
                    m_unloadable = true; // a control character XML does not allow
                }
            }
            out = PutUTF8(out, units + start, size - start);
        } else {
            std::size_t start = 0;
            while (true) {
                std::size_t end = start;
                bool blank = true;
                // A carriage return is written as a reference (a reader normalises a plain
                // one away), and so splits the text like the five.
                unsigned seen = 0;
                while (end < size) {
                    char16_t const c = units[end];
                    unsigned const k = c < 0x40 ? kClass[c] : 0u;
                    if ((k & (kSpecial | kReturn)) != 0) {
                        break;
                    }
                    seen |= k;
                    blank = blank && (k & kBlank) != 0;
                    ++end;
                }
                if ((seen & kControl) != 0) {
                    m_unloadable = true; // a control character XML does not allow
                }
                if (blank) {
                    for (std::size_t k = start; k < end; ++k) {
                        out = PutSpecial(out, units[k], true);
                    }
                } else {
                    out = PutUTF8(out, units + start, end - start);
                }
                if (end == size) {
                    break;
                }
                out = PutSpecial(out, units[end], false);
                start = end + 1;
            }
        }
        m_out.SetSize(static_cast<std::size_t>(out - m_out.Bytes()));
    }

    // Names beyond ASCII found good in this write.
    struct NameHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view s) const noexcept {
            return std::hash<std::string_view>()(s);
        }
    };

    static constexpr std::size_t kNameSlots = 64;

    platform::DataBuilder m_out;
    __CFString const* m_goodTexts[kNameSlots] = {};
    std::unordered_set<std::string, NameHash, std::equal_to<>> m_goodNames;
    bool m_unencodable = false;
    bool m_unloadable = false;
    bool m_outOfMemory = false;
};

// Releases a data handle however the write ends.
struct DataRelease {
    void operator()(__CFData const* data) const { CUPlatformRelease(data); }
};

} // namespace

CUXmlDomDocumentNode::CUXmlDomDocumentNode() {
    m_nodeType = CUXmlDomNodeType_Document;
    // Set directly: the document's own SetNodeName refuses every name.
    m_spName = CUSharedPtr<CUStringMac>(new CUStringMac("#document", CUString_CharCode_UTF8));
    m_spChildNodes = CUSharedPtr<CUMutableArray>(new CUMutableArray());
}

CUXmlDomDocumentNode::~CUXmlDomDocumentNode() {
    // The lists and attribute maps of a large tree live in the C library's heap, which keeps
    // the pages they leave. Released here first (the nodes' own blocks go back by themselves),
    // they are then handed back to the system: a program that drops a big document does not
    // stay at its peak.
    if (m_loadedBytes >= kGiveBackAfterBytes) {
        // Emptied early only when nobody else holds the list (ours and this copy).
        CUSharedPtr<CUMutableArray> children = GetChildNodes();
        if (children && children->GetRetainCount() == 2) {
            children->RemoveAllObjects();
        }
        children.Reset();
        platform::GiveBackFreeMemory();
    }
}

unsigned int CUXmlDomDocumentNode::SetNodeName(CUSharedPtr<CUStringMac> /*name*/) {
    return kCUStatusFailure;
}

unsigned int CUXmlDomDocumentNode::SetAttribute(CUSharedPtr<CUStringMac> /*name*/,
                                                CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}

unsigned int CUXmlDomDocumentNode::SetNodeValue(CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}

unsigned int CUXmlDomDocumentNode::LoadXml(CUSharedPtr<CUStream> stream) {
    // LoadXmlMac refuses a null stream too, and records why.
    return LoadXmlMac(stream);
}

void CUXmlDomDocumentNode::SetLenientLoad(bool lenient) {
    m_lenientLoad = lenient;
}

bool CUXmlDomDocumentNode::IsLenientLoad() const {
    return m_lenientLoad;
}

CUSharedPtr<CUStringMac> CUXmlDomDocumentNode::GetLoadErrorReason() const {
    return m_loadErrorReason;
}

unsigned long long CUXmlDomDocumentNode::GetLoadErrorLine() const {
    return m_loadErrorLine;
}

unsigned long long CUXmlDomDocumentNode::GetLoadErrorColumn() const {
    return m_loadErrorColumn;
}

unsigned int CUXmlDomDocumentNode::WriteXml(CUSharedPtr<CUStream> stream) {
    if (!stream) {
        return kCUStatusFailure;
    }
    return WriteXmlMac(stream);
}

unsigned int CUXmlDomDocumentNode::LoadXmlMac(CUSharedPtr<CUStream> stream) {
    platform::XmlProblem problem;
    auto refuse = [this, &problem](char const* reason) {
        if (reason != nullptr) {
            problem = platform::XmlProblem{reason, 0, 0};
        }
        m_loadErrorReason = MakeString(problem.reason);
        if (!m_loadErrorReason) { // a reason quoting bytes that do not decode
            m_loadErrorReason = MakeString("not well-formed");
        }
        m_loadErrorLine = problem.line;
        m_loadErrorColumn = problem.column;
        return kCUStatusFailure;
    };
    m_loadErrorReason = nullptr;
    m_loadErrorLine = 0;
    m_loadErrorColumn = 0;
    if (!stream) {
        return refuse("no stream");
    }
    // The bytes are read straight into the reader's own buffer: a document is held in memory
    // once, not once as read and once more inside the parser.
    unsigned long long length = stream->Length();
    if (length > static_cast<unsigned long long>(SIZE_MAX)) {
        return refuse("the document is larger than memory can hold");
    }
    NodeBuilder builder;
    auto fill = [&stream, length](void* buffer) {
        return CreateCFDataFromStreamMac(*stream, length, buffer);
    };
    platform::XmlReadOptions options;
    options.lenient = m_lenientLoad;
    bool const parsed =
        platform::ParseXml(static_cast<std::size_t>(length), fill, builder, options, &problem);
    if (builder.Failed()) {
        // The model refused a piece before the parse ended (or failed further on): that
        // piece comes first in the document, and it is what a user has to change first.
        problem = builder.Problem();
    }
    if (!parsed) {
        return refuse(nullptr);
    }
    m_loadedBytes = length;
    std::vector<CUSharedPtr<CUObject>>& top = builder.TopLevel();
    if (!top.empty()) {
        // The document's own list gets no merging pass: text cannot stand at the top level.
        CUSharedPtr<CUMutableArray> list = GetChildNodes();
        if (!list) {
            return refuse("the document has no child list");
        }
        std::vector<CUSharedPtr<CUObject>>& children = list->GetInternalArray();
        children.reserve(children.size() + top.size());
        for (CUSharedPtr<CUObject>& node : top) {
            children.push_back(std::move(node));
        }
    }
    return builder.Failed() ? refuse(nullptr) : kCUStatusSuccess;
}

unsigned int CUXmlDomDocumentNode::WriteXmlMac(CUSharedPtr<CUStream> stream) {
    if (!stream) {
        return kCUStatusFailure;
    }
    TreeWriter writer;
    unsigned int status = writer.WriteChildren(this);
    if (CUStatusFailed(status) || writer.Spoiled()) {
        return kCUStatusXmlWriteFailed;
    }
    std::unique_ptr<__CFData const, DataRelease> bytes(writer.Output().Finish());
    if (!bytes) {
        return kCUStatusXmlWriteFailed;
    }
    std::size_t const size = CUPlatformDataGetLength(bytes.get());
    unsigned long long written = stream->WriteCFData(bytes.get(), 0, CUStream_Seek_Origin_Current);
    return written == size ? kCUStatusSuccess : kCUStatusXmlWriteFailed;
}

unsigned int CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(
    CUSharedPtr<CUMutableArray> list) {
    if (!list) {
        return kCUStatusFailure;
    }
    std::u16string accumulated;
    bool inRun = false;
    bool unknownEntity = false;
    unsigned long runStart = 0;
    auto appendText = [&accumulated](CUSharedPtr<CUStringMac> const& text) {
        __CFString const* handle = text ? text->GetCFStringRef() : nullptr;
        if (handle != nullptr) {
            accumulated.append(handle->Units(), handle->length);
        }
    };
    static char const* const kEntities[] = {"lt", "gt", "amp", "quot", "apos"};
    static char16_t const kCharacters[] = {u'<', u'>', u'&', u'"', u'\''};
    // i is signed: a removal steps it back below the current entry before the loop's step.
    for (long long i = 0; i < static_cast<long long>(list->Count()); ++i) {
        CUSharedPtr<CUXmlDomNode> node = list->ObjectAtIndex(static_cast<unsigned long>(i));
        if (!node) {
            continue;
        }
        _CUXmlDomNodeType type = node->GetNodeType();
        if (type == CUXmlDomNodeType_EntityReference) {
            if (!inRun) {
                runStart = static_cast<unsigned long>(i);
            }
            CUSharedPtr<CUStringMac> name = node->GetNodeName();
            std::string entity;
            if (name) {
                char const* utf8 = static_cast<char const*>(*name);
                entity = utf8 != nullptr ? utf8 : "";
            }
            bool matched = false;
            for (int k = 0; k < 5 && name; ++k) {
                if (entity == kEntities[k]) {
                    accumulated += kCharacters[k];
                    matched = true;
                    break;
                }
            }
            inRun = true;
            if (matched) {
                list->RemoveObjectAtIndex(static_cast<unsigned long>(i));
                --i;
            } else {
                unknownEntity = true;
            }
        } else if (type == CUXmlDomNodeType_Text) {
            if (!inRun) {
                runStart = static_cast<unsigned long>(i);
            }
            appendText(node->GetNodeValue());
            list->RemoveObjectAtIndex(static_cast<unsigned long>(i));
            --i;
            inRun = true;
        }
    }
    if (unknownEntity) {
        return kCUStatusFailure;
    }
    if (inRun) {
        CUSharedPtr<CUStringMac> text(
            new CUStringMac(reinterpret_cast<unsigned short*>(accumulated.data()),
                            static_cast<unsigned int>(accumulated.size() * sizeof(char16_t))));
        CUSharedPtr<CUXmlDomTextNode> merged = CreateTextNode(text);
        if (!merged) {
            return kCUStatusFailure;
        }
        list->InsertObjectAtIndex(merged, runStart);
    }
    return kCUStatusSuccess;
}

CUSharedPtr<CUXmlDomElementNode>
CUXmlDomDocumentNode::CreateElementNode(CUSharedPtr<CUStringMac> name) {
    if (!name) {
        return {};
    }
    CUSharedPtr<CUXmlDomElementNode> node(new CUXmlDomElementNode());
    if (CUStatusFailed(node->SetNodeName(name))) {
        return {};
    }
    return node;
}

CUSharedPtr<CUXmlDomTextNode> CUXmlDomDocumentNode::CreateTextNode(CUSharedPtr<CUStringMac> text) {
    if (!text) {
        return {};
    }
    CUSharedPtr<CUXmlDomTextNode> node(new CUXmlDomTextNode());
    if (CUStatusFailed(node->SetNodeValue(text))) {
        return {};
    }
    return node;
}

CUSharedPtr<CUXmlDomProcessingInstructionNode>
CUXmlDomDocumentNode::CreateProcessingInstructionNode(CUSharedPtr<CUStringMac> target,
                                                      CUSharedPtr<CUStringMac> data) {
    if (!target || !data) {
        return {};
    }
    CUSharedPtr<CUXmlDomProcessingInstructionNode> node(new CUXmlDomProcessingInstructionNode());
    if (CUStatusFailed(node->SetNodeName(target)) || CUStatusFailed(node->SetNodeValue(data))) {
        return {};
    }
    return node;
}

CUSharedPtr<CUXmlDomEntityReferenceNode>
CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(CUSharedPtr<CUStringMac> name) {
    if (!name) {
        return {};
    }
    CUSharedPtr<CUXmlDomEntityReferenceNode> node(new CUXmlDomEntityReferenceNode());
    if (CUStatusFailed(node->SetNodeName(name))) {
        return {};
    }
    return node;
}
