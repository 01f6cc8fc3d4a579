// CUXmlDomTextNode.cpp — text nodes carry the fixed name "#text".
#include <VarnUtilityLib/CUXmlDomTextNode.h>

CUXmlDomTextNode::CUXmlDomTextNode() {
    m_nodeType = CUXmlDomNodeType_Text;
    // Set directly: the class's own SetNodeName refuses every name.
    m_spName = CUSharedPtr<CUStringMac>(new CUStringMac("#text", CUString_CharCode_UTF8));
}

CUXmlDomTextNode::~CUXmlDomTextNode() = default;
