// XmlConformanceCatalog.h — the catalog of the W3C XML conformance suite: a tab-separated file
// with a header row, of which the tests use the id, type (valid, invalid, not-wf, error),
// entities, document path (from the suite's root), version, recommendation and namespaces.
#pragma once

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace varn::testing {

struct XmlConformanceCase {
    std::string id;
    std::string type;
    std::string entities;
    std::string uri;
    std::string version;
    std::string recommendation;
    std::string edition;
    std::string namespaces;

    // Cases judged by the rules expat implements: XML 1.0 (fifth edition), no namespace rules.
    bool IsXml10() const {
        return version != "1.1" && recommendation.rfind("XML1.1", 0) != 0 &&
               recommendation.rfind("NS1.1", 0) != 0 && edition != "1 2 3 4";
    }
    // Cases that rely on the name characters of the fifth edition, which expat does not use.
    bool NeedsFifthEditionNames() const { return edition == "5"; }
    bool NeedsNamespaces() const {
        return namespaces == "yes" || recommendation.rfind("NS", 0) == 0;
    }
};

inline std::vector<XmlConformanceCase> ReadXmlConformanceCatalog(std::string const& path) {
    std::vector<XmlConformanceCase> cases;
    std::ifstream in(path);
    std::string line;
    std::getline(in, line); // header
    while (std::getline(in, line)) {
        std::vector<std::string> cols;
        std::stringstream split(line);
        std::string col;
        while (std::getline(split, col, '\t')) {
            cols.push_back(col);
        }
        cols.resize(13);
        cases.push_back({cols[0], cols[1], cols[2], cols[4], cols[8], cols[9], cols[10], cols[11]});
    }
    return cases;
}

inline bool ReadWholeFile(std::string const& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

} // namespace varn::testing
