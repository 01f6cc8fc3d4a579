// XmlBench.cpp — loading and writing a document with CUXmlDomDocumentNode beside libxml2's
// DOM (parse into a tree, free it; serialise a tree) over the same generated text.
//
// The document: 20,000 records, each an element with three attributes, two child elements
// with text and one predefined entity (about 2 MB of UTF-8).
//
// Run: XmlBench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <string>

namespace {

std::string const& Document() {
    static std::string const text = [] {
        std::string out = "<?xml version=\"1.0\"?>\n<catalog>\n";
        for (int i = 0; i < 20000; ++i) {
            std::string n = std::to_string(i);
            out += "  <item id=\"" + n + "\" kind=\"book\" price=\"" + std::to_string(i % 97) +
                   ".50\">\n    <title>Title number " + n +
                   " &amp; more</title>\n    <note>Some text that runs on for a while.</note>\n"
                   "  </item>\n";
        }
        out += "</catalog>\n";
        return out;
    }();
    return text;
}

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

CUSharedPtr<CUXmlDomDocumentNode> Load() {
    std::string const& text = Document();
    CUSharedPtr<CUStream> stream(
        new CUMemoryStream(const_cast<char*>(text.data()), text.size(), true));
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    if (doc->LoadXml(stream) != 0) {
        return {};
    }
    return doc;
}

void BM_Load_CUXmlDom(benchmark::State& state) {
    for (auto _ : state) {
        CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
        if (!doc) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(doc.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document().size()));
}

void BM_Load_LibXml2(benchmark::State& state) {
    std::string const& text = Document();
    for (auto _ : state) {
        xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                      XML_PARSE_NOBLANKS);
        benchmark::DoNotOptimize(doc);
        xmlFreeDoc(doc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Write_CUXmlDom(benchmark::State& state) {
    CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
    std::size_t size = 0;
    for (auto _ : state) {
        CUSharedPtr<TextStream> out(new TextStream());
        doc->WriteXml(out);
        size = out->text.size();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_Write_LibXml2(benchmark::State& state) {
    std::string const& text = Document();
    xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                  XML_PARSE_NOBLANKS);
    int size = 0;
    for (auto _ : state) {
        xmlChar* bytes = nullptr;
        xmlDocDumpMemory(doc, &bytes, &size);
        benchmark::DoNotOptimize(bytes);
        xmlFree(bytes);
    }
    xmlFreeDoc(doc);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

} // namespace

BENCHMARK(BM_Load_CUXmlDom)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load_LibXml2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_CUXmlDom)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_LibXml2)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
