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

TEST(ApiSurface, XmlNodeClassesAndEnumeratorsAreExported) {
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
    EXPECT_EQ(0u, bare->SetNodeName(S("n")));
    EXPECT_EQ(0u, bare->SetNodeValue(S("v")));
    EXPECT_EQ(kCUStatusFailure, bare->SetAttribute(S("k"), S("v")));
    EXPECT_FALSE(bare->GetAttribute(S("k")));
    EXPECT_FALSE(bare->GetAttributes());
    EXPECT_FALSE(bare->GetChildNodes());
    EXPECT_TRUE(bare->GetNodeName());
    EXPECT_TRUE(bare->GetNodeValue());
    EXPECT_EQ(CUXmlDomNodeType_Unknown, bare->GetNodeType());
    EXPECT_TRUE(bare->Description());
    EXPECT_TRUE(CUXmlDomNode::GetXmlDomNodeTypeString(CUXmlDomNodeType_Notation));
    EXPECT_EQ(2, CUXmlDomNode::IndentString(2)->Length());
    CUStringMac out;
    CUXmlDomNode::DumpDOMNode(bare.get(), 0, out);
    EXPECT_GT(out.Length(), 0);

    CUSharedPtr<CUXmlDomCharacterDataNode> data(new CUXmlDomCharacterDataNode());
    EXPECT_EQ(kCUStatusFailure, data->SetNodeName(S("n")));
    CUSharedPtr<CUXmlDomTextNode> text(new CUXmlDomTextNode());
    CUSharedPtr<CUXmlDomElementNode> element(new CUXmlDomElementNode());
    EXPECT_EQ(kCUStatusFailure, element->SetNodeValue(S("v")));
    CUSharedPtr<CUXmlDomProcessingInstructionNode> pi(new CUXmlDomProcessingInstructionNode());
    EXPECT_EQ(kCUStatusFailure, pi->SetAttribute(S("k"), S("v")));
    CUSharedPtr<CUXmlDomEntityReferenceNode> ref(new CUXmlDomEntityReferenceNode());
    EXPECT_EQ(kCUStatusFailure, ref->SetNodeValue(S("v")));
}

TEST(ApiSurface, XmlDocumentFactoriesLoadingAndWritingAreExported) {
    EXPECT_TRUE(CUXmlDomDocumentNode::CreateElementNode(S("e")));
    EXPECT_TRUE(CUXmlDomDocumentNode::CreateTextNode(S("t")));
    EXPECT_TRUE(CUXmlDomDocumentNode::CreateProcessingInstructionNode(S("p"), S("d")));
    EXPECT_TRUE(CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(S("amp")));

    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    EXPECT_EQ(kCUStatusFailure, doc->SetNodeName(S("n")));
    EXPECT_EQ(kCUStatusFailure, doc->SetAttribute(S("k"), S("v")));
    EXPECT_EQ(kCUStatusFailure, doc->SetNodeValue(S("v")));
    char xml[] = "<a>x &amp; y</a>";
    CUSharedPtr<CUStream> in(new CUMemoryStream(xml, sizeof xml - 1, false));
    EXPECT_EQ(0u, doc->LoadXml(in));
    EXPECT_EQ(0u, doc->LoadXmlMac(in));
    EXPECT_EQ(2u, doc->GetChildNodes()->Count());
    CUSharedPtr<CUStream> sink(new SinkStream());
    EXPECT_EQ(0u, doc->WriteXml(sink));
    EXPECT_EQ(0u, doc->WriteXmlMac(sink));
    CUSharedPtr<CUMutableArray> list(new CUMutableArray());
    EXPECT_EQ(0u, CUXmlDomDocumentNode::CombineCuDomXmlEntityReferenceAndTextNodeMac(list));
}
