// CUXmlDomElementNode.cpp — elements own a child list and an attribute map from birth.
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUXmlDomElementNode.h>

CUXmlDomElementNode::CUXmlDomElementNode() {
    m_nodeType = CUXmlDomNodeType_Element;
    m_spChildNodes = CUSharedPtr<CUMutableArray>(new CUMutableArray());
    m_spAttributes = CUSharedPtr<CUMutableDictionary>(new CUMutableDictionary());
}

CUXmlDomElementNode::~CUXmlDomElementNode() = default;

unsigned int CUXmlDomElementNode::SetNodeValue(CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}
