// CUXmlDomProcessingInstructionNode.h — a processing instruction: type 7, the target as the
// name and the data as the value.
//
// Refuses SetAttribute (0x10001). Ownership, threads and errors as CUXmlDomNode.
#pragma once

#include <VarnUtilityLib/CUXmlDomNode.h>

/// A processing instruction: type 7, the target as the name and the data as the value.
class CU_EXPORT CUXmlDomProcessingInstructionNode : public CUXmlDomNode {
  public:
    /// Type 7, no target, no data.
    CUXmlDomProcessingInstructionNode();
    ~CUXmlDomProcessingInstructionNode() override;

    /// Refused: returns 0x10001.
    unsigned int SetAttribute(CUSharedPtr<CUStringMac> name,
                              CUSharedPtr<CUStringMac> value) override;
};
