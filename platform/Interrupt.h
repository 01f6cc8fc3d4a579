// Interrupt.h — noticing Ctrl-C in a command-line program so that a long operation can stop
// cleanly instead of the process dying in the middle of it.
#pragma once

namespace varn::platform {

/// From now on SIGINT only raises a flag (a second SIGINT after the flag is up ends the
/// process the ordinary way).
void WatchInterrupts() noexcept;

/// True once SIGINT has arrived since WatchInterrupts.
bool Interrupted() noexcept;

} // namespace varn::platform
