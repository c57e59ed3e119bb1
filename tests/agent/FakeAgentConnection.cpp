#include "FakeAgentConnection.h"

#include <QThread>

namespace zor::testing {

namespace {

class FakeProxy final : public ZorAgentProtocol {
public:
    FakeProxy(std::shared_ptr<FakeAgentConnection> connection,
              AgentConnection::ErrorHandler errorHandler)
        : connection(std::move(connection))
        , errorHandler(std::move(errorHandler)) {}

    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override {
        FakeAgentCall call = make("getPrompts", {});
        call.promptsReply = std::move(reply);
        connection->record(std::move(call));
    }
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        FakeAgentCall call = make("getBuildNumber", {});
        call.buildNumberReply = std::move(reply);
        connection->record(std::move(call));
    }
    void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                  const QString& lifetime, const QString& policyPath,
                                  DecisionReply reply) override {
        FakeAgentCall call = make("handlePrompt", {promptId, action, lifetime, policyPath});
        call.decisionReply = std::move(reply);
        connection->record(std::move(call));
    }
    void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) override {
        FakeAgentCall call = make("dismissPrompt", {promptId});
        call.decisionReply = std::move(reply);
        connection->record(std::move(call));
    }

private:
    FakeAgentCall make(const char* method, QStringList arguments) const {
        FakeAgentCall call;
        call.method = QString::fromLatin1(method);
        call.arguments = std::move(arguments);
        call.errorHandler = errorHandler;
        return call;
    }

    std::shared_ptr<FakeAgentConnection> connection;
    AgentConnection::ErrorHandler errorHandler;
};

} // namespace

FakeQueue::FakeQueue()
    : thread(new QThread)
    , context(new QObject) {
    thread->setObjectName(QStringLiteral("fake agent queue"));
    context->moveToThread(thread);
    thread->start();
}

FakeQueue::~FakeQueue() {
    drain();
    thread->quit();
    thread->wait();
    delete context;
    delete thread;
}

void FakeQueue::post(std::function<void()> fn) {
    QMutexLocker lock(&mutex);
    posted.append(std::move(fn));
}

void FakeQueue::drain() {
    QMetaObject::invokeMethod(
        context, [this] { runPosted(); }, Qt::BlockingQueuedConnection);
}

void FakeQueue::runPosted() {
    for (;;) {
        std::function<void()> next;
        {
            QMutexLocker lock(&mutex);
            if (posted.isEmpty())
                return;
            next = posted.takeFirst();
        }
        next();
    }
}

FakeAgentConnection::FakeAgentConnection(QString serviceName,
                                         ZorAppCallbackProtocol& exportedObject, FakeQueue& queue,
                                         bool isAgentAbsent)
    : serviceName(std::move(serviceName))
    , exportedObject(exportedObject)
    , queue(queue)
    , isAgentAbsent(isAgentAbsent) {}

void FakeAgentConnection::setInvalidationHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    invalidationHandler = std::move(handler);
}

void FakeAgentConnection::setInterruptionHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    interruptionHandler = std::move(handler);
}

void FakeAgentConnection::resume() {
    {
        QMutexLocker lock(&mutex);
        resumed = true;
    }
    if (isAgentAbsent)
        queue.post([self = shared_from_this()] {
            {
                QMutexLocker lock(&self->mutex);
                if (self->invalidated)
                    return;
                self->invalidated = true;
            }
            self->endForGood(QStringLiteral("Couldn't communicate with a helper application."));
        });
}

void FakeAgentConnection::invalidate() {
    {
        QMutexLocker lock(&mutex);
        ++invalidations;
        if (invalidated)
            return;
        invalidated = true;
    }
    queue.post([self = shared_from_this()] {
        self->endForGood(QStringLiteral("The connection was invalidated."));
    });
}

void FakeAgentConnection::endForGood(const QString& errorText) {
    QList<FakeAgentCall> unanswered;
    Handler handler;
    {
        QMutexLocker lock(&mutex);
        for (FakeAgentCall& call : recorded)
            if (!call.isAnswered) {
                call.isAnswered = true;
                unanswered.append(call);
            }
        handler = std::move(invalidationHandler);
        invalidationHandler = {};
        interruptionHandler = {};
    }
    for (const FakeAgentCall& call : unanswered)
        call.errorHandler(PlatformError{errorText});
    if (handler)
        handler();
}

std::shared_ptr<ZorAgentProtocol>
FakeAgentConnection::remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) {
    return std::make_shared<FakeProxy>(shared_from_this(), std::move(errorHandler));
}

void FakeAgentConnection::record(FakeAgentCall call) {
    QMutexLocker lock(&mutex);
    if (invalidated) {
        call.isAnswered = true;
        queue.post([handler = call.errorHandler] {
            handler(PlatformError{QStringLiteral("The connection was invalidated.")});
        });
    }
    recorded.append(std::move(call));
}

std::optional<FakeAgentCall> FakeAgentConnection::takeCall(const QString& method) {
    QMutexLocker lock(&mutex);
    for (FakeAgentCall& call : recorded)
        if (call.method == method && !call.isAnswered) {
            call.isAnswered = true;
            return call;
        }
    return std::nullopt;
}

void FakeAgentConnection::replyToPrompts(const QByteArray& data) {
    queue.post([self = shared_from_this(), data] {
        if (const auto call = self->takeCall(QStringLiteral("getPrompts")))
            call->promptsReply(data);
    });
}

void FakeAgentConnection::replyToBuildNumber(const QString& buildNumber) {
    queue.post([self = shared_from_this(), buildNumber] {
        if (const auto call = self->takeCall(QStringLiteral("getBuildNumber")))
            call->buildNumberReply(buildNumber);
    });
}

void FakeAgentConnection::replyToDecision(const QString& method, bool success,
                                          std::optional<QString> error) {
    queue.post([self = shared_from_this(), method, success, error] {
        if (const auto call = self->takeCall(method))
            call->decisionReply(success, error);
    });
}

void FakeAgentConnection::failCall(const QString& method, const QString& errorText) {
    queue.post([self = shared_from_this(), method, errorText] {
        if (const auto call = self->takeCall(method))
            call->errorHandler(PlatformError{errorText});
    });
}

void FakeAgentConnection::pushPromptAdded(const QByteArray& data) {
    queue.post([self = shared_from_this(), data] {
        if (!self->isInvalidated())
            self->exportedObject.promptAddedWithPromptData(data);
    });
}

void FakeAgentConnection::pushPromptRemoved(const QString& promptId) {
    queue.post([self = shared_from_this(), promptId] {
        if (!self->isInvalidated())
            self->exportedObject.promptRemovedWithPromptId(promptId);
    });
}

void FakeAgentConnection::pushPromptsCleared(const QString& sessionId) {
    queue.post([self = shared_from_this(), sessionId] {
        if (!self->isInvalidated())
            self->exportedObject.promptsClearedWithSessionId(sessionId);
    });
}

void FakeAgentConnection::interrupt() {
    queue.post([self = shared_from_this()] {
        Handler handler;
        {
            QMutexLocker lock(&self->mutex);
            handler = self->interruptionHandler;
        }
        if (handler)
            handler();
    });
}

QList<FakeAgentCall> FakeAgentConnection::calls() const {
    QMutexLocker lock(&mutex);
    return recorded;
}

bool FakeAgentConnection::isResumed() const {
    QMutexLocker lock(&mutex);
    return resumed;
}

bool FakeAgentConnection::isInvalidated() const {
    QMutexLocker lock(&mutex);
    return invalidated;
}

int FakeAgentConnection::invalidateCount() const {
    QMutexLocker lock(&mutex);
    return invalidations;
}

bool FakeAgentConnection::hasInvalidationHandler() const {
    QMutexLocker lock(&mutex);
    return bool(invalidationHandler);
}

bool FakeAgentConnection::hasInterruptionHandler() const {
    QMutexLocker lock(&mutex);
    return bool(interruptionHandler);
}

std::shared_ptr<AgentConnection>
FakeAgentConnector::connectToService(const QString& serviceName, ZorAppCallbackProtocol& exported) {
    auto connection =
        std::make_shared<FakeAgentConnection>(serviceName, exported, queue, isAgentAbsent);
    connections.append(connection);
    return connection;
}

} // namespace zor::testing
