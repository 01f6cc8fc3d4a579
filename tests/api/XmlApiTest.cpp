// XmlApiTest.cpp — names every public class, operation, enumerator and status of the XML
// document model through the shared library, so that a rename or a lost export breaks the
// build.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// A stream that takes every byte it is offered and reads back nothing but its own text.
class SinkStream : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char*, unsigned long long count, long long,
                             CUStream_Seek_Origin) override {
        return count;
    }
};

CUSharedPtr<CUStringMac> S(char const* text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}

} // namespace

TEST(ApiSurface, XmlNodeClassesEnumeratorsLoadingAndWritingAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUXmlDomNode>);
    static_assert(std::is_base_of_v<CUXmlDomNode, CUXmlDomDocumentNode>);
    static_assert(std::is_base_of_v<CUXmlDomNode, CUXmlDomElementNode>);
    static_assert(std::is_base_of_v<CUXmlDomNode, CUXmlDomCharacterDataNode>);
    static_assert(std::is_base_of_v<CUXmlDomCharacterDataNode, CUXmlDomTextNode>);
    static_assert(std::is_base_of_v<CUXmlDomNode, CUXmlDomProcessingInstructionNode>);
    static_assert(std::is_base_of_v<CUXmlDomNode, CUXmlDomEntityReferenceNode>);
    static_assert(sizeof(_CUXmlDomNodeType) == 4);
    static_assert(CUXmlDomNodeType_Unknown == 0 && CUXmlDomNodeType_Element == 1 &&
                  CUXmlDomNodeType_Attribute == 2 && CUXmlDomNodeType_Text == 3 &&
                  CUXmlDomNodeType_CdataSection == 4 && CUXmlDomNodeType_EntityReference == 5 &&
                  CUXmlDomNodeType_Entity == 6 && CUXmlDomNodeType_ProcessingInstruction == 7 &&
                  CUXmlDomNodeType_Comment == 8 && CUXmlDomNodeType_Document == 9 &&
                  CUXmlDomNodeType_DocumentType == 10 && CUXmlDomNodeType_DocumentFragment == 11 &&
                  CUXmlDomNodeType_Notation == 12);
    static_assert(kCUStatusXmlWriteFailed == 0x10005);

    CUSharedPtr<CUXmlDomNode> bare(new CUXmlDomNode());
    EXPECT_EQ(0u, bare->SetNodeName(S("n")) + bare->SetNodeValue(S("v")));
    EXPECT_EQ(kCUStatusFailure, bare->SetAttribute(S("k"), S("v")));
    EXPECT_FALSE(bare->GetAttribute(S("k")) || bare->GetAttributes() || bare->GetChildNodes());
    EXPECT_TRUE(bare->GetNodeName() && bare->GetNodeValue() && bare->Description() &&
                CUXmlDomNode::GetXmlDomNodeTypeString(CUXmlDomNodeType_Notation) &&
                CUXmlDomNode::IndentString(2));
    EXPECT_EQ(CUXmlDomNodeType_Unknown, bare->GetNodeType());
    CUStringMac out;
    CUXmlDomNode::DumpDOMNode(bare.get(), 0, out);
    EXPECT_GT(out.Length(), 0);

    CUSharedPtr<CUXmlDomCharacterDataNode> data(new CUXmlDomCharacterDataNode());
    CUSharedPtr<CUXmlDomTextNode> text(new CUXmlDomTextNode());
    CUSharedPtr<CUXmlDomElementNode> element(new CUXmlDomElementNode());
    CUSharedPtr<CUXmlDomProcessingInstructionNode> pi(new CUXmlDomProcessingInstructionNode());
    CUSharedPtr<CUXmlDomEntityReferenceNode> ref(new CUXmlDomEntityReferenceNode());
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    EXPECT_EQ(kCUStatusFailure, data->SetNodeName(S("n")));
    EXPECT_EQ(kCUStatusFailure, element->SetNodeValue(S("v")));
    EXPECT_EQ(kCUStatusFailure, pi->SetAttribute(S("k"), S("v")));
    EXPECT_EQ(kCUStatusFailure, ref->SetNodeValue(S("v")));
    EXPECT_EQ(kCUStatusFailure, doc->SetNodeName(S("n")));
    EXPECT_TRUE(text && CUXmlDomDocumentNode::CreateElementNode(S("e")) &&
                CUXmlDomDocumentNode::CreateTextNode(S("t")) &&
                CUXmlDomDocumentNode::CreateProcessingInstructionNode(S("p"), S("d")) &&
                CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(S("amp")));

    char xml[] = "<a>x &amp; y</a>";
    CUSharedPtr<CUStream> in(new CUMemoryStream(xml, sizeof xml - 1, false));
    CUSharedPtr<CUStream> sink(new SinkStream());
    CUSharedPtr<CUMutableArray> list(new CUMutableArray());
    EXPECT_EQ(0u, doc->LoadXml(in) + doc->LoadXmlMac(in) + doc->WriteXml(sink) +
                      doc->WriteXmlMac(sink) +
                      CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list));
}
