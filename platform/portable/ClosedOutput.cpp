#include "platform/portable/ClosedOutput.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

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

void openClosedStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) != -1 || errno != EBADF)
            continue;
        // The lowest free number: the closed stream's, as the ones below are open.
        const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_RDONLY : O_WRONLY);
        if (opened >= 0 && opened != stream)
            ::close(opened);
    }
}

} // namespace zor
