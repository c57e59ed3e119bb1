#pragma once

#include "platform/Clock.h"
#include "platform/SingleInstance.h"
#include "platform/local/PrivateRuntimeDir.h"

#include <QByteArray>
#include <QPointer>

class QLocalServer;
class QLocalSocket;

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

// What one later start can hand over.
inline constexpr qsizetype kMaxStartMessageBytes = 64 * 1024;
inline constexpr qsizetype kMaxStartArguments = 64;

// Reads what a later start sent so far. Anyone on the machine's user account
// may connect, so the bytes are checked as hostile: size, count, UTF-8, no
// control characters, nothing after the end.
StartMessage parseStartMessage(const QByteArray& bytes);

// The running app's answer once it has taken a later start's arguments.
inline constexpr char kStartTaken[] = "ok\n";

// The socket of the running app: ZOR_INSTANCE_SOCKET when set, else one in
// the user's private directory.
SocketPlace instanceSocketPlace();

} // namespace local

// One app per user through a local socket in the user's private directory:
// the first start listens on it, later starts connect, send their arguments,
// wait for the running app to take them and end.
class LocalSingleInstance final : public SingleInstance {
public:
    // The running app gives a later start this long to send its message.
    static constexpr Millis kReadTimeout{300};
    // A later start waits this long for the socket to accept it, then this
    // long for the running app's answer: enough for an app busy building its
    // window, short enough to tell a hung one.
    static constexpr Millis kConnectTimeout{1000};
    static constexpr Millis kAnswerTimeout{3000};

    explicit LocalSingleInstance(Clock& clock)
        : clock(clock) {}
    // Stops listening, unless the application object has ended it already.
    ~LocalSingleInstance() override;

    Role start(const QStringList& arguments, Receiver receiver) override;
    Role handOver(const QStringList& arguments) override;
    // Stops listening and drops the later starts still being read.
    void stop() override;

private:
    // Hands over, or with `isListening` becomes the running app.
    Role takeTurn(const QStringList& arguments, bool isListening);
    Role claim(const QString& path, const QStringList& arguments, bool isListening);
    Role handOverTo(QLocalSocket& running, const QStringList& arguments);
    bool listen(const QString& path);
    // What one later start has sent so far.
    struct StartRead {
        QByteArray bytes;
        bool isFinished = false;
    };

    void acceptStarts();
    void readStart(QLocalSocket* socket, StartRead& read);

    Clock& clock;
    Receiver receiver;
    // Owned by the application object, so that it goes before the event loop does.
    QPointer<QLocalServer> server;
};

} // namespace zor
