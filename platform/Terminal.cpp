// Terminal.cpp — isatty on the standard descriptors.
#include "platform/Terminal.h"

#include <unistd.h>

namespace varn::platform {

bool IsTerminal(StandardStream stream) noexcept {
    return ::isatty(static_cast<int>(stream)) == 1;
}

} // namespace varn::platform
