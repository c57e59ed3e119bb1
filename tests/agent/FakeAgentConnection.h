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
    // Runs on the queue's thread everything posted, including what that posts,
    // and waits for it.
    void drain();

private:
    void runPosted();

    QThread* thread;
    QObject* context;
    QMutex mutex;
    QList<std::function<void()>> posted;
};

// One call made through a proxy, with the means to answer it.
struct FakeAgentCall {
    QString method; // "getPrompts", "getBuildNumber", "handlePrompt", "dismissPrompt"
    QStringList arguments;
    std::function<void(const QByteArray&)> promptsReply;
    std::function<void(const QString&)> buildNumberReply;
    DecisionReply decisionReply;
    AgentConnection::ErrorHandler errorHandler;
    bool isAnswered = false;
};

// A connection whose agent the test plays. Handlers, replies and callbacks run
// on the queue, like those of a real connection; nothing happens until the
// test drains the queue.
class FakeAgentConnection final : public AgentConnection,
                                  public std::enable_shared_from_this<FakeAgentConnection> {
public:
    FakeAgentConnection(QString serviceName, ZorAppCallbackProtocol& exportedObject,
                        FakeQueue& queue, bool isAgentAbsent);

    void setInvalidationHandler(Handler handler) override;
    void setInterruptionHandler(Handler handler) override;
    void resume() override;
    void invalidate() override;
    std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) override;

    // The agent's part; each runs on the queue. Answers go to the oldest
    // unanswered call of the method.
    void replyToPrompts(const QByteArray& data);
    void replyToBuildNumber(const QString& buildNumber);
    void replyToDecision(const QString& method, bool success, std::optional<QString> error);
    void failCall(const QString& method, const QString& errorText);
    void pushPromptAdded(const QByteArray& data);
    void pushPromptRemoved(const QString& promptId);
    void pushPromptsCleared(const QString& sessionId);
    void interrupt();

    // Called by the proxy, on any thread.
    void record(FakeAgentCall call);

    const QString serviceName;
    QList<FakeAgentCall> calls() const;
    bool isResumed() const;
    bool isInvalidated() const;
    int invalidateCount() const;
    bool hasInvalidationHandler() const;
    bool hasInterruptionHandler() const;

private:
    // On the queue: the oldest unanswered call of `method`, marked answered.
    std::optional<FakeAgentCall> takeCall(const QString& method);
    void endForGood(const QString& errorText);

    ZorAppCallbackProtocol& exportedObject;
    FakeQueue& queue;
    const bool isAgentAbsent;

    mutable QMutex mutex;
    Handler invalidationHandler;
    Handler interruptionHandler;
    QList<FakeAgentCall> recorded;
    bool resumed = false;
    bool invalidated = false;
    int invalidations = 0;
};

class FakeAgentConnector final : public AgentConnector {
public:
    explicit FakeAgentConnector(FakeQueue& queue)
        : queue(queue) {}

    std::shared_ptr<AgentConnection> connectToService(const QString& serviceName,
                                                      ZorAppCallbackProtocol& exported) override;

    // New connections fail to reach the agent once resumed.
    bool isAgentAbsent = false;
    QList<std::shared_ptr<FakeAgentConnection>> connections;

    std::shared_ptr<FakeAgentConnection> last() const {
        return connections.isEmpty() ? nullptr : connections.last();
    }

private:
    FakeQueue& queue;
};

} // namespace zor::testing
