#pragma once

#include "platform/Clock.h"

#include <QString>

class QLocalSocket;

namespace zor::local {

// How an attempt to connect to a socket's path ended.
enum class SocketAnswer {
    connected,
    refused,    // a socket file that nothing listens on
    absent,     // nothing at the path
    unanswered, // a listener that is stopped or swamped, or anything else
};

// Connects `socket` to `path`, waiting at most `timeout` (a real wait: it
// runs before there is an event loop). Only `refused` proves that nothing
// listens; a listener that does not accept in time is still there.
SocketAnswer connectToSocket(QLocalSocket& socket, const QString& path, Millis timeout);

// Removes what lies at `path` when it is a socket file, and nothing else.
// Only for a socket that connecting to was refused.
void removeSocketFile(const QString& path);

} // namespace zor::local
