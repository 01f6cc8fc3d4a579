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

/// Writes "varnutil <command>: error: <what>\n" to `err`, with "error" coloured on a terminal.
void ReportFailure(std::ostream& err, char const* command, std::string const& what);

/// The library's code as the tool shows it at the end of a message: "error 9" for a thrown
/// code, "status 0x10003" for a returned status.
std::string CodeLabel(unsigned code);

/// Forgets the calling thread's last system error; call it right before the library call
/// whose failure is to be explained.
void ClearSystemReason();

/// The system's reason for the last failed call of this thread, e.g. "permission denied";
/// empty when none failed since ClearSystemReason. Read it first thing after the failure.
std::string SystemReason();

/// The system's reason why `path` cannot be used for `access` ('r' read, 'w' write, 'x'
/// search, ' ' existence), found by looking at it; empty when nothing is wrong with it.
std::string PathReason(std::string const& path, char access);

/// Writes "varnutil <command>: <subject>: <reason> (<CodeLabel>)\n" to `err`: the reason is
/// `systemReason` when there is one, else the library's meaning of the code. With an empty
/// subject, the "<subject>: " part is left out. For example
/// "varnutil cp: a.txt: permission denied (error 9)".
void ReportError(std::ostream& err, char const* command, std::string const& subject, unsigned code,
                 std::string const& systemReason);

/// Writes "varnutil <command>: <subject>: <reason>\n" for a failure the library has no code
/// for, e.g. one the tool found by looking before it acted.
void ReportProblem(std::ostream& err, char const* command, std::string const& subject,
                   std::string const& reason);

} // namespace varnutil
