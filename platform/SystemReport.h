// SystemReport.h — a plain-text description of the machine written to a file in the
// background.
#pragma once

#include <string>

namespace varn::platform {

/// The report's text: OS release, kernel, processors, memory, mounted volumes with sizes,
/// locale and time zone.
std::string SystemReportText();

/// Replaces the file `path` with the report and returns at once; the writing happens on a
/// thread of its own. Where a system profiler program is installed it is run instead, directly
/// (never through a shell), its standard output going to the file. Failures are silent.
void StartSystemReport(std::string const& path);

} // namespace varn::platform
