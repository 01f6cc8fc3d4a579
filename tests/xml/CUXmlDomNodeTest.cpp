// CUXmlDomNodeTest.cpp — the node classes: construction, setter refusals, factories, dump.
#include "XmlTestSupport.h"

#include <VarnUtilityLib/CUXmlDomCharacterDataNode.h>

#include <gtest/gtest.h>

namespace {

std::string Dump(CUXmlDomNode& node) {
    return Utf8(node.Description());
}

} // namespace

TEST(CUXmlDomNode, ConstructorsSetTypeNameAndCollections) {
    CUXmlDomNode bare;
    EXPECT_EQ(bare.GetNodeType(), 0);
    EXPECT_FALSE(bare.GetNodeName());
    EXPECT_FALSE(bare.GetChildNodes());
    EXPECT_FALSE(bare.GetAttributes());

    CUXmlDomDocumentNode doc;
    EXPECT_EQ(doc.GetNodeType(), 9);
    EXPECT_EQ(Utf8(doc.GetNodeName()), "#document");
    ASSERT_TRUE(doc.GetChildNodes());
    EXPECT_FALSE(doc.GetAttributes());

    CUXmlDomElementNode element;
    EXPECT_EQ(element.GetNodeType(), 1);
    EXPECT_FALSE(element.GetNodeName());
    EXPECT_TRUE(element.GetChildNodes());
    EXPECT_TRUE(element.GetAttributes());

    CUXmlDomCharacterDataNode data;
    EXPECT_EQ(data.GetNodeType(), 0);
    CUXmlDomProcessingInstructionNode pi;
    EXPECT_EQ(pi.GetNodeType(), 7);
    EXPECT_FALSE(pi.GetChildNodes());
    CUXmlDomEntityReferenceNode ref;
    EXPECT_EQ(ref.GetNodeType(), 5);
    EXPECT_FALSE(ref.GetAttributes());
}

TEST(CUXmlDomNode, NewTextNodeDumpsInvalidParts) {
    CUXmlDomTextNode text;
    EXPECT_EQ(text.GetNodeType(), 3);
    EXPECT_EQ(Utf8(text.GetNodeName()), "#text");
    EXPECT_FALSE(text.GetNodeValue());
    EXPECT_FALSE(text.GetChildNodes());
    EXPECT_FALSE(text.GetAttributes());
    EXPECT_EQ(Dump(text), "Name:#text\nType:Node_Text\nValue:Invalid\nAttributes:Invalid\n"
                          "ChildNodes:Invalid\n");
}

TEST(CUXmlDomNode, SettersRefuseAsEachKindRequires) {
    auto name = Str("n");
    auto value = Str("v");
    CUXmlDomNode bare;
    EXPECT_EQ(bare.SetNodeName(name), 0u);
    EXPECT_EQ(bare.SetNodeValue(value), 0u);
    EXPECT_EQ(bare.SetAttribute(name, value), kCUStatusFailure); // no map

    CUXmlDomDocumentNode doc;
    EXPECT_EQ(doc.SetNodeName(name), kCUStatusFailure);
    EXPECT_EQ(Utf8(doc.GetNodeName()), "#document");
    EXPECT_EQ(doc.SetNodeValue(value), kCUStatusFailure);
    EXPECT_FALSE(doc.GetNodeValue());
    EXPECT_EQ(doc.SetAttribute(name, value), kCUStatusFailure);

    CUXmlDomElementNode element;
    EXPECT_EQ(element.SetNodeName(name), 0u);
    EXPECT_EQ(element.SetNodeValue(value), kCUStatusFailure);
    EXPECT_FALSE(element.GetNodeValue());
    EXPECT_EQ(element.SetAttribute(name, value), 0u);

    CUXmlDomTextNode text;
    EXPECT_EQ(text.SetNodeName(name), kCUStatusFailure);
    EXPECT_EQ(Utf8(text.GetNodeName()), "#text");
    EXPECT_EQ(text.SetAttribute(name, value), kCUStatusFailure);
    EXPECT_EQ(text.SetNodeValue(value), 0u);

    CUXmlDomProcessingInstructionNode pi;
    EXPECT_EQ(pi.SetNodeName(name), 0u);
    EXPECT_EQ(pi.SetNodeValue(value), 0u);
    EXPECT_EQ(pi.SetAttribute(name, value), kCUStatusFailure);

    CUXmlDomEntityReferenceNode ref;
    EXPECT_EQ(ref.SetNodeName(name), 0u);
    EXPECT_EQ(ref.SetNodeValue(value), kCUStatusFailure);
    EXPECT_FALSE(ref.GetNodeValue());
    EXPECT_EQ(ref.SetAttribute(name, value), kCUStatusFailure);
}

TEST(CUXmlDomNode, GettersHandOutTheStoredObjects) {
    auto name = Str("n");
    CUXmlDomElementNode element;
    element.SetNodeName(name);
    EXPECT_EQ(element.GetNodeName().get(), name.get());
    EXPECT_EQ(element.GetChildNodes().get(), element.GetChildNodes().get());
    element.GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateTextNode(Str("t")));
    EXPECT_EQ(element.GetChildNodes()->Count(), 1u);
    EXPECT_EQ(element.SetNodeName(nullptr), 0u);
    EXPECT_FALSE(element.GetNodeName());
}

TEST(CUXmlDomNode, AttributesLookUpAndKeepNullValues) {
    CUXmlDomElementNode element;
    EXPECT_FALSE(element.GetAttribute(Str("missing")));
    EXPECT_EQ(element.SetAttribute(nullptr, Str("v")), kCUStatusFailure);
    EXPECT_EQ(element.SetAttribute(Str("k"), Str("v")), 0u);
    EXPECT_EQ(Utf8(element.GetAttribute(Str("k"))), "v");
    EXPECT_EQ(element.SetAttribute(Str("n"), nullptr), 0u);
    EXPECT_EQ(element.GetAttributes()->Count(), 2u);
    EXPECT_FALSE(element.GetAttribute(Str("n")));
    // A stored object that is not a string reads as absent.
    element.GetAttributes()->SetObjectForKey(CUSharedPtr<CUObject>(new CUMutableArray()), Str("o"));
    EXPECT_FALSE(element.GetAttribute(Str("o")));

    CUXmlDomTextNode text;
    EXPECT_FALSE(text.GetAttribute(Str("k")));
}

TEST(CUXmlDomNode, FactoriesRefuseNullArguments) {
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateElementNode(nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateTextNode(nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str("t"), nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateProcessingInstructionNode(nullptr, Str("d")));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(nullptr));

    auto element = CUXmlDomDocumentNode::CreateElementNode(Str("e"));
    ASSERT_TRUE(element);
    EXPECT_EQ(element->GetRetainCount(), 1);
    EXPECT_EQ(Utf8(element->GetNodeName()), "e");
    auto text = CUXmlDomDocumentNode::CreateTextNode(Str("x"));
    EXPECT_EQ(Utf8(text->GetNodeValue()), "x");
    auto pi = CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str("t"), Str("d"));
    EXPECT_EQ(Utf8(pi->GetNodeName()), "t");
    EXPECT_EQ(Utf8(pi->GetNodeValue()), "d");
    auto ref = CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(Str("amp"));
    EXPECT_EQ(ref->GetNodeType(), 5);
    EXPECT_EQ(Utf8(ref->GetNodeName()), "amp");
}

TEST(CUXmlDomNode, TypeStringsCoverTheTableAndUnknownValues) {
    char const* expected[] = {"Node_Unknown",       "Node_Element",
                              "Node_Attribute",     "Node_Text",
                              "Node_Cdata_Section", "Node_Entity_Reference",
                              "Node_Entity",        "Node_Processing_Instruction",
                              "Node_Comment",       "Node_Document",
                              "Node_Document_Type", "Node_Document_Fragment",
                              "Node_Notation"};
    for (int i = 0; i <= 12; ++i) {
        EXPECT_EQ(Utf8(CUXmlDomNode::GetXmlDomNodeTypeString(static_cast<_CUXmlDomNodeType>(i))),
                  expected[i]);
    }
    EXPECT_EQ(Utf8(CUXmlDomNode::GetXmlDomNodeTypeString(static_cast<_CUXmlDomNodeType>(13))),
              "Node_Unknown");
    EXPECT_EQ(Utf8(CUXmlDomNode::GetXmlDomNodeTypeString(static_cast<_CUXmlDomNodeType>(-1))),
              "Node_Unknown");
}

TEST(CUXmlDomNode, IndentStringIsTabsOrEmpty) {
    EXPECT_EQ(Utf8(CUXmlDomNode::IndentString(-3)), "");
    EXPECT_EQ(Utf8(CUXmlDomNode::IndentString(0)), "");
    EXPECT_EQ(Utf8(CUXmlDomNode::IndentString(2)), "\t\t");
}

TEST(CUXmlDomNode, DumpShowsAttributesInKeyOrderAndIndentsChildren) {
    auto a = CUXmlDomDocumentNode::CreateElementNode(Str("a"));
    a->SetAttribute(Str("x"), Str("1"));
    a->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateTextNode(Str("hi")));
    EXPECT_EQ(Dump(*a), "Name:a\nType:Node_Element\nValue:Invalid\nAttributes:Num=1\n[0]Key:x\n"
                        "[0]Attribute:1\nChildNodes:Num=1\n\tName:#text\n\tType:Node_Text\n"
                        "\tValue:hi\n\tAttributes:Invalid\n\tChildNodes:Invalid\n");

    auto b = CUXmlDomDocumentNode::CreateElementNode(Str("b"));
    b->SetAttribute(Str("b"), Str("2"));
    b->SetAttribute(Str("a"), Str("1"));
    b->SetAttribute(Str("n"), nullptr);
    std::string text = Dump(*b);
    EXPECT_NE(text.find("Attributes:Num=3\n[0]Key:a\n[0]Attribute:1\n[1]Key:b\n[1]Attribute:2\n"
                        "[2]Key:n\n[2]Attribute:\n"),
              std::string::npos)
        << text;
}

TEST(CUXmlDomNode, DumpCountsNonNodeEntriesButPrintsNothingForThem) {
    CUXmlDomDocumentNode doc;
    doc.GetChildNodes()->AddObject(Str("not a node"));
    doc.GetChildNodes()->AddObject(nullptr);
    doc.GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(Str("e")));
    EXPECT_EQ(Dump(doc), "Name:#document\nType:Node_Document\nValue:Invalid\n"
                         "Attributes:Invalid\nChildNodes:Num=3\n\tName:e\n"
                         "\tType:Node_Entity_Reference\n\tValue:Invalid\n\tAttributes:Invalid\n"
                         "\tChildNodes:Invalid\n");
}

TEST(CUXmlDomNode, DumpAppendsToTheGivenTextAndIgnoresNull) {
    CUStringMac out("pre:", CUString_CharCode_UTF8);
    CUXmlDomNode::DumpDOMNode(nullptr, 0, out);
    EXPECT_EQ(std::string(static_cast<char const*>(out)), "pre:");
    CUXmlDomEntityReferenceNode ref;
    CUXmlDomNode::DumpDOMNode(&ref, 1, out);
    EXPECT_EQ(std::string(static_cast<char const*>(out)),
              "pre:\tName:Invalid\n\tType:Node_Entity_Reference\n\tValue:Invalid\n"
              "\tAttributes:Invalid\n\tChildNodes:Invalid\n");
}
