// CUXmlDomDocumentNode.h — the root of a document tree, its loading and writing, and the node
// factories.
//
// The document is named "#document", has type 9 and a child list; it refuses all three
// setters. LoadXml reads a whole stream (always from its first byte, whatever its position)
// and appends the document's content below this node; WriteXml writes the tree as UTF-8 XML at
// the stream's current position with one write.
//
// Loading keeps elements, processing instructions (the XML declaration arrives as one named
// "xml"), text and entity references; each element's text and references to the five
// predefined entities are merged into one text node. A comment, CDATA section, document type
// declaration or a reference to any other entity fails the load; whatever was appended before
// the failure stays. Whitespace-only text is dropped. Accepted input: UTF-8, UTF-16 with a
// byte-order mark, and any encoding named in the XML declaration that the platform converts.
//
// A lenient load (SetLenientLoad(true)) takes the documents found in the wild: comments are
// dropped; CDATA sections become text, merged with the text around them; a document type
// declaration is accepted and the general entities of its internal subset are expanded where
// their replacement text holds no markup. External entities and DTDs are never read (no file
// or network access): a reference to one fails the load, as does any other entity that cannot
// be resolved. Everything else is as above. After a failed load, in either mode, the reason
// and place are available from GetLoadErrorReason, GetLoadErrorLine and GetLoadErrorColumn.
//
// Ownership: count 0 at construction; the Create factories return count 1 (or null).
// Threads: no lock; the document must not be used by another thread while it loads or writes.
// Errors: nothing is thrown on the document's own account; codes thrown by the stream pass
// through. Statuses: 0 success, 0x10001 failure, 0x10005 a failure to build or write the text.
#pragma once

#include <VarnUtilityLib/CUStream.h>
#include <VarnUtilityLib/CUXmlDomElementNode.h>
#include <VarnUtilityLib/CUXmlDomEntityReferenceNode.h>
#include <VarnUtilityLib/CUXmlDomNode.h>
#include <VarnUtilityLib/CUXmlDomProcessingInstructionNode.h>
#include <VarnUtilityLib/CUXmlDomTextNode.h>

/// Status of WriteXml when the document text could not be built or fully written.
inline constexpr unsigned int kCUStatusXmlWriteFailed = 0x10005;

/// The root of a document tree, its loading and writing, and the node factories.
class CU_EXPORT CUXmlDomDocumentNode : public CUXmlDomNode {
  public:
    /// Type 9, name "#document", an empty child list.
    CUXmlDomDocumentNode();
    ~CUXmlDomDocumentNode() override;

    /// Refused: returns 0x10001.
    unsigned int SetNodeName(CUSharedPtr<CUStringMac> name) override;
    /// Refused: returns 0x10001.
    unsigned int SetAttribute(CUSharedPtr<CUStringMac> name,
                              CUSharedPtr<CUStringMac> value) override;
    /// Refused: returns 0x10001.
    unsigned int SetNodeValue(CUSharedPtr<CUStringMac> value) override;

    /// Appends the document read from `stream` below this node. 0 on success; 0x10001 for a
    /// null stream, a short read, malformed XML or content the model refuses.
    virtual unsigned int LoadXml(CUSharedPtr<CUStream> stream);
    /// Writes this tree as XML at the stream's current position. 0 on success; 0x10001 for a
    /// null stream; 0x10005 when the text cannot be built or the stream takes fewer bytes, and
    /// when it would not load again: a character XML does not allow (U+0001, an unpaired
    /// surrogate, U+FFFE) in a text, value, name or data, an element, attribute or target name
    /// that is not an XML name, or "?>" in processing-instruction data. Nothing is written then.
    /// Such content inside an element that is left out (see the masking of failed children)
    /// does not count.
    virtual unsigned int WriteXml(CUSharedPtr<CUStream> stream);

    /// The load itself (LoadXml without its null check of its own).
    unsigned int LoadXmlMac(CUSharedPtr<CUStream> stream);

    /// Makes the following loads lenient (true) or exact (false, the default); see above.
    void SetLenientLoad(bool lenient);
    /// Whether loads are lenient.
    bool IsLenientLoad() const;
    /// Why the last load failed, for example "comment", "document type declaration",
    /// "mismatched end tag </a>", "unknown entity &foo;", "unsupported encoding X" or "nesting
    /// deeper than 1024"; null before any load and after a successful one.
    CUSharedPtr<CUStringMac> GetLoadErrorReason() const;
    /// The line (from 1) where the last load found its problem; 0 when it has no place (a
    /// null stream, a short read) or the load succeeded.
    unsigned long long GetLoadErrorLine() const;
    /// The column (from 1, in characters) of that place; 0 as for the line.
    unsigned long long GetLoadErrorColumn() const;
    /// The writing itself (WriteXml without its null check of its own).
    unsigned int WriteXmlMac(CUSharedPtr<CUStream> stream);

    /// The merging pass over one child list: every text node and every reference to lt, gt,
    /// amp, quot or apos is removed and their text, joined in list order (across other
    /// children), is inserted as one text node where the first of them stood. 0 on success;
    /// 0x10001 for a null list, or when the list holds a reference to any other entity (the
    /// text pieces are then gone and no text node is inserted).
    static unsigned int
    CombineCuDomXmlEntityReferenceAndTextNodeMac(CUSharedPtr<CUMutableArray> list);

    /// A new element named `name`; null for a null name.
    static CUSharedPtr<CUXmlDomElementNode> CreateElementNode(CUSharedPtr<CUStringMac> name);
    /// A new text node holding `text`; null for a null text.
    static CUSharedPtr<CUXmlDomTextNode> CreateTextNode(CUSharedPtr<CUStringMac> text);
    /// A new processing instruction; null when either argument is null.
    static CUSharedPtr<CUXmlDomProcessingInstructionNode>
    CreateProcessingInstructionNode(CUSharedPtr<CUStringMac> target, CUSharedPtr<CUStringMac> data);
    /// A new entity reference named `name`; null for a null name. (The doubled "NodeNode" is
    /// part of the interface.)
    static CUSharedPtr<CUXmlDomEntityReferenceNode>
    CreateEntityReferenceNodeNode(CUSharedPtr<CUStringMac> name);

  private:
    bool m_lenientLoad = false;
    CUSharedPtr<CUStringMac> m_loadErrorReason;
    unsigned long long m_loadErrorLine = 0;
    unsigned long long m_loadErrorColumn = 0;
    unsigned long long m_loadedBytes = 0; ///< size of the document last loaded
};
