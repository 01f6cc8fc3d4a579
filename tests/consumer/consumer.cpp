// consumer.cpp — a program built against an installed VarnUtilityLib: strings, a memory
// stream and the XML document model (writing through a stream subclass: ReadmeExamplesApiTest).
// Exits 0 when every result is the expected one, so a build that links but misbehaves fails too.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void expect(bool ok, char const* what) {
    if (!ok) {
        std::fprintf(stderr, "consumer: %s\n", what);
        ++failures;
    }
}

CUSharedPtr<CUStringMac> str(char const* text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}

} // namespace

int main() {
    CUSharedPtr<CUStringMac> line = CUStringMac::CreateWithFormat(str("%d items"), 3);
    expect(line && std::strcmp(*line, "3 items") == 0 &&
               str("Straße")->Equals(*str("STRASSE"), CUStringComparison_CaseInsensitive),
           "strings");
    char source[] = "<note to=\"Ann\">hi</note>";
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    unsigned int status =
        doc->LoadXml(CUSharedPtr<CUStream>(new CUMemoryStream(source, sizeof source - 1, false)));
    CUSharedPtr<CUXmlDomNode> note = doc->GetChildNodes()->ObjectAtIndex(0);
    expect(!CUStatusFailed(status) && note &&
               std::strcmp(*note->GetAttribute(str("to")), "Ann") == 0,
           "LoadXml");
    if (failures == 0) {
        std::printf("consumer: VarnUtilityLib %s works\n", VARN_UTILITY_LIB_VERSION_STRING);
    }
    return failures == 0 ? 0 : 1;
}
