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
        record({.method = "getPrompts", .promptsReply = std::move(reply)});
    }
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        record({.method = "getBuildNumber", .buildNumberReply = std::move(reply)});
    }
    void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                  const QString& lifetime, const QString& policyPath,
                                  DecisionReply reply) override {
        record(
            {"handlePrompt", {promptId, action, lifetime, policyPath}, {}, {}, std::move(reply)});
    }
    void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) override {
        record({.method = "dismissPrompt",
                .arguments = {promptId},
                .decisionReply = std::move(reply)});
    }

private:
    void record(FakeAgentCall call) {
        call.errorHandler = errorHandler;
        connection->record(std::move(call));
    }

    std::shared_ptr<FakeAgentConnection> connection;
    AgentConnection::ErrorHandler errorHandler;
};

} // namespace

FakeQueue::FakeQueue()
    : thread(new QThread)
    , context(new QObject) {
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
        context,
        [this] {
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
        },
        Qt::BlockingQueuedConnection);
}

void FakeAgentConnection::setInvalidationHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    invalidationHandler = std::move(handler);
}

void FakeAgentConnection::setInterruptionHandler(Handler handler) {
    QMutexLocker lock(&mutex);
    interruptionHandler = std::move(handler);
}

void FakeAgentConnection::resume() {
    if (isAgentAbsent)
        queue.post([self = shared_from_this()] {
            self->end(QStringLiteral("Couldn't communicate with a helper application."));
        });
}

void FakeAgentConnection::invalidate() {
    {
        QMutexLocker lock(&mutex);
        ++invalidations;
    }
    queue.post([self = shared_from_this()] {
        self->end(QStringLiteral("The connection was invalidated."));
    });
}

// Fails every unanswered call, then reports the end; only once.
void FakeAgentConnection::end(const QString& errorText) {
    QList<FakeAgentCall> unanswered;
    Handler handler;
    {
        QMutexLocker lock(&mutex);
        if (std::exchange(hasEnded, true))
            return;
        for (FakeAgentCall& call : recorded)
            if (!std::exchange(call.isAnswered, true))
                unanswered.append(call);
        handler = std::exchange(invalidationHandler, {});
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
    recorded.append(std::move(call));
}

void FakeAgentConnection::answer(const QString& method,
                                 std::function<void(const FakeAgentCall&)> fn) {
    queue.post([self = shared_from_this(), method, fn] {
        std::optional<FakeAgentCall> call;
        {
            QMutexLocker lock(&self->mutex);
            for (FakeAgentCall& each : self->recorded)
                if (each.method == method && !std::exchange(each.isAnswered, true)) {
                    call = each;
                    break;
                }
        }
        if (call)
            fn(*call);
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

int FakeAgentConnection::invalidateCount() const {
    QMutexLocker lock(&mutex);
    return invalidations;
}

bool FakeAgentConnection::hasHandlers() const {
    QMutexLocker lock(&mutex);
    return invalidationHandler || interruptionHandler;
}

} // namespace zor::testing
