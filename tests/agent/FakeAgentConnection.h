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

// Hands each call to `record`.
class FakeProxy final : public ZorAgentProtocol {
public:
    explicit FakeProxy(std::function<void(FakeAgentCall)> record)
        : record(std::move(record)) {}

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
    const std::function<void(FakeAgentCall)> record;
};

// A connection whose agent the test plays. Handlers and replies run on the
// queue, like those of a real connection. Its state needs no lock: the queue
// runs while the test waits for it to drain, and a call from a worker of the
// test's is made before the test answers it.
class FakeAgentConnection final : public AgentConnection,
                                  public std::enable_shared_from_this<FakeAgentConnection> {
public:
    FakeAgentConnection(QString serviceName, FakeQueue& queue, bool isAgentAbsent)
        : serviceName(std::move(serviceName))
        , queue(queue)
        , isAgentAbsent(isAgentAbsent) {}
    ~FakeAgentConnection() override {
        if (onDestroyed)
            onDestroyed();
    }

    void setInvalidationHandler(Handler handler) override {
        invalidationHandler = std::move(handler);
    }
    void setInterruptionHandler(Handler handler) override {
        interruptionHandler = std::move(handler);
    }
    void resume() override {
        if (isAgentAbsent)
            queue.post([self = shared_from_this()] {
                self->end(QStringLiteral("Couldn't communicate with a helper application."));
            });
    }
    void invalidate() override {
        ++invalidations;
        queue.post([self = shared_from_this()] {
            self->end(QStringLiteral("The connection was invalidated."));
        });
    }
    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override {
        return std::make_shared<FakeProxy>([self = shared_from_this(), errorHandler](auto call) {
            call.errorHandler = errorHandler;
            self->recorded.append(std::move(call));
        });
    }

    // The agent's part, on the queue: answers the oldest unanswered call of `method`.
    void answer(const QString& method, std::function<void(const FakeAgentCall&)> fn) {
        queue.post([self = shared_from_this(), method, fn] {
            for (FakeAgentCall& call : self->recorded)
                if (call.method == method && !std::exchange(call.isAnswered, true))
                    return fn(FakeAgentCall(call));
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
            if (const Handler handler = self->interruptionHandler)
                handler();
        });
    }

    QList<FakeAgentCall> calls() const { return recorded; }
    int invalidateCount() const { return invalidations; }
    // Runs in the destructor, on whichever thread let go of it last.
    std::function<void()> onDestroyed;
    bool hasHandlers() const { return invalidationHandler || interruptionHandler; }

    const QString serviceName;

private:
    // Fails every unanswered call, then reports the end; only once.
    void end(const QString& errorText) {
        if (std::exchange(hasEnded, true))
            return;
        QList<FakeAgentCall> unanswered;
        for (FakeAgentCall& call : recorded)
            if (!std::exchange(call.isAnswered, true))
                unanswered.append(call);
        const Handler handler = std::exchange(invalidationHandler, {});
        interruptionHandler = {};
        for (const FakeAgentCall& call : unanswered)
            call.errorHandler(PlatformError{errorText});
        if (handler)
            handler();
    }

    FakeQueue& queue;
    const bool isAgentAbsent;
    Handler invalidationHandler;
    Handler interruptionHandler;
    QList<FakeAgentCall> recorded;
    bool hasEnded = false;
    int invalidations = 0;
};

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
