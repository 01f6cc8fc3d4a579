// CUXmlDomProcessingInstructionNode.cpp — target and data, no attributes.
#include <VarnUtilityLib/CUXmlDomProcessingInstructionNode.h>

CUXmlDomProcessingInstructionNode::CUXmlDomProcessingInstructionNode() {
    m_nodeType = CUXmlDomNodeType_ProcessingInstruction;
}

CUXmlDomProcessingInstructionNode::~CUXmlDomProcessingInstructionNode() = default;

unsigned int CUXmlDomProcessingInstructionNode::SetAttribute(CUSharedPtr<CUStringMac> /*name*/,
                                                             CUSharedPtr<CUStringMac> /*value*/) {
    return kCUStatusFailure;
}
