// CUXmlDomCharacterDataNode.cpp — character data takes a value but no name or attributes.
#include <VarnUtilityLib/CUXmlDomCharacterDataNode.h>

CUXmlDomCharacterDataNode::CUXmlDomCharacterDataNode() = default;

CUXmlDomCharacterDataNode::~CUXmlDomCharacterDataNode() = default;

unsigned int CUXmlDomCharacterDataNode::SetNodeName(CUSharedPtr<CUStringMac> /*name*/) {
    return kCUStatusFailure;
}

unsigned int CUXmlDomCharacterDataNode::SetAttribute(CUSharedPtr<CUStringMac> /*name*/,
                                                     CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}
