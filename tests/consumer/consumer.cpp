// consumer.cpp — a program built against an installed VarnUtilityLib: strings, a stream
// subclass and the XML document model. Exits 0 when every result is the expected one,
// so a build that links but misbehaves fails too.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <cstring>
#include <string>

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

// Collects what WriteXml writes.
class TextSink : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long,
                             CUStream_Seek_Origin) override {
        text.append(reinterpret_cast<char const*>(in), static_cast<std::size_t>(count));
        return count;
    }
    std::string text;
};

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
    CUSharedPtr<TextSink> sink(new TextSink());
    if (note) {
        note->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateElementNode(str("sig")));
        status = doc->WriteXml(sink);
    }
    expect(!CUStatusFailed(status) && sink->text.find("<sig") != std::string::npos, "WriteXml");
    if (failures == 0) {
        std::printf("consumer: VarnUtilityLib %s works\n", VARN_UTILITY_LIB_VERSION_STRING);
    }
    return failures == 0 ? 0 : 1;
}
