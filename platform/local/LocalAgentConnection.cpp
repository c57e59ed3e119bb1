#include "platform/local/LocalAgentConnection.h"

#include "platform/Log.h"
#include "platform/local/LocalAgentMessages.h"
#include "platform/local/PeerCredentials.h"
#include "shared/ParserRoom.h"

#include <QCoreApplication>
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

PlatformError noReplyError() {
    return PlatformError{QStringLiteral("The agent did not answer within %1 seconds.")
                             .arg(LocalAgentConnection::kReplyTimeout.count() / 1000),
                         4097};
}

PlatformError otherUserError() {
    return PlatformError{QStringLiteral("The agent's socket is served by another user."), 4099};
}

PlatformError callTooLargeError() {
    return PlatformError{
        QStringLiteral("The call is larger than one message to the agent can carry."), 4101};
}

using namespace local;

const Logger& log() {
    return logger(LogCategory::notifications);
}

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

// A call's error handler that runs, with the invalidation, if the call is
// dropped before it is taken.
class OwedError {
public:
    explicit OwedError(AgentConnection::ErrorHandler handler)
        : handler(std::move(handler)) {}
    OwedError(OwedError&& other) noexcept
        : handler(std::exchange(other.handler, {})) {}
    OwedError(const OwedError&) = delete;
    OwedError& operator=(const OwedError&) = delete;
    OwedError& operator=(OwedError&&) = delete;
    ~OwedError() {
        if (handler)
            handler(invalidatedError());
    }

    AgentConnection::ErrorHandler take() { return std::exchange(handler, {}); }

private:
    AgentConnection::ErrorHandler handler;
};

} // namespace

std::shared_ptr<LocalAgentConnection>
LocalAgentConnection::create(const SocketPlace& place, ZorAppCallbackProtocol& exportedObject,
                             Clock& clock) {
    return std::shared_ptr<LocalAgentConnection>(
        new LocalAgentConnection(place, exportedObject, clock));
}

LocalAgentConnection::LocalAgentConnection(const SocketPlace& place,
                                           ZorAppCallbackProtocol& exportedObject, Clock& clock)
    : place(place)
    , clock(clock)
    , thread(new QThread)
    , context(new QObject)
    , deadlineContext(new QObject)
    , exportedObject(&exportedObject) {
    thread->setObjectName(QStringLiteral("ZorAgent connection"));
    context->moveToThread(thread);
    deadlineContext->moveToThread(QCoreApplication::instance()->thread());
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
    // Its timers go with it, and so does a timer still on its way to the clock.
    if (QThread::currentThread() == deadlineContext->thread())
        delete deadlineContext;
    else
        deadlineContext->deleteLater();
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
    // The last owner may let go before the call reaches the connection's
    // thread, and the posted call then never runs: it still fails.
    post([call = std::move(call), readReply = std::move(readReply),
          onError = OwedError{std::move(onError)}](LocalAgentConnection& self) mutable {
        self.startCall(std::move(call), std::move(readReply), onError.take());
    });
}

void LocalAgentConnection::connectSocket() {
    if (linkState != LinkState::suspended)
        return;
    linkState = LinkState::connecting;
    if (!place.hasPath()) {
        failConnecting(PlatformError{
            QStringLiteral("No private place for the agent's socket: %1").arg(place.problem),
            4099});
        return;
    }
    watchDeadlines();
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
    socket->connectToServer(place.path);
}

void LocalAgentConnection::socketConnected() {
    if (linkState != LinkState::connecting)
        return;
    // Nothing goes to, or comes from, another user's process: it could pose
    // as the agent, feed prompts and learn the user's decisions.
    if (const auto stranger = refusedPeerUserId(socket->socketDescriptor())) {
        log().error("Refused ZorAgent's socket: it is served by user %ld", {*stranger});
        failConnecting(otherUserError());
        return;
    }
    linkState = LinkState::connected;
    for (const QByteArray& frame : std::as_const(unsentFrames))
        socket->write(frame);
    unsentFrames.clear();
}

void LocalAgentConnection::socketDisconnected() {
    if (linkState == LinkState::connected)
        interrupt(interruptedError());
}

void LocalAgentConnection::socketFailed() {
    // Only a failed connect ends the connection here; a working one that
    // breaks reports its end through socketDisconnected.
    if (linkState != LinkState::connecting)
        return;
    // Qt calls a socket that is not there an "invalid name": say what it means.
    const QString reason = socket->error() == QLocalSocket::ServerNotFoundError
                               ? QStringLiteral("no agent is listening there")
                               : socket->errorString();
    failConnecting(PlatformError{
        QStringLiteral("Could not reach the agent at %1: %2").arg(place.path, reason), 4099});
}

void LocalAgentConnection::readMessages() {
    if (linkState != LinkState::connected)
        return;
    decoder.append(socket->readAll());
    bool hasReadFrame = false;
    while (linkState == LinkState::connected) {
        const auto frame = decoder.next();
        if (!frame)
            break;
        if (!*frame) {
            // A stream out of step cannot be read any further, and any
            // pending call may have been the one answered.
            log().error("ZorAgent sent an unreadable frame, ending the connection: %{public}s",
                        {frame->error()});
            interrupt(unreadableMessageError());
            return;
        }
        hasReadFrame = true;
        handleMessage(frame->value());
    }
    if (linkState != LinkState::connected)
        return;
    // A frame begun and never finished would swallow everything after it.
    if (decoder.heldSize() == 0)
        unfinishedFrameSince.reset();
    else if (hasReadFrame || !unfinishedFrameSince)
        unfinishedFrameSince = clock.now();
    watchDeadlines();
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
    if (found == pendingCalls.begin())
        oldestCallSince = clock.now();
    pendingCalls.erase(found);
    if (isMalformed || isTooLarge) {
        if (finished.onError)
            finished.onError(isTooLarge ? replyTooLargeError() : malformedReplyError());
        return;
    }
    // A reply's data is JSON for the app to read: with the reader's room
    // after it, it is read where it is rather than copied whole first.
    if (data)
        makeParserRoom(*data);
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
    if (pendingCalls.empty())
        oldestCallSince = clock.now();
    pendingCalls.emplace(
        id, PendingCall{
                call.value(key::method).toString(), std::move(readReply), std::move(onError), {}});
    if (linkState == LinkState::connected)
        socket->write(frame);
    else
        unsentFrames.append(frame);
    watchDeadlines();
}

void LocalAgentConnection::watchDeadlines() {
    if (isWatchingDeadlines ||
        (linkState != LinkState::connecting && linkState != LinkState::connected))
        return;
    std::optional<Millis> due = unfinishedFrameSince;
    if (!pendingCalls.empty())
        due = std::min(due.value_or(Millis::max()), oldestCallSince);
    if (!due)
        return;
    isWatchingDeadlines = true;
    const Millis delay = std::max(Millis(0), *due + kReplyTimeout - clock.now());
    // The clock's timers run on the main thread.
    QMetaObject::invokeMethod(
        deadlineContext,
        [&clock = clock, timerContext = deadlineContext, weak = weak_from_this(), delay] {
            clock.schedule(delay, timerContext, [weak] {
                if (const auto self = weak.lock())
                    self->post(
                        [](LocalAgentConnection& connection) { connection.checkDeadlines(); });
            });
        },
        Qt::QueuedConnection);
}

void LocalAgentConnection::checkDeadlines() {
    isWatchingDeadlines = false;
    if (linkState != LinkState::connecting && linkState != LinkState::connected)
        return;
    const Millis now = clock.now();
    const auto isOverdue = [&](Millis since) { return now - since >= kReplyTimeout; };
    // Calls are numbered in order, so the first is the oldest.
    const auto oldest = pendingCalls.begin();
    const qint64 seconds = kReplyTimeout.count() / 1000;
    if (oldest != pendingCalls.end() && isOverdue(oldestCallSince)) {
        log().error(
            "ZorAgent did not reply to %{public}s within %ld seconds, ending the connection",
            {oldest->second.method, seconds});
    } else if (unfinishedFrameSince && isOverdue(*unfinishedFrameSince)) {
        log().error("ZorAgent left a frame unfinished for %ld seconds, ending the connection",
                    {seconds});
    } else {
        watchDeadlines();
        return;
    }
    if (linkState == LinkState::connecting)
        failConnecting(noReplyError());
    else
        interrupt(noReplyError());
}

void LocalAgentConnection::failConnecting(const PlatformError& error) {
    {
        QMutexLocker lock(&mutex);
        isInvalidated = true;
    }
    stopCallingExportedObject();
    finishInvalidation(error);
}

void LocalAgentConnection::interrupt(const PlatformError& error) {
    linkState = LinkState::interrupted;
    endError = error;
    closeSocket();
    failPendingCalls(error);
    Handler handler;
    {
        QMutexLocker lock(&mutex);
        handler = interruptionHandler;
    }
    if (handler)
        handler();
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
