// CUXmlDomNode.h — the base node of the XML document model.
//
// A node holds a name, a node type, a text value, a child list and an attribute map. The
// getters hand out the stored objects themselves (not copies): children and attributes are
// changed through the live collections. Which of the three setters a node kind accepts is
// fixed per class; a refusing setter returns kCUStatusFailure (0x10001) and changes nothing.
// Children hold no link to their parent.
//
// Ownership: count 0 at construction; the factories of CUXmlDomDocumentNode return count 1.
// Threads: no lock; a tree may be read from several threads only while none changes it.
// Errors: nothing is thrown; refusals are statuses, absent parts are null pointers.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUStringMac.h>

/// Node kinds, numbered as the W3C DOM numbers its node types.
enum _CUXmlDomNodeType : int {
    CUXmlDomNodeType_Unknown = 0,
    CUXmlDomNodeType_Element = 1,
    CUXmlDomNodeType_Attribute = 2,
    CUXmlDomNodeType_Text = 3,
    CUXmlDomNodeType_CdataSection = 4,
    CUXmlDomNodeType_EntityReference = 5,
    CUXmlDomNodeType_Entity = 6,
    CUXmlDomNodeType_ProcessingInstruction = 7,
    CUXmlDomNodeType_Comment = 8,
    CUXmlDomNodeType_Document = 9,
    CUXmlDomNodeType_DocumentType = 10,
    CUXmlDomNodeType_DocumentFragment = 11,
    CUXmlDomNodeType_Notation = 12,
};

/// The base node of the XML document model.
class CU_EXPORT CUXmlDomNode : public CUObject {
  public:
    /// A bare node: type 0, no name, value, child list or attribute map.
    CUXmlDomNode();
    CUXmlDomNode(CUXmlDomNode const&) = delete;
    CUXmlDomNode& operator=(CUXmlDomNode const&) = delete;
    using CUObject::operator=;

    /// Releases the attributes, the child list, the value and the name, in that order.
    ~CUXmlDomNode() override;

    /// The subtree as indented lines: DumpDOMNode(this, 0, text) of an empty text.
    CUSharedPtr<CUStringMac> Description() override;

    /// The stored name (not a copy), possibly null.
    virtual CUSharedPtr<CUStringMac> GetNodeName();
    /// The stored node type.
    virtual _CUXmlDomNodeType GetNodeType();
    /// The attribute's value; null when the node has no attribute map, the name is absent,
    /// stored with a null value, or stored with an object that is not a string.
    virtual CUSharedPtr<CUStringMac> GetAttribute(CUSharedPtr<CUStringMac> name);
    /// The live attribute map, possibly null.
    virtual CUSharedPtr<CUMutableDictionary> GetAttributes();
    /// The stored value (not a copy), possibly null.
    virtual CUSharedPtr<CUStringMac> GetNodeValue();
    /// Replaces the name (null clears it); 0, or 0x10001 where the node kind refuses.
    virtual unsigned int SetNodeName(CUSharedPtr<CUStringMac> name);
    /// Stores `value` under `name` in the attribute map (a null value keeps the key present);
    /// 0x10001 for a null name, a node without a map, or a node kind that refuses.
    virtual unsigned int SetAttribute(CUSharedPtr<CUStringMac> name,
                                      CUSharedPtr<CUStringMac> value);
    /// Replaces the value (null clears it); 0, or 0x10001 where the node kind refuses.
    virtual unsigned int SetNodeValue(CUSharedPtr<CUStringMac> value);
    /// The live child list, possibly null.
    virtual CUSharedPtr<CUMutableArray> GetChildNodes();

    /// "Node_Element" ... "Node_Notation" for 1 to 12, "Node_Unknown" for anything else.
    static CUSharedPtr<CUStringMac> GetXmlDomNodeTypeString(_CUXmlDomNodeType type);
    /// As many tabs as `depth`; empty for 0 or less.
    static CUSharedPtr<CUStringMac> IndentString(int depth);
    /// Appends the dump of `node` and its subtree at `depth` to `out`; nothing for null.
    static void DumpDOMNode(CUXmlDomNode* node, int depth, CUStringMac& out);

  protected:
    CUSharedPtr<CUStringMac> m_spName;               ///< node name ("#text", an element name...)
    _CUXmlDomNodeType m_nodeType;                    ///< node kind
    CUSharedPtr<CUStringMac> m_spValue;              ///< text value; null for kinds without one
    CUSharedPtr<CUMutableArray> m_spChildNodes;      ///< children; null for kinds without any
    CUSharedPtr<CUMutableDictionary> m_spAttributes; ///< attributes; null except for elements
};
