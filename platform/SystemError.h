// SystemError.h — the system's own reason for the last failed call, read from errno, for
// programs that tell their user why an operation failed.
#pragma once

#include <string>

namespace varn::platform {

/// Forgets the calling thread's last system error, before a call whose failure is to be
/// explained.
void ClearSystemError() noexcept;

/// The calling thread's last system error number now; 0 when no call failed since
/// ClearSystemError.
int LastSystemError() noexcept;

/// The system's words for an error number in lower case, e.g. "permission denied"; empty for 0.
std::string SystemErrorText(int code);

/// The error number that looking at `path` gives: 0 when it exists and allows `access`
/// ('r' read, 'w' write, 'x' search, ' ' existence only), else the failing call's errno.
int ProbePath(char const* path, char access) noexcept;

} // namespace varn::platform
