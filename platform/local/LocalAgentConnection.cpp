#include "platform/local/LocalAgentConnection.h"

#include "platform/local/LocalAgentMessages.h"

#include <QLocalSocket>
#include <QThread>

namespace zor {

namespace {

// The codes are those of the system's XPC errors.
PlatformError invalidatedError() {
    return PlatformError{QStringLiteral("The connection to the agent was invalidated."), 4099};
}

PlatformError interruptedError() {
    return PlatformError{QStringLiteral("The connection to the agent was interrupted."), 4097};
}

PlatformError malformedReplyError() {
    return PlatformError{QStringLiteral("The agent sent a malformed reply."), 4101};
}

PlatformError unreadableMessageError() {
    return PlatformError{QStringLiteral("The agent sent a message that could not be read."), 4101};
}

PlatformError replyTooLargeError() {
    return PlatformError{QStringLiteral("The agent's reply is larger than %1 bytes.")
                             .arg(local::kMaxReplyDataLength),
                         4101};
}

PlatformError callTooLargeError() {
    return PlatformError{
        QStringLiteral("The call is larger than one message to the agent can carry."), 4101};
}

using namespace local;

// The agent's side of one connection. All calls share the proxy's error handler.
class LocalAgentProxy final : public ZorAgentProtocol {
public:
    LocalAgentProxy(std::shared_ptr<LocalAgentConnection> connection,
                    AgentConnection::ErrorHandler onError)
        : connection(std::move(connection))
        , onError(std::move(onError)) {}

    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override {
        connection->sendCall(
            makeCall(method::getPrompts),
            [reply = std::move(reply)](const Message&, const std::optional<QByteArray>& data) {
                if (!data)
                    return false;
                reply(*data);
                return true;
            },
            onError);
    }

    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        connection->sendCall(
            makeCall(method::getBuildNumber),
            [reply = std::move(reply)](const Message& message, const auto&) {
                const auto buildNumber = stringField(message, key::buildNumber);
                if (!buildNumber)
                    return false;
                reply(*buildNumber);
                return true;
            },
            onError);
    }

    void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                  const QString& lifetime, const QString& policyPath,
                                  DecisionReply reply) override {
        QJsonObject call = makeCall(method::handlePrompt);
        call.insert(key::promptId, promptId);
        call.insert(key::action, action);
        call.insert(key::lifetime, lifetime);
        call.insert(key::policyPath, policyPath);
        connection->sendCall(std::move(call), decisionReader(std::move(reply)), onError);
    }

    void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) override {
        QJsonObject call = makeCall(method::dismissPrompt);
        call.insert(key::promptId, promptId);
        connection->sendCall(std::move(call), decisionReader(std::move(reply)), onError);
    }

private:
    static LocalAgentConnection::ReplyReader decisionReader(DecisionReply reply) {
        return [reply = std::move(reply)](const Message& message, const auto&) {
            const auto success = boolField(message, key::success);
            const auto error = optionalStringField(message, key::error);
            if (!success || !error)
                return false;
            reply(*success, *error);
            return true;
        };
    }

    std::shared_ptr<LocalAgentConnection> connection;
    AgentConnection::ErrorHandler onError;
};

} // namespace

std::shared_ptr<LocalAgentConnection>
LocalAgentConnection::create(const QString& socketName, ZorAppCallbackProtocol& exportedObject) {
    return std::shared_ptr<LocalAgentConnection>(
        new LocalAgentConnection(socketName, exportedObject));
}

LocalAgentConnection::LocalAgentConnection(const QString& socketName,
                                           ZorAppCallbackProtocol& exportedObject)
    : socketName(socketName)
    , thread(new QThread)
    , context(new QObject)
    , exportedObject(&exportedObject) {
    thread->setObjectName(QStringLiteral("ZorAgent connection"));
    context->moveToThread(thread);
    thread->start();
}

LocalAgentConnection::~LocalAgentConnection() {
    {
        QMutexLocker lock(&mutex);
        isInvalidated = true;
        invalidationHandler = {};
        interruptionHandler = {};
    }
    stopCallingExportedObject();
    if (QThread::currentThread() == thread) {
        // The last owner let go inside one of this connection's own handlers:
        // the thread cannot wait for itself, so it is collected once it ends.
        linkState = LinkState::invalidated;
        closeSocket();
        failPendingCalls(invalidatedError());
        thread->quit();
        QObject::connect(thread, &QThread::finished, context, &QObject::deleteLater);
        QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
        return;
    }
    QMetaObject::invokeMethod(
        context,
        [this] {
            linkState = LinkState::invalidated;
            closeSocket();
            failPendingCalls(invalidatedError());
        },
        Qt::BlockingQueuedConnection);
    thread->quit();
    thread->wait();
    delete context;
    delete thread;
}

template <typename Fn> void LocalAgentConnection::post(Fn fn) {
    QMetaObject::invokeMethod(
        context,
        [weak = weak_from_this(), fn = std::move(fn)]() mutable {
            if (auto self = weak.lock())
                fn(*self);
        },
        Qt::QueuedConnection);
}

void LocalAgentConnection::setInvalidationHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    invalidationHandler = std::move(handler);
}

void LocalAgentConnection::setInterruptionHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    interruptionHandler = std::move(handler);
}

void LocalAgentConnection::resume() {
    {
        QMutexLocker lock(&mutex);
        if (isResumed || isInvalidated)
            return;
        isResumed = true;
    }
    post([](LocalAgentConnection& self) { self.connectSocket(); });
}

void LocalAgentConnection::invalidate() {
    {
        QMutexLocker lock(&mutex);
        if (isInvalidated)
            return;
        isInvalidated = true;
    }
    stopCallingExportedObject();
    post([](LocalAgentConnection& self) { self.finishInvalidation(invalidatedError()); });
}

void LocalAgentConnection::stopCallingExportedObject() {
    // Waits for a callback in progress on the connection's thread.
    QMutexLocker lock(&exportMutex);
    exportedObject = nullptr;
}

std::shared_ptr<ZorAgentProtocol>
LocalAgentConnection::remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) {
    return std::make_shared<LocalAgentProxy>(shared_from_this(), std::move(errorHandler));
}

void LocalAgentConnection::sendCall(QJsonObject call, ReplyReader readReply, ErrorHandler onError) {
    post([call = std::move(call), readReply = std::move(readReply),
          onError = std::move(onError)](LocalAgentConnection& self) mutable {
        self.startCall(std::move(call), std::move(readReply), std::move(onError));
    });
}

void LocalAgentConnection::connectSocket() {
    if (linkState != LinkState::suspended)
        return;
    linkState = LinkState::connecting;
    socket = new QLocalSocket(context);
    const std::weak_ptr<LocalAgentConnection> weak = weak_from_this();
    auto forward = [weak](void (LocalAgentConnection::*step)()) {
        return [weak, step] {
            if (auto self = weak.lock())
                ((*self).*step)();
        };
    };
    QObject::connect(socket, &QLocalSocket::connected, context,
                     forward(&LocalAgentConnection::socketConnected));
    QObject::connect(socket, &QLocalSocket::disconnected, context,
                     forward(&LocalAgentConnection::socketDisconnected));
    QObject::connect(socket, &QLocalSocket::errorOccurred, context,
                     forward(&LocalAgentConnection::socketFailed));
    QObject::connect(socket, &QLocalSocket::readyRead, context,
                     forward(&LocalAgentConnection::readMessages));
    socket->connectToServer(socketName);
}

void LocalAgentConnection::socketConnected() {
    if (linkState != LinkState::connecting)
        return;
    linkState = LinkState::connected;
    for (const QByteArray& frame : std::as_const(unsentFrames))
        socket->write(frame);
    unsentFrames.clear();
}

void LocalAgentConnection::socketDisconnected() {
    if (linkState != LinkState::connected)
        return;
    linkState = LinkState::interrupted;
    endError = interruptedError();
    failPendingCalls(*endError);
    Handler handler;
    {
        QMutexLocker lock(&mutex);
        handler = interruptionHandler;
    }
    if (handler)
        handler();
}

void LocalAgentConnection::socketFailed() {
    // Only a failed connect ends the connection here; a working one that
    // breaks reports its end through socketDisconnected.
    if (linkState != LinkState::connecting)
        return;
    const PlatformError error{QStringLiteral("Could not reach the agent at %1: %2")
                                  .arg(socketName, socket->errorString()),
                              4099};
    {
        QMutexLocker lock(&mutex);
        isInvalidated = true;
    }
    stopCallingExportedObject();
    finishInvalidation(error);
}

void LocalAgentConnection::readMessages() {
    decoder.append(socket->readAll());
    while (linkState == LinkState::connected) {
        const auto frame = decoder.next();
        if (!frame)
            break;
        if (*frame) {
            handleMessage(frame->value());
            continue;
        }
        // The stream stays in step, so the link stays up: dropping it would
        // only fetch the same message again on the next connection. Any
        // pending call may have been the one answered.
        failPendingCalls(unreadableMessageError());
    }
}

void LocalAgentConnection::handleMessage(const Message& message) {
    const auto messageType = stringField(message, key::type);
    if (messageType == type::callback)
        deliverCallback(message);
    else if (messageType == type::reply)
        handleReply(message);
}

void LocalAgentConnection::handleReply(const Message& reply) {
    const auto id = callIdField(reply);
    const auto found = id ? pendingCalls.find(*id) : pendingCalls.end();
    if (found == pendingCalls.end())
        return;
    PendingCall& call = found->second;
    const bool hasMore = boolField(reply, key::more).value_or(false);
    std::optional<QByteArray> part = dataField(reply, key::data);
    const bool isMalformed = !part && (hasMore || reply.find(key::data));
    std::optional<QByteArray> data = std::move(call.data);
    if (part && data)
        data->append(*part);
    else if (part)
        data = std::move(part);
    const bool isTooLarge = data && data->size() > kMaxReplyDataLength;
    if (hasMore && !isMalformed && !isTooLarge) {
        call.data = std::move(data);
        return;
    }
    PendingCall finished = std::move(call);
    pendingCalls.erase(found);
    if (isMalformed || isTooLarge) {
        if (finished.onError)
            finished.onError(isTooLarge ? replyTooLargeError() : malformedReplyError());
        return;
    }
    if (!finished.readReply(reply, data) && finished.onError)
        finished.onError(malformedReplyError());
}

void LocalAgentConnection::deliverCallback(const Message& message) {
    QMutexLocker lock(&exportMutex);
    if (!exportedObject)
        return;
    // Callbacks whose arguments do not fit the interface are dropped, as XPC does.
    const auto name = stringField(message, key::method);
    if (name == method::promptAdded) {
        if (const auto data = dataField(message, key::data))
            exportedObject->promptAddedWithPromptData(*data);
    } else if (name == method::promptRemoved) {
        if (const auto promptId = stringField(message, key::promptId))
            exportedObject->promptRemovedWithPromptId(*promptId);
    } else if (name == method::promptsCleared) {
        if (const auto sessionId = stringField(message, key::sessionId))
            exportedObject->promptsClearedWithSessionId(*sessionId);
    }
}

void LocalAgentConnection::startCall(QJsonObject call, ReplyReader readReply,
                                     ErrorHandler onError) {
    if (linkState == LinkState::invalidated || linkState == LinkState::interrupted) {
        if (onError)
            onError(*endError);
        return;
    }
    const qint64 id = ++lastCallId;
    call.insert(key::id, id);
    const auto encoded = encodeFrame(call);
    if (!encoded) {
        if (onError)
            onError(callTooLargeError());
        return;
    }
    const QByteArray& frame = encoded.value();
    pendingCalls.emplace(id, PendingCall{std::move(readReply), std::move(onError), {}});
    if (linkState == LinkState::connected)
        socket->write(frame);
    else
        unsentFrames.append(frame);
}

void LocalAgentConnection::finishInvalidation(const PlatformError& error) {
    if (linkState == LinkState::invalidated)
        return;
    linkState = LinkState::invalidated;
    endError = error;
    closeSocket();
    failPendingCalls(error);
    Handler handler;
    {
        QMutexLocker lock(&mutex);
        handler = std::move(invalidationHandler);
        invalidationHandler = {};
        interruptionHandler = {};
    }
    if (handler)
        handler();
}

void LocalAgentConnection::closeSocket() {
    if (!socket)
        return;
    socket->disconnect();
    socket->abort();
    socket->deleteLater();
    socket = nullptr;
}

void LocalAgentConnection::failPendingCalls(const PlatformError& error) {
    std::map<qint64, PendingCall> failed;
    failed.swap(pendingCalls);
    unsentFrames.clear();
    for (auto& [id, call] : failed)
        if (call.onError)
            call.onError(error);
}

} // namespace zor
