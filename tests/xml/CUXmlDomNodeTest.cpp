// CUXmlDomNodeTest.cpp — the node classes: construction, setter refusals, factories, dump.
#include "XmlTestSupport.h"

#include <VarnUtilityLib/CUXmlDomCharacterDataNode.h>

#include <gtest/gtest.h>

TEST(CUXmlDomNode, EachKindHasItsTypeCollectionsAndRefusesTheSettersItHasNoPartFor) {
    struct Row {
        char const* kind;
        CUXmlDomNode* node;
        int type;
        bool children, attributes, name, value, attribute; // the last three: the setter works
    };
    CUXmlDomNode bare;
    CUXmlDomDocumentNode doc;
    CUXmlDomElementNode element;
    CUXmlDomTextNode text;
    CUXmlDomProcessingInstructionNode pi;
    CUXmlDomEntityReferenceNode ref;
    Row const rows[] = {
        {"bare", &bare, 0, false, false, true, true, false},
        {"document", &doc, 9, true, false, false, false, false},
        {"element", &element, 1, true, true, true, false, true},
        {"text", &text, 3, false, false, false, true, false},
        {"instruction", &pi, 7, false, false, true, true, false},
        {"reference", &ref, 5, false, false, true, false, false},
    };
    for (Row const& r : rows) {
        SCOPED_TRACE(r.kind);
        auto before = r.node->GetNodeName();
        EXPECT_EQ(r.node->GetNodeType(), r.type);
        EXPECT_EQ(bool(r.node->GetChildNodes()), r.children);
        EXPECT_EQ(bool(r.node->GetAttributes()), r.attributes);
        EXPECT_EQ(r.node->SetNodeName(Str("n")) == 0u, r.name);
        EXPECT_EQ(Utf8(r.node->GetNodeName()), r.name ? "n" : Utf8(before));
        EXPECT_EQ(r.node->SetNodeValue(Str("v")) == 0u, r.value);
        auto value = r.node->GetNodeValue();
        EXPECT_EQ(value ? Utf8(value) : "null", r.value ? "v" : "null");
        EXPECT_EQ(r.node->SetAttribute(Str("k"), Str("v")) == 0u, r.attribute);
    }
}

TEST(CUXmlDomNode, FactoriesRefuseNullArgumentsAndAttributesLookUpKeepingNullValues) {
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateElementNode(nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateTextNode(nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateProcessingInstructionNode(Str("t"), nullptr));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateProcessingInstructionNode(nullptr, Str("d")));
    EXPECT_FALSE(CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(nullptr));
    EXPECT_EQ(CUXmlDomDocumentNode::CreateElementNode(Str("e"))->GetRetainCount(), 1);

    CUXmlDomElementNode element;
    EXPECT_FALSE(element.GetAttribute(Str("missing")));
    EXPECT_EQ(element.SetAttribute(nullptr, Str("v")), kCUStatusFailure);
    EXPECT_EQ(element.SetAttribute(Str("n"), nullptr), 0u);
    EXPECT_EQ(element.GetAttributes()->Count(), 1u);
    EXPECT_FALSE(element.GetAttribute(Str("n")));
    // A stored object that is not a string reads as absent.
    element.GetAttributes()->SetObjectForKey(CUSharedPtr<CUObject>(new CUMutableArray()), Str("o"));
    EXPECT_FALSE(element.GetAttribute(Str("o")));
    EXPECT_FALSE(CUXmlDomTextNode().GetAttribute(Str("k")));
}

TEST(CUXmlDomNode, DumpShowsEveryPartAttributesInKeyOrderIndentsChildrenAndNamesEachType) {
    auto a = Element("a", {{"b", "2"}, {"a", "1"}, {"n", nullptr}});
    Add(*a, Text("hi"));
    CUXmlDomDocumentNode doc; // entries that are not nodes are counted but not shown
    Add(doc, Str("not a node"), CUSharedPtr<CUObject>(), Ref("e"));
    CUXmlDomEntityReferenceNode ref;
    struct Row {
        CUXmlDomNode* node;
        int depth;
        std::string dump;
    } const rows[] = {
        {nullptr, 0, ""},
        {&ref, 1,
         "\tName:Invalid\n\tType:Node_Entity_Reference\n\tValue:Invalid\n"
         "\tAttributes:Invalid\n\tChildNodes:Invalid\n"},
        {a.get(), 0,
         "Name:a\nType:Node_Element\nValue:Invalid\nAttributes:Num=3\n[0]Key:a\n"
         "[0]Attribute:1\n[1]Key:b\n[1]Attribute:2\n[2]Key:n\n[2]Attribute:\n"
         "ChildNodes:Num=1\n\tName:#text\n\tType:Node_Text\n"
         "\tValue:hi\n\tAttributes:Invalid\n\tChildNodes:Invalid\n"},
        {&doc, 0,
         "Name:#document\nType:Node_Document\nValue:Invalid\nAttributes:Invalid\n"
         "ChildNodes:Num=3\n\tName:e\n\tType:Node_Entity_Reference\n\tValue:Invalid\n"
         "\tAttributes:Invalid\n\tChildNodes:Invalid\n"},
    };
    for (Row const& row : rows) {
        CUStringMac out("pre:", CUString_CharCode_UTF8); // the dump is appended
        CUXmlDomNode::DumpDOMNode(row.node, row.depth, out);
        EXPECT_EQ(std::string(static_cast<char const*>(out)), "pre:" + row.dump);
        if (row.node != nullptr && row.depth == 0) {
            EXPECT_EQ(Utf8(row.node->Description()), row.dump);
        }
    }
    auto typeName = [](int type) {
        return Utf8(CUXmlDomNode::GetXmlDomNodeTypeString(static_cast<_CUXmlDomNodeType>(type)));
    };
    EXPECT_EQ("Node_Notation", typeName(12));
    EXPECT_EQ("Node_Unknown", typeName(13));
    EXPECT_EQ("Node_Unknown", typeName(-1));
    EXPECT_EQ("\t\t\t", Utf8(CUXmlDomNode::IndentString(3)));
    EXPECT_EQ("", Utf8(CUXmlDomNode::IndentString(-2)));
}
