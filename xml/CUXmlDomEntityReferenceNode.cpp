// CUXmlDomEntityReferenceNode.cpp — a name only.
#include <VarnUtilityLib/CUXmlDomEntityReferenceNode.h>

CUXmlDomEntityReferenceNode::CUXmlDomEntityReferenceNode() {
    m_nodeType = CUXmlDomNodeType_EntityReference;
}

CUXmlDomEntityReferenceNode::~CUXmlDomEntityReferenceNode() = default;

unsigned int CUXmlDomEntityReferenceNode::SetAttribute(CUSharedPtr<CUStringMac> /*name*/,
                                                       CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}

unsigned int CUXmlDomEntityReferenceNode::SetNodeValue(CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}
