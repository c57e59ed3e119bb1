#include "platform/portable/ClosedOutput.h"

#include "platform/portable/SignalActions.h"

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
    // One started with the signal ignored already survives, as its parent meant.
    if (!isSignalIgnored(SIGPIPE))
        setSignalAction(SIGPIPE, takeBrokenPipe);
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
