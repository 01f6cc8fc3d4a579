// SysinfoCommand.h — `varnutil sysinfo`: what the library knows of the machine.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace varnutil {

CLI::App* AddSysinfoCommand(CLI::App& app);
int RunSysinfoCommand(std::ostream& out, std::ostream& err);

} // namespace varnutil
