#include "platform/portable/PosixTerminationSignals.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "platform/portable/SignalActions.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace zor {

namespace {

struct Request {
    int signal;
    const char* name;
};

constexpr std::array<Request, 3> kRequests{
    {{SIGTERM, "SIGTERM"}, {SIGINT, "SIGINT"}, {SIGHUP, "SIGHUP"}}};

// The pipe's write end: all that the handler reads.
std::atomic<int> writeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read inside a signal handler");

extern "C" void forwardRequest(int signal) {
    const int savedErrno = errno;
    const char number = char(signal);
    // A pipe too full to take it holds requests enough.
    [[maybe_unused]] const ssize_t written = ::write(writeEnd.load(), &number, 1);
    errno = savedErrno;
}

} // namespace

void PosixTerminationSignals::watch(std::function<void()> handler) {
    requireMainThread("PosixTerminationSignals::watch");
    int ends[2];
    if (::pipe(ends) != 0) {
        logger(LogCategory::app)
            .error("Cannot watch for termination signals: %{public}s", {qt_error_string(errno)});
        return;
    }
    for (const int end : ends) {
        // Nothing started later inherits it, and the handler never waits on it.
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    readEnd = ends[0];
    writeEnd.store(ends[1]);
    onRequest = std::move(handler);
    notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this] { takeRequest(); });
    for (const Request& request : kRequests) {
        if (isSignalIgnored(request.signal))
            continue;
        // The same signal again finds the system's action at once, even
        // while the main thread is too stuck to take the first. Another
        // signal right behind it, as a logout's hangup follows its SIGTERM,
        // is still only a request.
        setSignalAction(request.signal, &forwardRequest, SA_RESETHAND);
    }
}

void PosixTerminationSignals::takeRequest() {
    char number = 0;
    if (::read(readEnd, &number, 1) != 1)
        return;
    // The first request is taken. A signal already delivered finds the
    // system's action when it comes again; another is one more request,
    // left untaken: a logout's hangup comes right behind its SIGTERM.
    notifier->setEnabled(false);
    for (const Request& request : kRequests)
        if (request.signal == number)
            logger(LogCategory::app).info("Termination requested by %{public}s", {request.name});
    onRequest();
}

} // namespace zor
