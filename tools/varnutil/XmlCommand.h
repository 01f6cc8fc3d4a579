// XmlCommand.h — `varnutil xml dump|fmt|check FILE`.
#pragma once

#include <CLI/CLI.hpp>

namespace varnutil {

/// Registers the `xml` subcommand and its three actions (each loading leniently unless given
/// --strict) on `app`. The action that runs stores the process exit code in `exitCode`: 0
/// success, 1 the document cannot be opened, loaded or written, 2 the command line is wrong. A refused document prints "FILE:LINE:COLUMN: reason".
void AddXmlCommand(CLI::App& app, int& exitCode);

} // namespace varnutil
