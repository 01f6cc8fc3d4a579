// Tour.h — the sections of `varnutil tour`.
//
// Each section lives in its own Tour*.cpp and registers itself with a static TourSection, so
// a new part of the library adds a file, not an edit to a shared list. Sections run in the
// order of their `order` numbers.
#pragma once

#include <ostream>

namespace varnutil {

struct TourSection {
    using Run = void (*)(std::ostream& out);
    TourSection(int order, char const* title, Run run);
};

/// Runs every registered section in order; returns the process exit code.
int RunTour(std::ostream& out);

/// Prints "  label: value" lines, aligned, for the sections' output.
void Show(std::ostream& out, char const* label, char const* value);

/// How many sections the tour has (every registered TourSection).
int TourSectionCount();

} // namespace varnutil
