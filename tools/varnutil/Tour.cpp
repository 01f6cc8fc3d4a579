// Tour.cpp — the registry and runner of the tour's sections.
#include "Tour.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace varnutil {
namespace {

struct Entry {
    int order;
    char const* title;
    TourSection::Run run;
};

std::vector<Entry>& sections() {
    static std::vector<Entry> all;
    return all;
}

} // namespace

TourSection::TourSection(int order, char const* title, Run run) {
    sections().push_back({order, title, run});
}

void Show(std::ostream& out, char const* label, char const* value) {
    char line[64];
    std::snprintf(line, sizeof line, "  %-34s ", label);
    out << line << (value != nullptr ? value : "(null)") << '\n';
}

int RunTour(std::ostream& out) {
    auto all = sections();
    std::stable_sort(all.begin(), all.end(),
                     [](Entry const& a, Entry const& b) { return a.order < b.order; });
    out << "VarnUtilityLib tour\n";
    for (Entry const& e : all) {
        out << '\n' << "== " << e.title << " ==\n";
        e.run(out);
    }
    return 0;
}

} // namespace varnutil
