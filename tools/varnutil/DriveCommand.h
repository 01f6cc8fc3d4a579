// DriveCommand.h — `varnutil drive PATH` and `varnutil drive --all`.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace varnutil {

/// Adds the "drive" subcommand to `app` and returns it.
CLI::App* AddDriveCommand(CLI::App& app);

/// Runs the parsed "drive" subcommand; returns the process exit code.
int RunDriveCommand(std::ostream& out, std::ostream& err);

} // namespace varnutil
