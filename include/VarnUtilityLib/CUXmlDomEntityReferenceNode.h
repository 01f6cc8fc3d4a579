// CUXmlDomEntityReferenceNode.h — a reference to a named entity: type 5, the entity's name.
//
// Refuses SetAttribute and SetNodeValue (0x10001). Ownership, threads and errors as
// CUXmlDomNode.
#pragma once

#include <VarnUtilityLib/CUXmlDomNode.h>

/// A reference to a named entity: type 5, the entity's name.
class CU_EXPORT CUXmlDomEntityReferenceNode : public CUXmlDomNode {
  public:
    /// Type 5, no name.
    CUXmlDomEntityReferenceNode();
    ~CUXmlDomEntityReferenceNode() override;

    /// Refused: returns 0x10001.
    unsigned int SetAttribute(CUSharedPtr<CUStringMac> name,
                              CUSharedPtr<CUStringMac> value) override;
    /// Refused: returns 0x10001.
    unsigned int SetNodeValue(CUSharedPtr<CUStringMac> value) override;
};
