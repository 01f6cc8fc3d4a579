// CUXmlDomElementNode.h — an element: type 1, a name, a child list and an attribute map.
//
// Refuses SetNodeValue (0x10001). Ownership, threads and errors as CUXmlDomNode.
#pragma once

#include <VarnUtilityLib/CUXmlDomNode.h>

/// An element: type 1, a name, a child list and an attribute map.
class CU_EXPORT CUXmlDomElementNode : public CUXmlDomNode {
  public:
    /// Type 1, no name, an empty child list and an empty attribute map.
    CUXmlDomElementNode();
    ~CUXmlDomElementNode() override;

    /// Refused: returns 0x10001.
    unsigned int SetNodeValue(CUSharedPtr<CUStringMac> value) override;
};
