#pragma once

#include "platform/Clock.h"
#include "platform/SingleInstance.h"

#include <QByteArray>
#include <QPointer>

class QLocalServer;

namespace zor {

namespace local {

// What a later start sends: each argument in UTF-8 followed by a line feed,
// then one more line feed. Arguments that hold control characters cannot be
// sent and are left out.
QByteArray encodeStartMessage(const QStringList& arguments);

struct StartMessage {
    enum class State { incomplete, complete, broken };
    State state = State::incomplete;
    QStringList arguments;
};

inline constexpr qsizetype kMaxStartMessageBytes = 64 * 1024;
inline constexpr qsizetype kMaxStartArguments = 64;

// Reads what a later start sent so far. Anyone on the machine's user account
// may connect, so the bytes are checked as hostile: size, count, UTF-8, no
// control characters, nothing after the end.
StartMessage parseStartMessage(const QByteArray& bytes);

// The socket of the running app: ZOR_INSTANCE_SOCKET when set, else one per user.
QString instanceSocketName();

} // namespace local

// One app per user through a local socket: the first start listens on it,
// later starts connect, send their arguments and end.
class LocalSingleInstance final : public SingleInstance {
public:
    // A later start that has not sent its message by then is cut off.
    static constexpr Millis kMessageTimeout{5000};
    static constexpr int kMaxOpenStarts = 8;

    explicit LocalSingleInstance(Clock& clock)
        : clock(clock) {}

    Role start(const QStringList& arguments, Receiver receiver) override;

private:
    bool listen(const QString& name);
    void acceptStarts();

    Clock& clock;
    Receiver receiver;
    // Owned by the application object, so that it goes before the event loop does.
    QPointer<QLocalServer> server;
    int openStarts = 0;
};

} // namespace zor
