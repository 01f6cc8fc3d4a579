// CUXmlDomCharacterDataNode.h — the base of text nodes: a value, no child list, no attributes.
//
// Refuses SetNodeName and SetAttribute (0x10001). Ownership, threads and errors as
// CUXmlDomNode.
#pragma once

#include <VarnUtilityLib/CUXmlDomNode.h>

/// The base of text nodes: a value, no child list, no attributes.
class CU_EXPORT CUXmlDomCharacterDataNode : public CUXmlDomNode {
  public:
    /// Type 0, nothing stored.
    CUXmlDomCharacterDataNode();
    ~CUXmlDomCharacterDataNode() override;

    /// Refused: returns 0x10001.
    unsigned int SetNodeName(CUSharedPtr<CUStringMac> name) override;
    /// Refused: returns 0x10001.
    unsigned int SetAttribute(CUSharedPtr<CUStringMac> name,
                              CUSharedPtr<CUStringMac> value) override;
};
