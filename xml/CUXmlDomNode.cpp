// CUXmlDomNode.cpp — the base node: stored fields, base setters and the diagnostic dump.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUXmlDomNode.h>

#include <string>

namespace {

// UTF-8 of a string for the dump; empty for null.
std::string Utf8(CUSharedPtr<CUStringMac> const& text) {
    if (!text) {
        return {};
    }
    char const* bytes = static_cast<char const*>(*text);
    return bytes != nullptr ? std::string(bytes) : std::string();
}

// The dump is built in one UTF-8 buffer and turned into a string once: the walk appends
// per line, and a string per line would make the dump quadratic in the tree's size.
void AppendDump(CUXmlDomNode* node, int depth, std::string& out) {
    if (node == nullptr) {
        return;
    }
    std::string indent = depth > 0 ? std::string(static_cast<std::size_t>(depth), '\t') : "";
    std::string const newline = CU_NEWLINE_CHAR;
    CUSharedPtr<CUStringMac> name = node->GetNodeName();
    CUSharedPtr<CUStringMac> value = node->GetNodeValue();
    CUSharedPtr<CUMutableDictionary> attributes = node->GetAttributes();
    CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
    CUSharedPtr<CUStringMac> typeText = CUXmlDomNode::GetXmlDomNodeTypeString(node->GetNodeType());

    out += indent + "Name:" + (name ? Utf8(name) : "Invalid") + newline;
    out += indent + "Type:" + (typeText ? Utf8(typeText) : "Invalid") + newline;
    out += indent + "Value:" + (value ? Utf8(value) : "Invalid") + newline;
    if (!attributes) {
        out += indent + "Attributes:Invalid" + newline;
    } else {
        out += indent +
               "Attributes:Num=" + std::to_string(static_cast<long long>(attributes->Count())) +
               newline;
        CUSharedPtr<CUArray> keys = attributes->AllKeys();
        unsigned long count = keys ? keys->Count() : 0;
        for (unsigned long i = 0; i < count; ++i) {
            CUSharedPtr<CUStringMac> key = keys->ObjectAtIndex(i);
            CUSharedPtr<CUStringMac> attribute = attributes->ObjectForKey(key);
            // Built by appending: GCC 12's -Wrestrict misfires on "literal" + std::string at -O3.
            std::string index(1, '[');
            index.append(std::to_string(static_cast<long long>(i))).push_back(']');
            out += indent + index + "Key:" + Utf8(key) + newline;
            out += indent + index + "Attribute:" + Utf8(attribute) + newline;
        }
    }
    if (!children) {
        out += indent + "ChildNodes:Invalid" + newline;
        return;
    }
    unsigned long count = children->Count();
    out += indent + "ChildNodes:Num=" + std::to_string(static_cast<long long>(count)) + newline;
    for (unsigned long i = 0; i < count; ++i) {
        CUSharedPtr<CUXmlDomNode> child = children->ObjectAtIndex(i);
        AppendDump(child.get(), depth + 1, out);
    }
}

} // namespace

CUXmlDomNode::CUXmlDomNode() : m_nodeType(CUXmlDomNodeType_Unknown) {}

CUXmlDomNode::~CUXmlDomNode() {
    m_spAttributes.Reset();
    m_spChildNodes.Reset();
    m_spValue.Reset();
    m_spName.Reset();
}

CUSharedPtr<CUStringMac> CUXmlDomNode::Description() {
    CUStringMac text;
    DumpDOMNode(this, 0, text);
    return CUSharedPtr<CUStringMac>(new CUStringMac(text));
}

CUSharedPtr<CUStringMac> CUXmlDomNode::GetNodeName() {
    return m_spName;
}

_CUXmlDomNodeType CUXmlDomNode::GetNodeType() {
    return m_nodeType;
}

CUSharedPtr<CUStringMac> CUXmlDomNode::GetAttribute(CUSharedPtr<CUStringMac> name) {
    if (!m_spAttributes) {
        return {};
    }
    return m_spAttributes->ObjectForKey(name);
}

CUSharedPtr<CUMutableDictionary> CUXmlDomNode::GetAttributes() {
    return m_spAttributes;
}

CUSharedPtr<CUStringMac> CUXmlDomNode::GetNodeValue() {
    return m_spValue;
}

unsigned int CUXmlDomNode::SetNodeName(CUSharedPtr<CUStringMac> name) {
    m_spName = name;
    return kCUStatusSuccess;
}

unsigned int CUXmlDomNode::SetAttribute(CUSharedPtr<CUStringMac> name,
                                        CUSharedPtr<CUStringMac> value) {
    if (!name || !m_spAttributes) {
        return kCUStatusFailure;
    }
    m_spAttributes->SetObjectForKey(value, name);
    return kCUStatusSuccess;
}

unsigned int CUXmlDomNode::SetNodeValue(CUSharedPtr<CUStringMac> value) {
    m_spValue = value;
    return kCUStatusSuccess;
}

CUSharedPtr<CUMutableArray> CUXmlDomNode::GetChildNodes() {
    return m_spChildNodes;
}

CUSharedPtr<CUStringMac> CUXmlDomNode::GetXmlDomNodeTypeString(_CUXmlDomNodeType type) {
    static char const* const kNames[] = {"Node_Unknown",       "Node_Element",
                                         "Node_Attribute",     "Node_Text",
                                         "Node_Cdata_Section", "Node_Entity_Reference",
                                         "Node_Entity",        "Node_Processing_Instruction",
                                         "Node_Comment",       "Node_Document",
                                         "Node_Document_Type", "Node_Document_Fragment",
                                         "Node_Notation"};
    int index = static_cast<int>(type);
    if (index < 1 || index > 12) {
        index = 0;
    }
    return CUSharedPtr<CUStringMac>(new CUStringMac(kNames[index], CUString_CharCode_UTF8));
}

CUSharedPtr<CUStringMac> CUXmlDomNode::IndentString(int depth) {
    std::string tabs = depth > 0 ? std::string(static_cast<std::size_t>(depth), '\t') : "";
    return CUSharedPtr<CUStringMac>(new CUStringMac(tabs.c_str(), CUString_CharCode_UTF8));
}

void CUXmlDomNode::DumpDOMNode(CUXmlDomNode* node, int depth, CUStringMac& out) {
    std::string text;
    AppendDump(node, depth, text);
    if (text.empty()) {
        return;
    }
    out = out +
          CUStringMac(text.data(), static_cast<unsigned int>(text.size()), CUString_CharCode_UTF8);
}
