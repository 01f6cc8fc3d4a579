// SystemReport.h — a plain-text description of the machine written to a file in the
// background.
#pragma once

#include <string>

namespace varn::platform {

/// The report's text: OS release, kernel, processors, memory, mounted volumes with sizes,
/// locale and time zone.
std::string SystemReportText();

/// Replaces the file `path` with the report, in the calling thread. Where a system profiler
/// program is installed it is run instead, directly (never through a shell), its standard
/// output going to the file. Failures are silent.
void WriteSystemReport(std::string const& path);

/// Replaces the file `path` with the report and returns at once: the report-writing program
/// (`varn-system-report`, installed under libexec; `VARN_SYSTEM_REPORT_HELPER` names another
/// one for a build tree) is started with the path as its argument, and it writes the report
/// from a process of its own, which outlives the caller. Where it cannot be started, the report
/// is written here before returning. No thread is started and no shell sees the path.
void StartSystemReport(std::string const& path);

/// The report-writing program's body: with one argument, a path, it forks, and the child,
/// in a session of its own, writes the report there while the parent returns 0 at once. 2 for
/// a wrong argument count.
int SystemReportProgram(int argc, char** argv);

} // namespace varn::platform
