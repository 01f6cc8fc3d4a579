// CUXmlDomTextNode.cpp — text nodes carry the fixed name "#text".
#include <VarnUtilityLib/CUXmlDomTextNode.h>

#include "platform/Text.h"

namespace {

// One text for the name of every text node, made once and never freed: a loaded document has
// as many text nodes as elements, and each would otherwise decode "#text" anew. Each node still
// gets a string object of its own (strings can be assigned); only the immutable text is shared.
__CFString const* TextNodeName() {
    static __CFString const* const name =
        varn::platform::Decode("#text", 5, varn::platform::Encoding::UTF8);
    return name;
}

} // namespace

CUXmlDomTextNode::CUXmlDomTextNode() {
    m_nodeType = CUXmlDomNodeType_Text;
    // Set directly: the class's own SetNodeName refuses every name.
    m_spName = CUSharedPtr<CUStringMac>(new CUStringMac(TextNodeName()));
}

CUXmlDomTextNode::~CUXmlDomTextNode() = default;
