#pragma once

#include "platform/AgentConnection.h"
#include "platform/Clock.h"
#include "platform/local/LocalFraming.h"
#include "platform/local/PrivateRuntimeDir.h"

#include <QByteArrayList>
#include <QJsonObject>
#include <QMutex>
#include <QRecursiveMutex>
#include <map>

class QLocalSocket;
class QObject;
class QThread;

namespace zor {

// An agent connection over a local socket, for systems without XPC. The socket
// lives on the connection's own thread, where handlers, callbacks of the
// exported object and replies run.
//
// Like XPC, it answers every call exactly once, with its reply or an error:
// a call without a reply kReplyTimeout after its turn came (its sending, or
// the reply to the call before) fails, and so does every call when the agent
// turns out not to be trustworthy (another user's process, or a stream that
// breaks the framing). Either way the connection is ended as an
// interrupted one, so that its owner connects anew.
class LocalAgentConnection final : public AgentConnection,
                                   public std::enable_shared_from_this<LocalAgentConnection> {
public:
    static constexpr Millis kReplyTimeout{10000};

    // Takes apart a reply and hands it on; false when it was malformed. `data`
    // is the reply's raw data, gathered from all its parts, if it has any.
    using ReplyReader =
        std::function<bool(const local::Message& reply, const std::optional<QByteArray>& data)>;

    // A connection to the socket at `place`; one without a path fails on
    // resume with the place's problem. Deadlines are kept on `clock`.
    static std::shared_ptr<LocalAgentConnection>
    create(const local::SocketPlace& place, ZorAppCallbackProtocol& exportedObject, Clock& clock);
    ~LocalAgentConnection() override;

    LocalAgentConnection(const LocalAgentConnection&) = delete;
    LocalAgentConnection& operator=(const LocalAgentConnection&) = delete;

    void setInvalidationHandler(Handler handler) override;
    void setInterruptionHandler(Handler handler) override;
    void resume() override;
    void invalidate() override;
    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override;

    // Sends one call; `onError` runs instead of `readReply` when no well-formed
    // reply comes.
    void sendCall(QJsonObject call, ReplyReader readReply, ErrorHandler onError);

private:
    enum class LinkState { suspended, connecting, connected, interrupted, invalidated };

    struct PendingCall {
        QString method;
        ReplyReader readReply;
        ErrorHandler onError;
        std::optional<QByteArray> data; // of the parts so far
    };

    LocalAgentConnection(const local::SocketPlace& place, ZorAppCallbackProtocol& exportedObject,
                         Clock& clock);

    template <typename Fn> void post(Fn fn);
    void stopCallingExportedObject();

    // On the connection's thread.
    void connectSocket();
    void socketConnected();
    void socketDisconnected();
    void socketFailed();
    void readMessages();
    void handleMessage(const local::Message& message);
    void handleReply(const local::Message& reply);
    void deliverCallback(const local::Message& message);
    void startCall(QJsonObject call, ReplyReader readReply, ErrorHandler onError);
    void watchDeadlines();
    void checkDeadlines();
    void failConnecting(const PlatformError& error);
    void interrupt(const PlatformError& error);
    void finishInvalidation(const PlatformError& error);
    void closeSocket();
    void failPendingCalls(const PlatformError& error);

    const local::SocketPlace place;
    Clock& clock;
    QThread* thread;
    QObject* context;         // lives on `thread`; receiver of everything posted there
    QObject* deadlineContext; // lives on the main thread, where the clock's timers run

    // Shared between threads.
    QMutex mutex;
    Handler invalidationHandler;
    Handler interruptionHandler;
    bool isResumed = false;
    bool isInvalidated = false;
    QRecursiveMutex exportMutex; // held while the exported object is called
    ZorAppCallbackProtocol* exportedObject;

    // Owned by the connection's thread.
    LinkState linkState = LinkState::suspended;
    QLocalSocket* socket = nullptr;
    local::FrameDecoder decoder;
    std::optional<Millis> unfinishedFrameSince; // since the last whole frame
    std::map<qint64, PendingCall> pendingCalls;
    // When the oldest pending call became the oldest: its reply is due
    // kReplyTimeout after that. An agent answers in turn, so a call queued
    // behind thousands waits for its turn, not for its own sending.
    Millis oldestCallSince{0};
    QByteArrayList unsentFrames;
    qint64 lastCallId = 0;
    bool isWatchingDeadlines = false;
    std::optional<PlatformError> endError; // why calls fail once the link is down
};

} // namespace zor
