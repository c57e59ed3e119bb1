#pragma once

#include "platform/AgentConnection.h"

#include <QList>
#include <QMutex>
#include <QStringList>
#include <memory>
#include <thread>

namespace zor::testing {

// A private queue of a connection: work posted to it waits until the test
// drains the queue on a thread of its own, so that the order of events is the test's.
class FakeQueue {
public:
    ~FakeQueue() { drain(); }

    void post(std::function<void()> fn) {
        QMutexLocker lock(&mutex);
        posted.append(std::move(fn));
    }

    // Runs everything posted, including what that posts.
    void drain() {
        std::thread([this] {
            for (QMutexLocker lock(&mutex); !posted.isEmpty(); lock.relock()) {
                const std::function<void()> next = posted.takeFirst();
                lock.unlock();
                next();
            }
        }).join();
    }

private:
    QMutex mutex;
    QList<std::function<void()>> posted;
};

// One call made through a proxy, with the means to answer it.
struct FakeAgentCall {
    QString method{};
    QStringList arguments{};
    std::function<void(const QByteArray&)> promptsReply{};
    std::function<void(const QString&)> buildNumberReply{};
    DecisionReply decisionReply{};
    AgentConnection::ErrorHandler errorHandler{};
    bool isAnswered = false;
};

// A connection whose agent the test plays. Handlers and replies run on the
// queue, like those of a real connection.
class FakeAgentConnection final : public AgentConnection,
                                  public std::enable_shared_from_this<FakeAgentConnection> {
public:
    FakeAgentConnection(QString serviceName, FakeQueue& queue, bool isAgentAbsent)
        : serviceName(std::move(serviceName))
        , queue(queue)
        , isAgentAbsent(isAgentAbsent) {}

    void setInvalidationHandler(Handler handler) override {
        QMutexLocker lock(&mutex);
        invalidationHandler = std::move(handler);
    }
    void setInterruptionHandler(Handler handler) override {
        QMutexLocker lock(&mutex);
        interruptionHandler = std::move(handler);
    }
    void resume() override {
        if (isAgentAbsent)
            queue.post([self = shared_from_this()] {
                self->end(QStringLiteral("Couldn't communicate with a helper application."));
            });
    }
    void invalidate() override {
        QMutexLocker lock(&mutex);
        ++invalidations;
        queue.post([self = shared_from_this()] {
            self->end(QStringLiteral("The connection was invalidated."));
        });
    }
    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override;

    // The agent's part, on the queue: answers the oldest unanswered call of `method`.
    void answer(const QString& method, std::function<void(const FakeAgentCall&)> fn) {
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
    void replyToPrompts(const QByteArray& data) {
        answer("getPrompts", [data](const FakeAgentCall& call) { call.promptsReply(data); });
    }
    void failCall(const QString& method, const QString& text) {
        answer(method,
               [text](const FakeAgentCall& call) { call.errorHandler(PlatformError{text}); });
    }
    void interrupt() {
        queue.post([self = shared_from_this()] {
            QMutexLocker lock(&self->mutex);
            const Handler handler = self->interruptionHandler;
            lock.unlock();
            if (handler)
                handler();
        });
    }

    void record(FakeAgentCall call) {
        QMutexLocker lock(&mutex);
        recorded.append(std::move(call));
    }
    QList<FakeAgentCall> calls() const {
        QMutexLocker lock(&mutex);
        return recorded;
    }
    int invalidateCount() const {
        QMutexLocker lock(&mutex);
        return invalidations;
    }
    bool hasHandlers() const {
        QMutexLocker lock(&mutex);
        return invalidationHandler || interruptionHandler;
    }

    const QString serviceName;

private:
    // Fails every unanswered call, then reports the end; only once.
    void end(const QString& errorText) {
        QList<FakeAgentCall> unanswered;
        QMutexLocker lock(&mutex);
        if (std::exchange(hasEnded, true))
            return;
        for (FakeAgentCall& call : recorded)
            if (!std::exchange(call.isAnswered, true))
                unanswered.append(call);
        const Handler handler = std::exchange(invalidationHandler, {});
        interruptionHandler = {};
        lock.unlock();
        for (const FakeAgentCall& call : unanswered)
            call.errorHandler(PlatformError{errorText});
        if (handler)
            handler();
    }

    FakeQueue& queue;
    const bool isAgentAbsent;
    mutable QMutex mutex;
    Handler invalidationHandler;
    Handler interruptionHandler;
    QList<FakeAgentCall> recorded;
    bool hasEnded = false;
    int invalidations = 0;
};

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
        record({.method = "handlePrompt",
                .arguments = {promptId, action, lifetime, policyPath},
                .decisionReply = std::move(reply)});
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

inline std::shared_ptr<ZorAgentProtocol>
FakeAgentConnection::remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) {
    return std::make_shared<FakeProxy>(shared_from_this(), std::move(errorHandler));
}

class FakeAgentConnector final : public AgentConnector {
public:
    explicit FakeAgentConnector(FakeQueue& queue)
        : queue(queue) {}

    std::shared_ptr<AgentConnection> connectToService(const QString& serviceName,
                                                      ZorAppCallbackProtocol&) override {
        connections.append(
            std::make_shared<FakeAgentConnection>(serviceName, queue, isAgentAbsent));
        return connections.last();
    }

    // New connections fail to reach the agent once resumed.
    bool isAgentAbsent = false;
    QList<std::shared_ptr<FakeAgentConnection>> connections;

private:
    FakeQueue& queue;
};

} // namespace zor::testing
