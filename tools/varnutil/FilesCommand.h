// FilesCommand.h — `varnutil ls`, `cp`, `mv`, `mkdir`, `rm` and `trash` over the file classes.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace varnutil {

/// Adds the six file subcommands to `app`.
void AddFilesCommands(CLI::App& app);

/// Runs whichever file subcommand was parsed: true with its exit code in *exitCode, or false
/// when none of them was.
bool RunFilesCommands(std::ostream& out, std::ostream& err, int* exitCode);

} // namespace varnutil
