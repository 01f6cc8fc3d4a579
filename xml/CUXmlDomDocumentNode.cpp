// CUXmlDomDocumentNode.cpp — the document root: factories, loading and writing.
//
// Loading: the stream's bytes go to the platform reader, which hands back a tree of parsed
// pieces; the steps below turn that tree into nodes with the model's rules (which kinds are
// kept, when an element is attached, the merging of text and predefined entities). Writing
// walks the nodes into the same piece tree and lets the platform writer make the text.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUStream.h>
#include <VarnUtilityLib/CUXmlDomDocumentNode.h>

#include "platform/Text.h"
#include "platform/XmlParser.h"

#include <exception>
#include <memory>
#include <string>
#include <vector>

using varn::platform::XmlPiece;
using varn::platform::XmlPieceKind;

namespace {

// ---- loading ----

// A string from parsed UTF-8; null when the platform text could not be made. The string's
// UTF-8 reading drops one leading byte-order mark, but in a document a U+FEFF that starts a
// text or a value is content (a zero-width no-break space): it is kept by giving the reader a
// mark to drop in front of it.
CUSharedPtr<CUStringMac> MakeString(std::string const& utf8) {
    static constexpr char kMark[] = "\xEF\xBB\xBF";
    std::string const marked = utf8.starts_with(kMark) ? kMark + utf8 : std::string();
    std::string const& bytes = marked.empty() ? utf8 : marked;
    CUSharedPtr<CUStringMac> text(new CUStringMac(
        bytes.data(), static_cast<unsigned int>(bytes.size()), CUString_CharCode_UTF8));
    if (text->GetCFStringRef() == nullptr) {
        return {};
    }
    return text;
}

// The stream's whole content, read from its first byte whatever its position. False when
// the read comes back short. Codes thrown by the stream pass through.
bool CreateCFDataFromStreamMac(CUSharedPtr<CUStream> const& stream, std::string& data) {
    if (!stream) {
        return false;
    }
    unsigned long long length = stream->Length();
    try {
        data.resize(static_cast<std::size_t>(length));
    } catch (std::exception const&) { // bad_alloc, or length_error past max_size()
        return false;
    }
    unsigned long long read = stream->Read(reinterpret_cast<unsigned char*>(data.data()), length, 0,
                                           CUStream_Seek_Origin_Begin);
    if (read != length) {
        data.clear();
        return false;
    }
    return true;
}

unsigned int MakeUpCuXmlDomNodeInstanceMac(XmlPiece const* piece,
                                           CUSharedPtr<CUMutableArray> const& list);

unsigned int MakeUpChildNodes_OS2CU_Mac(std::vector<XmlPiece> const& children,
                                        CUXmlDomNode* parent) {
    if (parent == nullptr) {
        return kCUStatusFailure;
    }
    unsigned int status = kCUStatusSuccess;
    for (XmlPiece const& child : children) {
        status = MakeUpCuXmlDomNodeInstanceMac(&child, parent->GetChildNodes());
        if (CUStatusFailed(status)) {
            return status;
        }
    }
    return status;
}

unsigned int Append(CUSharedPtr<CUMutableArray> const& list, CUSharedPtr<CUXmlDomNode> node) {
    if (!node) {
        return kCUStatusFailure;
    }
    list->AddObject(node);
    return kCUStatusSuccess;
}

unsigned int MakeUpCuXmlDomTextNodeInstanceMac(XmlPiece const* piece,
                                               CUSharedPtr<CUMutableArray> const& list) {
    CUSharedPtr<CUStringMac> text = MakeString(piece->value);
    if (!text) {
        return kCUStatusFailure;
    }
    return Append(list, CUXmlDomDocumentNode::CreateTextNode(text));
}

unsigned int
MakeUpCuXmlDomProcessingInstructionNodeInstanceMac(XmlPiece const* piece,
                                                   CUSharedPtr<CUMutableArray> const& list) {
    CUSharedPtr<CUStringMac> target = MakeString(piece->name);
    CUSharedPtr<CUStringMac> data = MakeString(piece->value);
    if (!target || !data) {
        return kCUStatusFailure;
    }
    return Append(list, CUXmlDomDocumentNode::CreateProcessingInstructionNode(target, data));
}

unsigned int MakeUpCuXmlDomEntityReferenceNodeInstanceMac(XmlPiece const* piece,
                                                          CUSharedPtr<CUMutableArray> const& list) {
    CUSharedPtr<CUStringMac> name = MakeString(piece->name);
    if (!name) {
        return kCUStatusFailure;
    }
    return Append(list, CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(name));
}

unsigned int MakeUpCuXmlDomElementNodeInstanceMac(XmlPiece const* piece,
                                                  CUSharedPtr<CUMutableArray> const& list) {
    CUSharedPtr<CUStringMac> name = MakeString(piece->name);
    if (!name) {
        return kCUStatusFailure;
    }
    CUSharedPtr<CUXmlDomElementNode> element = CUXmlDomDocumentNode::CreateElementNode(name);
    if (!element) {
        return kCUStatusFailure;
    }
    for (auto const& [key, value] : piece->attributes) {
        unsigned int status = element->SetAttribute(MakeString(key), MakeString(value));
        if (CUStatusFailed(status)) {
            return status;
        }
    }
    unsigned int status = MakeUpChildNodes_OS2CU_Mac(piece->children, element.get());
    if (!CUStatusFailed(status)) {
        status = CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(
            element->GetChildNodes());
    }
    // Attached only when the whole subtree converted: a failing element leaves no trace.
    if (!CUStatusFailed(status)) {
        list->AddObject(element);
    }
    return status;
}

unsigned int MakeUpCuXmlDomNodeInstanceMac(XmlPiece const* piece,
                                           CUSharedPtr<CUMutableArray> const& list) {
    if (piece == nullptr || !list) {
        return kCUStatusFailure;
    }
    switch (piece->kind) {
    case XmlPieceKind::Element:
        return MakeUpCuXmlDomElementNodeInstanceMac(piece, list);
    case XmlPieceKind::ProcessingInstruction:
        return MakeUpCuXmlDomProcessingInstructionNodeInstanceMac(piece, list);
    case XmlPieceKind::Text:
        return MakeUpCuXmlDomTextNodeInstanceMac(piece, list);
    case XmlPieceKind::EntityReference:
        return MakeUpCuXmlDomEntityReferenceNodeInstanceMac(piece, list);
    default:
        // Comments, CDATA sections and document type declarations are not part of the model.
        return kCUStatusFailure;
    }
}

// ---- writing ----

// Strict UTF-8 of a string: false at an unpaired surrogate, which UTF-8 cannot hold.
bool StrictUtf8(CUSharedPtr<CUStringMac> const& text, std::string& out) {
    out.clear();
    __CFString const* handle = text->GetCFStringRef();
    if (handle == nullptr) {
        return true;
    }
    char16_t const* units = handle->Units();
    std::size_t count = handle->length;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t cp = units[i];
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            if (i + 1 >= count || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF) {
                return false;
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (units[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return false;
        }
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
    return true;
}

// The piece tree being built, and whether some text could not be put into UTF-8 (which
// fails the whole document, as the text conversion of the finished document would).
struct WriteTree {
    XmlPiece* piece;
    bool* unencodable;
};

std::string Encode(CUSharedPtr<CUStringMac> const& text, WriteTree const& tree) {
    std::string utf8;
    if (!StrictUtf8(text, utf8)) {
        *tree.unencodable = true;
    }
    return utf8;
}

unsigned int MakeUpOSXmlDomNodeInstanceMac(CUSharedPtr<CUXmlDomNode> const& node,
                                           WriteTree const& parent);

unsigned int MakeUpChildNodes_CU2OS_Mac(CUXmlDomNode* node, WriteTree const& tree) {
    if (node == nullptr || tree.piece == nullptr) {
        return kCUStatusFailure;
    }
    CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
    if (!children) {
        return kCUStatusSuccess;
    }
    // Every child is tried and the last one's status is the list's: an earlier failing child
    // is simply left out of the text.
    unsigned int status = kCUStatusSuccess;
    unsigned long count = children->Count();
    for (unsigned long i = 0; i < count; ++i) {
        CUSharedPtr<CUXmlDomNode> child = children->ObjectAtIndex(i);
        if (!child) {
            continue;
        }
        status = MakeUpOSXmlDomNodeInstanceMac(child, tree);
    }
    return status;
}

unsigned int MakeUpOSXmlDomElementNodeInstanceMac(CUSharedPtr<CUXmlDomNode> const& node,
                                                  WriteTree const& parent) {
    CUSharedPtr<CUStringMac> name = node->GetNodeName();
    CUSharedPtr<CUMutableDictionary> attributes = node->GetAttributes();
    if (!name || !attributes) {
        return kCUStatusFailure;
    }
    XmlPiece element;
    element.kind = XmlPieceKind::Element;
    element.name = Encode(name, parent);
    CUSharedPtr<CUArray> keys = attributes->AllKeys();
    unsigned long keyCount = keys ? keys->Count() : 0;
    for (unsigned long i = 0; i < keyCount; ++i) {
        CUSharedPtr<CUStringMac> key = keys->ObjectAtIndex(i);
        CUSharedPtr<CUStringMac> value = attributes->ObjectForKey(key);
        if (key && value) {
            element.attributes.emplace_back(Encode(key, parent), Encode(value, parent));
        }
    }
    unsigned int status = MakeUpChildNodes_CU2OS_Mac(node.get(), {&element, parent.unencodable});
    if (!CUStatusFailed(status)) {
        parent.piece->children.push_back(std::move(element));
    }
    return status;
}

unsigned int MakeUpOSXmlDomTextNodeInstanceMac(CUSharedPtr<CUXmlDomNode> const& node,
                                               WriteTree const& parent) {
    CUSharedPtr<CUStringMac> value = node->GetNodeValue();
    if (!value) {
        return kCUStatusFailure;
    }
    XmlPiece text;
    text.kind = XmlPieceKind::Text;
    text.value = varn::platform::EscapeXmlText(Encode(value, parent));
    parent.piece->children.push_back(std::move(text));
    return kCUStatusSuccess;
}

unsigned int
MakeUpOSXmlDomProcessingInstructionNodeInstanceMac(CUSharedPtr<CUXmlDomNode> const& node,
                                                   WriteTree const& parent) {
    CUSharedPtr<CUStringMac> target = node->GetNodeName();
    CUSharedPtr<CUStringMac> data = node->GetNodeValue();
    if (!target || !data) {
        return kCUStatusFailure;
    }
    XmlPiece pi;
    pi.kind = XmlPieceKind::ProcessingInstruction;
    pi.name = Encode(target, parent);
    pi.value = Encode(data, parent);
    parent.piece->children.push_back(std::move(pi));
    return kCUStatusSuccess;
}

unsigned int MakeUpOSXmlDomNodeInstanceMac(CUSharedPtr<CUXmlDomNode> const& node,
                                           WriteTree const& parent) {
    if (!node || parent.piece == nullptr) {
        return kCUStatusFailure;
    }
    switch (node->GetNodeType()) {
    case CUXmlDomNodeType_ProcessingInstruction:
        return MakeUpOSXmlDomProcessingInstructionNodeInstanceMac(node, parent);
    case CUXmlDomNodeType_Text:
        return MakeUpOSXmlDomTextNodeInstanceMac(node, parent);
    case CUXmlDomNodeType_Element:
        return MakeUpOSXmlDomElementNodeInstanceMac(node, parent);
    default:
        // Entity references and every other kind are not written.
        return kCUStatusFailure;
    }
}

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

CUXmlDomDocumentNode::~CUXmlDomDocumentNode() = default;

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
    if (!stream) {
        return kCUStatusFailure;
    }
    return LoadXmlMac(stream);
}

unsigned int CUXmlDomDocumentNode::WriteXml(CUSharedPtr<CUStream> stream) {
    if (!stream) {
        return kCUStatusFailure;
    }
    return WriteXmlMac(stream);
}

unsigned int CUXmlDomDocumentNode::LoadXmlMac(CUSharedPtr<CUStream> stream) {
    if (!stream) {
        return kCUStatusFailure;
    }
    std::string data;
    if (!CreateCFDataFromStreamMac(stream, data)) {
        return kCUStatusFailure;
    }
    varn::platform::XmlParseResult parsed = varn::platform::ParseXml(data.data(), data.size());
    if (!parsed.ok) {
        return kCUStatusFailure;
    }
    // The document's own list gets no merging pass: text cannot stand at the top level.
    return MakeUpChildNodes_OS2CU_Mac(parsed.topLevel, this);
}

unsigned int CUXmlDomDocumentNode::WriteXmlMac(CUSharedPtr<CUStream> stream) {
    if (!stream) {
        return kCUStatusFailure;
    }
    XmlPiece document;
    bool unencodable = false;
    unsigned int status = MakeUpChildNodes_CU2OS_Mac(this, {&document, &unencodable});
    if (CUStatusFailed(status) || unencodable) {
        return kCUStatusXmlWriteFailed;
    }
    std::string text = varn::platform::SerializeXml(document.children);
    std::unique_ptr<__CFData const, DataRelease> bytes(
        CUPlatformDataCreate(text.data(), text.size()));
    if (!bytes) {
        return kCUStatusXmlWriteFailed;
    }
    unsigned long long written = stream->WriteCFData(bytes.get(), 0, CUStream_Seek_Origin_Current);
    return written == text.size() ? kCUStatusSuccess : kCUStatusXmlWriteFailed;
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
