// Interrupt.cpp — a SIGINT handler that only raises a flag.
#include "platform/Interrupt.h"

#include <signal.h>

namespace varn::platform {

namespace {

volatile sig_atomic_t g_interrupted = 0;

void onInterrupt(int /*signal*/) {
    if (g_interrupted != 0) {
        // Asked twice: the user wants out now.
        ::signal(SIGINT, SIG_DFL);
        ::raise(SIGINT);
    }
    g_interrupted = 1;
}

} // namespace

void WatchInterrupts() noexcept {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
}

bool Interrupted() noexcept {
    return g_interrupted != 0;
}

} // namespace varn::platform
