// XmlParserConformanceTest.cpp — the reader over the W3C XML conformance suite.
//
// A document counts as refused when the parse fails or when its tree holds what the document
// model refuses to load (comments, CDATA sections, a document type declaration, a reference to
// an entity other than the five predefined ones).
#include "support/XmlConformanceCatalog.h"

#include "platform/XmlParser.h"

#include <gtest/gtest.h>

#include <iostream>

using varn::platform::ParseXml;
using varn::platform::XmlParseResult;
using varn::platform::XmlPiece;
using varn::platform::XmlPieceKind;

namespace {

bool HoldsRefusedPiece(std::vector<XmlPiece> const& pieces) {
    for (XmlPiece const& piece : pieces) {
        switch (piece.kind) {
        case XmlPieceKind::Comment:
        case XmlPieceKind::CDataSection:
        case XmlPieceKind::DocumentType:
            return true;
        case XmlPieceKind::EntityReference:
            if (piece.name != "lt" && piece.name != "gt" && piece.name != "amp" &&
                piece.name != "quot" && piece.name != "apos") {
                return true;
            }
            break;
        case XmlPieceKind::Element:
            if (HoldsRefusedPiece(piece.children)) {
                return true;
            }
            break;
        default:
            break;
        }
    }
    return false;
}

} // namespace

TEST(XmlParser, ConformanceSuiteRefusesNotWellFormedAndParsesWellFormed) {
#ifndef VARN_XMLCONF_ROOT
    GTEST_SKIP() << "the W3C XML conformance suite was not found at configure time";
#else
    auto cases = varn::testing::ReadXmlConformanceCatalog(VARN_XMLCONF_CATALOG);
    ASSERT_GT(cases.size(), 2000u);
    int notWf = 0;
    int refused = 0;
    int wellFormed = 0;
    int parsed = 0;
    for (auto const& c : cases) {
        std::string bytes;
        ASSERT_TRUE(
            varn::testing::ReadWholeFile(std::string(VARN_XMLCONF_ROOT) + "/" + c.uri, bytes))
            << c.uri;
        XmlParseResult r = ParseXml(bytes.data(), bytes.size());
        bool isRefused = !r.ok || HoldsRefusedPiece(r.topLevel);
        if (!c.IsXml10() || c.NeedsNamespaces()) {
            continue;
        }
        if (c.type == "not-wf") {
            ++notWf;
            refused += isRefused ? 1 : 0;
            EXPECT_TRUE(isRefused) << c.id << " " << c.uri;
        } else if ((c.type == "valid" || c.type == "invalid") && !c.NeedsFifthEditionNames()) {
            // Well-formed: the parse itself succeeds (the model may still refuse the tree).
            ++wellFormed;
            parsed += r.ok ? 1 : 0;
            EXPECT_TRUE(r.ok) << c.id << " " << c.uri << ": " << r.error;
        }
    }
    std::cout << "not-wf refused " << refused << "/" << notWf << ", well-formed parsed " << parsed
              << "/" << wellFormed << "\n";
#endif
}
