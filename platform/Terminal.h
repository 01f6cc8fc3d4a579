// Terminal.h — whether a standard stream is a terminal, for programs that colour their output
// only there.
#pragma once

namespace varn::platform {

/// Standard streams by descriptor number.
enum class StandardStream { Output = 1, Error = 2 };

/// True when the stream is connected to a terminal.
bool IsTerminal(StandardStream stream) noexcept;

} // namespace varn::platform
