// consumer.cpp — a program built against an installed VarnUtilityLib: strings, arrays, a
// memory stream and the XML document model. Exits 0 when every result is the expected one,
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
    // Strings: Unicode-aware comparison and formatting.
    CUSharedPtr<CUStringMac> street = str("Stra\xC3\x9F"
                                          "e");
    CUStringMac upper("STRASSE", CUString_CharCode_UTF8);
    expect(street->Equals(upper, CUStringComparison_CaseInsensitive), "ß folds to SS");
    CUSharedPtr<CUStringMac> line = CUStringMac::CreateWithFormat(str("%d items"), 3);
    expect(line && std::strcmp(*line, "3 items") == 0, "CreateWithFormat");

    // Arrays hold shared pointers to any CUObject.
    CUSharedPtr<CUMutableArray> names(new CUMutableArray());
    names->AddObject(str("pear"));
    names->AddObject(str("fig"));
    expect(names->Count() == 2, "array count");
    CUSharedPtr<CUStringMac> second = names->ObjectAtIndex(1); // checked down-cast
    expect(second && std::strcmp(*second, "fig") == 0, "array element");

    // A memory stream over bytes the caller keeps (no copy), read at an offset.
    char digits[] = "0123456789";
    CUSharedPtr<CUMemoryStream> stream(new CUMemoryStream(digits, 10, true));
    unsigned char buffer[4];
    unsigned long long n = stream->Read(buffer, 4, 8, CUStream_Seek_Origin_Begin);
    expect(n == 2 && buffer[0] == '8' && buffer[1] == '9', "memory stream read clipped at end");

    // XML: load, read an attribute, add an element, write back.
    char source[] = "<note to=\"Ann\">hi</note>";
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    unsigned int status =
        doc->LoadXml(CUSharedPtr<CUStream>(new CUMemoryStream(source, sizeof source - 1, false)));
    expect(!CUStatusFailed(status), "LoadXml");
    CUSharedPtr<CUXmlDomNode> note = doc->GetChildNodes()->ObjectAtIndex(0);
    expect(note && std::strcmp(*note->GetAttribute(str("to")), "Ann") == 0, "attribute");
    if (note) {
        note->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateElementNode(str("sig")));
    }
    CUSharedPtr<TextSink> sink(new TextSink());
    status = doc->WriteXml(sink);
    expect(!CUStatusFailed(status), "WriteXml");
    expect(sink->text.find("<sig/>") != std::string::npos ||
               sink->text.find("<sig></sig>") != std::string::npos,
           "written document holds the new element");

    if (failures == 0) {
        std::printf("consumer: VarnUtilityLib %s works\n", VARN_UTILITY_LIB_VERSION_STRING);
    }
    return failures == 0 ? 0 : 1;
}
