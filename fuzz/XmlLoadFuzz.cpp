// XmlLoadFuzz.cpp — arbitrary bytes through LoadXml, exact and lenient, and whatever loads
// through WriteXml.
//
// Checks, beyond "no crash, no leak": a refused load has a reason; a document that loads
// exactly loads leniently to the same tree; a document that loads in either mode writes back
// with status 0, and the written text loads again, exactly, to a tree with the same
// Description (the declaration naming UTF-8).
#include <VarnUtilityLib/CUMemoryStream.h>
#include <VarnUtilityLib/CUXmlDomDocumentNode.h>

#include "platform/XmlParser.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

class TextStream : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long,
                             CUStream_Seek_Origin) override {
        text.append(reinterpret_cast<char const*>(in), static_cast<std::size_t>(count));
        return count;
    }
    std::string text;
};

std::string Dump(CUSharedPtr<CUXmlDomDocumentNode> const& doc) {
    CUSharedPtr<CUStringMac> text = doc->Description();
    char const* bytes = static_cast<char const*>(*text);
    return bytes != nullptr ? bytes : "";
}

// Loads the bytes in one mode; null when refused (which must come with a reason).
CUSharedPtr<CUXmlDomDocumentNode> Load(std::uint8_t const* data, std::size_t size, bool lenient) {
    CUSharedPtr<CUStream> in(new CUMemoryStream(const_cast<std::uint8_t*>(data), size, true));
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    doc->SetLenientLoad(lenient);
    if (doc->LoadXml(in) != 0) {
        if (!doc->GetLoadErrorReason()) {
            std::fprintf(stderr, "refused without a reason\n");
            std::abort();
        }
        return {};
    }
    return doc;
}

void WritesBack(CUSharedPtr<CUXmlDomDocumentNode> const& doc) {
    CUSharedPtr<TextStream> out(new TextStream());
    if (doc->WriteXml(out) != 0) {
        std::fprintf(stderr, "loaded:\n%s\ncannot be written\n", Dump(doc).c_str());
        std::abort();
    }
    // The text is UTF-8, and a declaration is written saying so.
    CUSharedPtr<CUXmlDomNode> first = doc->GetChildNodes()->ObjectAtIndex(0);
    if (first && first->GetNodeType() == CUXmlDomNodeType_ProcessingInstruction) {
        char const* target = static_cast<char const*>(*first->GetNodeName());
        if (target != nullptr && std::string(target) == "xml") {
            char const* value = static_cast<char const*>(*first->GetNodeValue());
            std::string fixed = varn::platform::DeclarationForUTF8(value != nullptr ? value : "");
            first->SetNodeValue(CUSharedPtr<CUStringMac>(new CUStringMac(
                fixed.data(), static_cast<unsigned int>(fixed.size()), CUString_CharCode_UTF8)));
        }
    }
    CUSharedPtr<CUStream> again(new CUMemoryStream(out->text.data(), out->text.size(), false));
    CUSharedPtr<CUXmlDomDocumentNode> reloaded(new CUXmlDomDocumentNode());
    if (reloaded->LoadXml(again) != 0 || Dump(reloaded) != Dump(doc)) {
        std::fprintf(stderr, "written:\n%s\nloaded:\n%s\nreloaded:\n%s\n", out->text.c_str(),
                     Dump(doc).c_str(), Dump(reloaded).c_str());
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    CUSharedPtr<CUXmlDomDocumentNode> exact = Load(data, size, false);
    CUSharedPtr<CUXmlDomDocumentNode> lenient = Load(data, size, true);
    if (exact && (!lenient || Dump(lenient) != Dump(exact))) {
        std::fprintf(stderr, "exact:\n%s\nlenient:\n%s\n", Dump(exact).c_str(),
                     lenient ? Dump(lenient).c_str() : "(refused)");
        std::abort();
    }
    if (exact) {
        WritesBack(exact);
    }
    if (lenient) {
        WritesBack(lenient);
    }
    return 0;
}
