// Errors.h — words for the library's error codes and statuses, and the tool's exit codes and
// colours, shared by every subcommand.
#pragma once

#include <VarnUtilityLib/CUStringMac.h>

#include <ostream>
#include <string>

namespace varnutil {

/// Exit codes of every subcommand: 0 done, 1 the operation failed, 2 the command line is wrong.
enum ExitCode : int { kExitOk = 0, kExitFailed = 1, kExitUsage = 2 };

/// What a thrown code (1-9) or a status (0, 0x10001-0x10005) means, e.g.
/// "9 (file not found)". Unknown values are shown in hexadecimal as "unknown code".
std::string DescribeError(unsigned code);

/// The UTF-8 text of a library string; `absent` for an empty pointer, `nullText` (by default
/// `absent` too) for a string without text.
std::string TextOf(CUSharedPtr<CUStringMac> const& s, char const* absent,
                   char const* nullText = nullptr);

/// TextOf in double quotes; the fallback texts stay unquoted.
std::string QuotedTextOf(CUSharedPtr<CUStringMac> const& s, char const* absent);

/// Text styles; they turn into escape sequences only where colour is wanted.
enum class Style { Plain, Heading, Error, Good };

/// True when output to `out` (std::cout or std::cerr) should be coloured: the stream is a
/// terminal and NO_COLOR is unset or empty.
bool WantsColour(std::ostream const& out);

/// `text` in `style` when `out` wants colour, else `text` as it is.
std::string Paint(std::ostream const& out, Style style, std::string const& text);

/// Writes "varnutil <command>: <what>\n" to `err`, with "error" coloured on a terminal.
void ReportFailure(std::ostream& err, char const* command, std::string const& what);

} // namespace varnutil
