// XmlLoadProcess.cpp — one side of the separate-process XML comparison: loads FILE into a tree
// as an application would (from the file), releases the tree, and prints one line of JSON:
// the load's wall time, resident memory before the load, its peak, and resident memory after
// the tree is released, all from the operating system (/proc/self/status). Built once per side
// (VARN_SIDE 1: this library, 2: libxml2, 3: pugixml); scripts/bench-compare --process runs
// each as its own process, so that no side inherits another's heap.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#if VARN_SIDE == 1
#include <VarnUtilityLib/VarnUtilityLib.h>
#elif VARN_SIDE == 2
#include <libxml/parser.h>
#include <libxml/tree.h>
#else
#include <pugixml.hpp>
#endif

namespace {

// A field of /proc/self/status in kB ("VmRSS", "VmHWM").
long StatusKiB(char const* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    std::size_t const length = std::strlen(field);
    while (std::getline(status, line)) {
        if (line.compare(0, length, field) == 0 && line[length] == ':') {
            return std::stol(line.substr(length + 1));
        }
    }
    return -1;
}

// Loads and releases; false when the document did not load.
bool LoadAndRelease(char const* path) {
#if VARN_SIDE == 1
    CUStringMac name(path, CUString_CharCode_UTF8);
    CUSharedPtr<CUStream> stream(
        new CUFileStream(&name, CUStream_FileMode_Open, CUStream_FileAccess_Read, true));
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    return doc->LoadXml(stream) == 0;
#elif VARN_SIDE == 2
    xmlDocPtr doc = xmlReadFile(path, nullptr, XML_PARSE_NOBLANKS);
    xmlFreeDoc(doc);
    return doc != nullptr;
#else
    pugi::xml_document doc;
    return static_cast<bool>(doc.load_file(path));
#endif
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    long const before = StatusKiB("VmRSS");
    auto const start = std::chrono::steady_clock::now();
    bool const loaded = LoadAndRelease(argv[1]);
    double const seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    long const peak = StatusKiB("VmHWM");
    long const after = StatusKiB("VmRSS");
    if (!loaded) {
        std::fprintf(stderr, "%s: %s did not load\n", argv[0], argv[1]);
        return 1;
    }
    std::printf("{\"load_and_release_s\": %.6f, \"rss_before_kib\": %ld, \"peak_kib\": %ld, "
                "\"rss_after_release_kib\": %ld}\n",
                seconds, before, peak, after);
    return 0;
}
