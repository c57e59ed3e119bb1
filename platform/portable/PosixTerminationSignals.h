#pragma once

#include "platform/TerminationSignals.h"

#include <QPointer>

class QSocketNotifier;

namespace zor {

// SIGTERM, SIGINT and SIGHUP. Their handler only writes the signal's number
// into a pipe, about all that a signal handler may safely do; the event loop
// reads it on the main thread.
class PosixTerminationSignals final : public TerminationSignals {
public:
    void watch(std::function<void()> onRequest) override;

private:
    void takeRequest();

    std::function<void()> onRequest;
    int readEnd = -1;
    // Owned by the application object, so that it goes before the event loop does.
    QPointer<QSocketNotifier> notifier;
};

} // namespace zor
