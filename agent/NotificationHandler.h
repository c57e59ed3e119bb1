#pragma once

#include "agent/AgentInbox.h"
#include "agent/PromptFeed.h"
#include "platform/AgentConnection.h"
#include "platform/Clock.h"
#include "prompts/AgentRequests.h"
#include "prompts/AppState.h"
#include "shared/ZorAppCallbackProtocol.h"

#include <QObject>
#include <QPointer>
#include <QUuid>
#include <memory>
#include <optional>

namespace zor {

// Keeps the app's one connection to ZorAgent alive: connects, reconnects with
// back-off, fetches every pending prompt after each connection, turns the
// agent's callbacks into prompt store operations, and forwards decisions,
// dismissals and the build-number question. Its state lives on the main
// thread; the connection's handlers and callbacks only log and parse on the
// connection's thread, then hop to the main thread holding it weakly.
class NotificationHandler final : public QObject,
                                  public ZorAppCallbackProtocol,
                                  public AgentRequests {
    Q_OBJECT

public:
    static constexpr qint64 kMaxReconnectAttempts = 10;
    static constexpr double kReconnectBaseDelaySeconds = 2.0;
    static constexpr double kMaxReconnectDelaySeconds = 60.0;
    static constexpr Millis kBuildNumberTimeout{5000};
    // A link held for the first sync waits this long at most: a connection
    // may stay up while no answer comes.
    static constexpr Millis kSyncWaitLimit{10000};

    // Main thread only.
    NotificationHandler(AgentConnector& connector, Clock& clock, QObject* parent = nullptr);
    ~NotificationHandler() override;

    // The process's instance, created on first use on the main thread with the
    // system's connector and clock.
    static NotificationHandler& shared();

    qint64 reconnectAttempt() const { return attempt; }

    // Held weakly: the handler never keeps the app state alive.
    void setAppState(AppState* appState);
    AppState* appState() const { return state; }

    void connect();
    // Ends the connection without a reconnect, and logs that it did. A
    // reconnect already scheduled still runs.
    void disconnect();
    // A reconnect already scheduled, or asked for by a connection's end on
    // its way to the main thread, does not run: the process ends.
    void stopReconnecting();
    void scheduleReconnect();

    // The completion runs on the main thread; at once on the calling thread
    // when there is no connection. On a proxy error it never runs: `noAnswer`
    // runs instead, on the main thread.
    void handlePrompt(const QUuid& id, const QString& action, const QString& lifetime,
                      const QString& policyPath, DecisionCompletion completion,
                      NoAnswer noAnswer) override;
    void dismissPrompt(const QUuid& id, DecisionCompletion completion, NoAnswer noAnswer) override;

    // Blocks for up to five seconds: never call it on the main thread.
    std::optional<QString> getBuildNumber();

    // Called by the agent on the connection's thread.
    void promptAddedWithPromptData(const QByteArray& promptData) override;
    void promptRemovedWithPromptId(const QString& promptId) override;
    void promptsClearedWithSessionId(const QString& sessionId) override;

signals:
    // A sync has put its records in the store, and the views have them.
    void promptsSynced(qsizetype count);

private:
    // The proxy's error handler logs the error, then queues `onError` for the
    // main thread.
    std::shared_ptr<ZorAgentProtocol> remoteProxy(std::function<void()> onError = {});
    void syncPrompts();
    // Until the first sync has ended, well or not, navigation waits for it;
    // kSyncWaitLimit at most from each connection.
    void endSyncWait();
    // On the main thread: what the connection handed over, in its order;
    // changes that came together go to the store together.
    void takeFromAgent(std::vector<AgentInbox::Item> items);

    AgentConnector& connector;
    Clock& clock;
    const QString serviceName;
    std::shared_ptr<AgentConnection> connection;
    QPointer<AppState> state;
    qint64 attempt = 0;
    bool hasSynced = false;
    Clock::TimerId syncWaitLimit = 0;
    Clock::TimerId reconnectTimer = 0;
    bool isReconnectStopped = false;
    PromptFeed feed;
    // Held by the connection's calls as well: a reply may come after this
    // handler has gone.
    const std::shared_ptr<AgentInbox> inbox;
};

} // namespace zor
