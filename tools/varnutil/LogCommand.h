// LogCommand.h — `varnutil log` (write one line into a ring) and `varnutil log show`.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace varnutil {

/// Adds the "log" subcommand (and its "show") to `app` and returns it.
CLI::App* AddLogCommand(CLI::App& app);

/// Runs the parsed "log" subcommand; returns the process exit code.
int RunLogCommand(std::ostream& out, std::ostream& err);

} // namespace varnutil
