// CUXmlDomTextNode.h — a text node: type 3, named "#text", its text as the value.
//
// Refuses SetNodeName and SetAttribute (0x10001). Ownership, threads and errors as
// CUXmlDomNode.
#pragma once

#include <VarnUtilityLib/CUXmlDomCharacterDataNode.h>

/// A text node: type 3, named "#text", its text as the value.
class CU_EXPORT CUXmlDomTextNode : public CUXmlDomCharacterDataNode {
  public:
    /// Type 3, name "#text", null value.
    CUXmlDomTextNode();
    ~CUXmlDomTextNode() override;
};
