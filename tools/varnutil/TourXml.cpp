// TourXml.cpp — the tour's XML section: load a document, merge its text, write it back.
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <string>

namespace varnutil {
namespace {

// Collects what WriteXml writes.
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

void xml(std::ostream& out) {
    char source[] = "<?xml version=\"1.0\"?> <note to=\"Ann &amp; Bo\">a &lt; b<em>!</em> c</note>";
    Show(out, "source", source);
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    CUSharedPtr<CUStream> in(new CUMemoryStream(source, sizeof source - 1, false));
    unsigned int status = doc->LoadXml(in);
    Show(out, "LoadXml status", std::to_string(status).c_str());
    CUSharedPtr<CUXmlDomNode> note = doc->GetChildNodes()->ObjectAtIndex(1);
    CUSharedPtr<CUXmlDomNode> text = note->GetChildNodes()->ObjectAtIndex(0);
    Show(out, "attribute \"to\"",
         static_cast<char const*>(*note->GetAttribute(
             CUSharedPtr<CUStringMac>(new CUStringMac("to", CUString_CharCode_UTF8)))));
    Show(out, "merged text of <note>", static_cast<char const*>(*text->GetNodeValue()));
    CUSharedPtr<TextStream> sink(new TextStream());
    status = doc->WriteXml(sink);
    Show(out, "WriteXml status", std::to_string(status).c_str());
    Show(out, "written", sink->text.c_str());
    char comment[] = "<a><!-- no comments --></a>";
    CUSharedPtr<CUXmlDomDocumentNode> refused(new CUXmlDomDocumentNode());
    CUSharedPtr<CUStream> bad(new CUMemoryStream(comment, sizeof comment - 1, false));
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", refused->LoadXml(bad));
    Show(out, "a comment fails the load", hex);
}

TourSection xmlSection(68, "XML documents", xml);

} // namespace
} // namespace varnutil
