#pragma once

#include "platform/PlatformError.h"

#include <QMutex>
#include <functional>
#include <map>

namespace zor {

// The calls on one connection that wait for their answer. Each call ends once:
// by its reply, by its error, or by the end of the connection, whichever comes
// first; later ends are ignored. Safe from any thread.
class PendingCalls {
public:
    using CallId = quint64;
    using ErrorHandler = std::function<void(const PlatformError& error)>;

    CallId open(ErrorHandler onError);
    // The reply came: true when it is the call's first end, and the reply may run.
    bool finish(CallId id);
    // The call failed: its error handler runs when it is the call's first end.
    void fail(CallId id, const PlatformError& error);
    // The connection failed: every open call fails with `error`.
    void failAll(const PlatformError& error);

private:
    QMutex mutex;
    std::map<CallId, ErrorHandler> calls;
    CallId lastId = 0;
};

} // namespace zor
