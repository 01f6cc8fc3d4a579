// XmlBench.cpp — loading and writing a document with CUXmlDomDocumentNode beside libxml2's
// DOM and pugixml (parse into a tree, free it; serialise a tree) over the same generated text.
//
// The document: 135,000 records, each an element with three attributes holding a title element
// with one attribute and text with a predefined entity and a note element with text (about
// 20 MB of UTF-8: 405,001 elements, 540,000 attributes, 270,000 text nodes).
//
// Each benchmark does its operation once before timing it, so that no side pays alone for
// the process's first touch of the heap pages that every later iteration reuses.
//
// Memory: after the timed loop each load benchmark loads the document once more and reports
// what the tree holds on the heap (mallinfo2: bytes in use, mmapped blocks included) as
// `tree_MB` and per node of the document (elements, texts and the declaration, counted in the
// CU tree) as `bytes_per_node`, so that the three sides are divided by the same count. The
// library's small objects live in chunks of its own outside the C library's heap and figures;
// for the CU side the bytes of the blocks the load took from them are added.
//
// Run: XmlBench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <VarnUtilityLib/VarnUtilityLib.h>

#include "platform/SmallBlocks.h"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>

#include <pugixml.hpp>
#include <string>

namespace {

constexpr int kRecords = 135000;

std::string const& Document() {
    static std::string const text = [] {
        std::string out = "<?xml version=\"1.0\"?>\n<catalog>\n";
        out.reserve(21u << 20);
        for (int i = 0; i < kRecords; ++i) {
            std::string n = std::to_string(i);
            out += "  <item id=\"" + n + "\" kind=\"book\" price=\"" + std::to_string(i % 97) +
                   ".50\">\n    <title lang=\"en\">Title number " + n +
                   " &amp; more</title>\n    <note>Some text that runs on for a while.</note>\n"
                   "  </item>\n";
        }
        out += "</catalog>\n";
        return out;
    }();
    return text;
}

// Bytes the heap hands out at this moment, small blocks and mmapped ones.
double HeapInUse() {
    struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

// The same plus the blocks taken from the library's small-block chunks, which are mapped
// outside the C library's heap (this benchmark runs on one thread, whose count is the whole).
double HeapAndBlocksInUse() {
    return HeapInUse() + static_cast<double>(varn::platform::GetSmallBlockStats().threadBytesInUse);
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

double CountNodes(CUXmlDomNode* node) {
    double count = 1;
    CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
    unsigned long n = children ? children->Count() : 0;
    for (unsigned long i = 0; i < n; ++i) {
        CUSharedPtr<CUXmlDomNode> child = children->ObjectAtIndex(i);
        count += CountNodes(child.get());
    }
    return count;
}

// Nodes of the document below the document node itself.
double DocumentNodes() {
    static double const count = [] {
        CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
        return doc ? CountNodes(doc.get()) - 1 : 1.0;
    }();
    return count;
}

void ReportMemory(benchmark::State& state, double bytes) {
    state.counters["tree_MB"] = bytes / (1024.0 * 1024.0);
    state.counters["bytes_per_node"] = bytes / DocumentNodes();
}

void BM_Load_CUXmlDom(benchmark::State& state) {
    Load();
    for (auto _ : state) {
        CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
        if (!doc) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(doc.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document().size()));
    DocumentNodes();
    double before = HeapAndBlocksInUse();
    CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
    ReportMemory(state, HeapAndBlocksInUse() - before);
}

xmlDocPtr LoadLibXml2() {
    std::string const& text = Document();
    return xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                         XML_PARSE_NOBLANKS);
}

void BM_Load_LibXml2(benchmark::State& state) {
    xmlFreeDoc(LoadLibXml2());
    for (auto _ : state) {
        xmlDocPtr doc = LoadLibXml2();
        benchmark::DoNotOptimize(doc);
        xmlFreeDoc(doc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document().size()));
    DocumentNodes();
    double before = HeapInUse();
    xmlDocPtr doc = LoadLibXml2();
    ReportMemory(state, HeapInUse() - before);
    xmlFreeDoc(doc);
}

void BM_Load_Pugixml(benchmark::State& state) {
    std::string const& text = Document();
    pugi::xml_document().load_buffer(text.data(), text.size());
    for (auto _ : state) {
        pugi::xml_document doc;
        pugi::xml_parse_result result = doc.load_buffer(text.data(), text.size());
        if (!result) {
            state.SkipWithError("load failed");
            break;
        }
        benchmark::DoNotOptimize(doc.first_child().internal_object());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    DocumentNodes();
    double before = HeapInUse();
    pugi::xml_document doc;
    doc.load_buffer(text.data(), text.size());
    ReportMemory(state, HeapInUse() - before);
}

void BM_Write_CUXmlDom(benchmark::State& state) {
    CUSharedPtr<CUXmlDomDocumentNode> doc = Load();
    // One sink for all iterations, emptied before each, as a caller writing documents in a loop
    // would keep it: the sink's own allocation is not what is measured.
    CUSharedPtr<TextStream> out(new TextStream());
    doc->WriteXml(out);
    std::size_t size = 0;
    for (auto _ : state) {
        out->text.clear();
        if (doc->WriteXml(out) != 0) {
            state.SkipWithError("write failed");
            break;
        }
        size = out->text.size();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_Write_LibXml2(benchmark::State& state) {
    xmlDocPtr doc = LoadLibXml2();
    int size = 0;
    xmlChar* warm = nullptr;
    xmlDocDumpMemory(doc, &warm, &size);
    xmlFree(warm);
    for (auto _ : state) {
        xmlChar* bytes = nullptr;
        xmlDocDumpMemory(doc, &bytes, &size);
        benchmark::DoNotOptimize(bytes);
        xmlFree(bytes);
    }
    xmlFreeDoc(doc);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

// Collects pugixml's output in one string, as the other two sides do.
struct StringWriter : pugi::xml_writer {
    void write(void const* data, size_t size) override {
        text.append(static_cast<char const*>(data), size);
    }
    std::string text;
};

void BM_Write_Pugixml(benchmark::State& state) {
    std::string const& text = Document();
    pugi::xml_document doc;
    doc.load_buffer(text.data(), text.size());
    std::size_t size = 0;
    StringWriter warm;
    doc.save(warm, "", pugi::format_raw);
    for (auto _ : state) {
        StringWriter out;
        doc.save(out, "", pugi::format_raw);
        size = out.text.size();
        benchmark::DoNotOptimize(out.text.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

} // namespace

BENCHMARK(BM_Load_CUXmlDom)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load_LibXml2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load_Pugixml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_CUXmlDom)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_LibXml2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_Pugixml)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
