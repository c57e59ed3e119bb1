#pragma once

#include "platform/AgentConnection.h"
#include "platform/local/LocalFraming.h"

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
class LocalAgentConnection final : public AgentConnection,
                                   public std::enable_shared_from_this<LocalAgentConnection> {
public:
    // Takes apart a reply and hands it on; false when it was malformed. `data`
    // is the reply's raw data, gathered from all its parts, if it has any.
    using ReplyReader =
        std::function<bool(const local::Message& reply, const std::optional<QByteArray>& data)>;

    static std::shared_ptr<LocalAgentConnection> create(const QString& socketName,
                                                        ZorAppCallbackProtocol& exportedObject);
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
        ReplyReader readReply;
        ErrorHandler onError;
        std::optional<QByteArray> data; // of the parts so far
    };

    LocalAgentConnection(const QString& socketName, ZorAppCallbackProtocol& exportedObject);

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
    void finishInvalidation(const PlatformError& error);
    void closeSocket();
    void failPendingCalls(const PlatformError& error);

    const QString socketName;
    QThread* thread;
    QObject* context; // lives on `thread`; receiver of everything posted there

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
    std::map<qint64, PendingCall> pendingCalls;
    QByteArrayList unsentFrames;
    qint64 lastCallId = 0;
    std::optional<PlatformError> endError; // why calls fail once the link is down
};

} // namespace zor
