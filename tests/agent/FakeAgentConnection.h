#pragma once

#include "platform/AgentConnection.h"

#include <QList>
#include <QMutex>
#include <QStringList>
#include <memory>

class QObject;
class QThread;

namespace zor::testing {

// A thread standing for a connection's private queue. Work posted to it waits
// until the test drains the queue, so that the order of events is the test's.
class FakeQueue {
public:
    FakeQueue();
    ~FakeQueue();

    void post(std::function<void()> fn);
    // Runs on the queue's thread everything posted, including what that posts.
    void drain();

private:
    QThread* thread;
    QObject* context;
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

    void setInvalidationHandler(Handler handler) override;
    void setInterruptionHandler(Handler handler) override;
    void resume() override;
    void invalidate() override;
    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override;

    // The agent's part, on the queue: answers the oldest unanswered call of `method`.
    void answer(const QString& method, std::function<void(const FakeAgentCall&)> fn);
    void replyToPrompts(const QByteArray& data) {
        answer("getPrompts", [data](const FakeAgentCall& call) { call.promptsReply(data); });
    }
    void failCall(const QString& method, const QString& text) {
        answer(method,
               [text](const FakeAgentCall& call) { call.errorHandler(PlatformError{text}); });
    }
    void interrupt();

    void record(FakeAgentCall call);

    const QString serviceName;
    QList<FakeAgentCall> calls() const;
    int invalidateCount() const;
    bool hasHandlers() const;

private:
    void end(const QString& errorText);

    FakeQueue& queue;
    const bool isAgentAbsent;
    mutable QMutex mutex;
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
