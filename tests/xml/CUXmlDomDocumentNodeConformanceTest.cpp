// CUXmlDomDocumentNodeConformanceTest.cpp — LoadXml and WriteXml over the W3C XML conformance
// suite: every document that is not well-formed is refused; the well-formed ones made only of
// what the model keeps load, and every loaded one writes back to text that loads to the same
// tree (compared through Description).
#include "XmlTestSupport.h"
#include "support/XmlConformanceCatalog.h"

#include "platform/XmlParser.h"

#include <gtest/gtest.h>

#include <iostream>

#ifdef VARN_XMLCONF_ROOT
namespace {

// Whether the document holds markup the model refuses, judged from its text alone.
bool HoldsRefusedMarkup(std::string const& bytes) {
    std::string utf8;
    if (!varn::platform::ConvertXmlToUTF8(bytes.data(), bytes.size(), utf8)) {
        return true;
    }
    return utf8.find("<!--") != std::string::npos || utf8.find("<![CDATA[") != std::string::npos ||
           utf8.find("<!DOCTYPE") != std::string::npos;
}

} // namespace
#endif

TEST(CUXmlDomDocumentNode, ConformanceSuiteLoadsAndWritesBack) {
#ifndef VARN_XMLCONF_ROOT
    GTEST_SKIP() << "the W3C XML conformance suite was not found at configure time";
#else
    auto cases = varn::testing::ReadXmlConformanceCatalog(VARN_XMLCONF_CATALOG);
    ASSERT_GT(cases.size(), 2000u);
    int notWf = 0, notWfRefused = 0;
    int otherNotWf = 0, otherNotWfRefused = 0;
    int plain = 0, plainLoaded = 0;
    int loaded = 0, roundTrips = 0;
    for (auto const& c : cases) {
        std::string bytes;
        ASSERT_TRUE(
            varn::testing::ReadWholeFile(std::string(VARN_XMLCONF_ROOT) + "/" + c.uri, bytes))
            << c.uri;
        CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
        unsigned int status = LoadText(doc, bytes);
        bool xml10 = c.IsXml10() && !c.NeedsNamespaces();
        if (c.type == "not-wf") {
            // Not-well-formed cases of XML 1.1 and of the namespace rules are counted apart;
            // whatever this parser makes of them, they must not load either.
            int& count = xml10 ? notWf : otherNotWf;
            int& refused = xml10 ? notWfRefused : otherNotWfRefused;
            ++count;
            refused += CUStatusFailed(status) ? 1 : 0;
            EXPECT_TRUE(CUStatusFailed(status)) << c.id << " " << c.uri;
            continue;
        }
        if (c.type != "valid" && c.type != "invalid") {
            continue;
        }
        // Every valid document of the suite declares a document type, which the model refuses;
        // the well-formed documents without one are found among the "invalid" cases.
        if (c.IsXml10() && !c.NeedsFifthEditionNames() && !HoldsRefusedMarkup(bytes)) {
            ++plain;
            plainLoaded += status == 0 ? 1 : 0;
            EXPECT_EQ(status, 0u) << c.id << " " << c.uri;
        }
        if (status != 0) {
            continue;
        }
        ++loaded;
        unsigned int writeStatus = 1;
        std::string written = WriteText(doc, &writeStatus);
        EXPECT_EQ(writeStatus, 0u) << c.id;
        CUSharedPtr<CUXmlDomDocumentNode> again(new CUXmlDomDocumentNode());
        EXPECT_EQ(LoadText(again, written), 0u) << c.id << "\n" << written;
        // The text is UTF-8 whatever the source was, and its declaration says so.
        CUSharedPtr<CUXmlDomNode> first = doc->GetChildNodes()->ObjectAtIndex(0);
        if (first && first->GetNodeType() == CUXmlDomNodeType_ProcessingInstruction &&
            Utf8(first->GetNodeName()) == "xml") {
            first->SetNodeValue(
                Str(varn::platform::DeclarationForUTF8(Utf8(first->GetNodeValue()))));
        }
        bool same = Utf8(again->Description()) == Utf8(doc->Description());
        roundTrips += same ? 1 : 0;
        EXPECT_TRUE(same) << c.id << " " << c.uri << "\n" << written;
    }
    std::cout << "not-wf (XML 1.0) refused " << notWfRefused << "/" << notWf
              << "; not-wf (XML 1.1, namespaces) refused " << otherNotWfRefused << "/" << otherNotWf
              << "; well-formed (valid or invalid) without refused markup loaded " << plainLoaded
              << "/" << plain << "; loaded documents written back to an equal tree " << roundTrips
              << "/" << loaded << "\n";
#endif
}
