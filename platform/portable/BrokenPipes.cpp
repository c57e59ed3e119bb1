#include "platform/portable/BrokenPipes.h"

#include <csignal>

namespace zor {

namespace {

extern "C" void takeBrokenPipe(int) {}

} // namespace

void survivePipesClosedUnderfoot() {
    struct sigaction current {};
    // One started with the signal ignored already survives, as its parent meant.
    if (::sigaction(SIGPIPE, nullptr, &current) != 0 || current.sa_handler == SIG_IGN)
        return;
    struct sigaction action {};
    action.sa_handler = takeBrokenPipe;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);
}

} // namespace zor
