#include "DecisionCompletions.h"
#include "FakeAgentConnection.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "app/AppDelegate.h"
#include "app/AppState.h"
#include "platform/MainThread.h"
#include "shared/SerializablePromptItem.h"

#include <QDeadlineTimer>
#include <QTest>
#include <QThread>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

SerializablePromptItem record(const QString& id, const QString& session, const QString& path,
                              Denial denial = FileDenial{"/etc/hosts", "write", "vim"},
                              bool isSessionEnded = false) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = session;
    item.policyPath = path;
    item.denial = std::move(denial);
    item.isSessionEnded = isSessionEnded;
    return item;
}

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");

// getBuildNumber runs on a worker of its own, as the setup screen calls it.
class BuildNumberQuery {
public:
    explicit BuildNumberQuery(NotificationHandler& handler)
        : thread(QThread::create([this, &handler] { result = handler.getBuildNumber(); })) {
        thread->start();
    }
    ~BuildNumberQuery() {
        thread->wait();
        delete thread;
    }
    // Serves the worker's hop to the main thread while waiting for it.
    bool finish() {
        const QDeadlineTimer deadline(5000);
        while (!thread->isFinished() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return thread->wait(deadline);
    }
    bool isFinished() const { return thread->isFinished(); }

    std::optional<QString> result;

private:
    QThread* thread;
};

} // namespace

class AgentLinkTest : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCapture> log;
    std::unique_ptr<VirtualClock> clock;
    std::unique_ptr<FakeQueue> queue;
    std::unique_ptr<FakeAgentConnector> connector;
    std::unique_ptr<AppState> appState;
    std::unique_ptr<NotificationHandler> handler;

    // Lets the queue and then the main thread run what is due, twice over,
    // without moving time: enough for a callback, its hop and what that sets off.
    void settle() {
        for (int round = 0; round < 3; ++round) {
            queue->drain();
            QCoreApplication::sendPostedEvents();
        }
    }

    QStringList notificationLines() const { return log->messages(LogCategory::notifications); }

    std::shared_ptr<FakeAgentConnection> connectToAgent() {
        handler->connect();
        auto connection = connector->last();
        connection->replyToPrompts("[]");
        settle();
        log->clear();
        return connection;
    }

    PromptStore& store() { return *appState->promptStore(); }

private slots:
    void init() {
        log = std::make_unique<LogCapture>();
        clock = std::make_unique<VirtualClock>();
        queue = std::make_unique<FakeQueue>();
        connector = std::make_unique<FakeAgentConnector>(*queue);
        appState = std::make_unique<AppState>();
        handler = std::make_unique<NotificationHandler>(*connector, *clock);
        handler->setAppState(appState.get());
    }

    void cleanup() {
        handler.reset();
        settle();
        appState.reset();
        connector.reset();
        queue.reset();
        clock.reset();
        log.reset();
    }

    void connectsToTheAgentsServiceAndSyncs() {
        handler->connect();
        const auto connection = connector->last();
        QCOMPARE(connection->serviceName, QStringLiteral("com.zorlabs.zor.agent.app"));
        QVERIFY(connection->isResumed());
        QVERIFY(connection->hasInvalidationHandler());
        QVERIFY(connection->hasInterruptionHandler());
        QCOMPARE(connection->calls().size(), 1);
        QCOMPARE(connection->calls().first().method, QStringLiteral("getPrompts"));
        QCOMPARE(notificationLines(), QStringList{"Connected to ZorAgent"});
    }

    void anAbsentAgentIsRetriedEveryTwoSecondsForever() {
        connector->isAgentAbsent = true;
        handler->connect();
        settle();
        const QStringList firstRound = {
            "Connected to ZorAgent",
            "ZorAgent proxy error: Couldn't communicate with a helper application.",
            "ZorAgent connection invalidated",
            "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)",
        };
        QCOMPARE(notificationLines(), firstRound);
        QCOMPARE(log->records().at(2).level, LogLevel::error);
        QCOMPARE(log->records().at(3).level, LogLevel::info);

        // Far more rounds than the attempt limit: the counter restarts with each connection.
        for (int round = 1; round <= 12; ++round) {
            log->clear();
            clock->advance(1999ms);
            QVERIFY(notificationLines().isEmpty());
            clock->advance(1ms);
            settle();
            QCOMPARE(notificationLines(),
                     QStringList{"Reconnecting to ZorAgent (attempt 2/10)"} + firstRound);
            QCOMPARE(handler->reconnectAttempt(), 1);
        }
        QCOMPARE(connector->connections.size(), 13);
        QCOMPARE(clock->pendingTimerCount(), 1);
    }

    void directReconnectsBackOffToTheCapAndThenGiveUp() {
        for (int call = 0; call < 11; ++call)
            handler->scheduleReconnect();
        QCOMPARE(notificationLines(),
                 (QStringList{
                     "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)",
                     "Will reconnect to ZorAgent in 4.000000s (attempt 2/10)",
                     "Will reconnect to ZorAgent in 8.000000s (attempt 3/10)",
                     "Will reconnect to ZorAgent in 16.000000s (attempt 4/10)",
                     "Will reconnect to ZorAgent in 32.000000s (attempt 5/10)",
                     "Will reconnect to ZorAgent in 60.000000s (attempt 6/10)",
                     "Will reconnect to ZorAgent in 60.000000s (attempt 7/10)",
                     "Will reconnect to ZorAgent in 60.000000s (attempt 8/10)",
                     "Will reconnect to ZorAgent in 60.000000s (attempt 9/10)",
                     "Will reconnect to ZorAgent in 60.000000s (attempt 10/10)",
                     "Giving up on ZorAgent connection after 10 attempts",
                 }));
        QCOMPARE(log->records().last().level, LogLevel::error);
        QCOMPARE(clock->pendingTimerCount(), 10);
        QCOMPARE(clock->nextTimerIn(), std::optional<Millis>(2s));
    }

    void connectGivesUpAfterTenAttemptsWithoutAConnection() {
        for (int call = 0; call < 10; ++call)
            handler->scheduleReconnect();
        log->clear();
        handler->connect();
        QCOMPARE(notificationLines(),
                 QStringList{"Giving up on ZorAgent connection after 10 attempts"});
        QVERIFY(connector->connections.isEmpty());
    }

    void anInterruptionLeadsToExactlyOneReconnect() {
        const auto connection = connectToAgent();
        connection->interrupt();
        settle();
        QCOMPARE(notificationLines(),
                 (QStringList{"ZorAgent connection interrupted, invalidating for clean reconnect",
                              "ZorAgent connection invalidated",
                              "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)"}));
        QCOMPARE(connection->invalidateCount(), 1);
        QCOMPARE(clock->pendingTimerCount(), 1);

        clock->advance(2s);
        QCOMPARE(connector->connections.size(), 2);
        QCOMPARE(clock->pendingTimerCount(), 0);
        // The old connection is let go quietly when the new one is made.
        QCOMPARE(connection->invalidateCount(), 2);
        QVERIFY(!connection->hasInvalidationHandler());
    }

    void connectingAgainLetsTheLiveConnectionGoQuietly() {
        const auto first = connectToAgent();
        handler->connect();
        QVERIFY(!first->hasInvalidationHandler());
        QVERIFY(!first->hasInterruptionHandler());
        QCOMPARE(first->invalidateCount(), 1);
        first->interrupt();
        settle();
        QCOMPARE(notificationLines(), QStringList{"Connected to ZorAgent"});
        QCOMPARE(clock->pendingTimerCount(), 0);
        QCOMPARE(connector->connections.size(), 2);
    }

    void disconnectEndsTheConnectionWithoutAReconnect() {
        const auto connection = connectToAgent();
        handler->disconnect();
        settle();
        QVERIFY(connection->isInvalidated());
        QVERIFY(!connection->hasInvalidationHandler());
        QVERIFY(!connection->hasInterruptionHandler());
        QVERIFY(notificationLines().isEmpty());
        QCOMPARE(clock->pendingTimerCount(), 0);
        // Nothing to ask any more.
        DecisionCompletions completions;
        handler->dismissPrompt(QUuid::createUuid(), completions.recorder());
        QCOMPARE(completions.answers, QStringList{"false Not connected to ZorAgent"});
    }

    void disconnectLeavesAPendingReconnectRunning() {
        const auto connection = connectToAgent();
        connection->interrupt();
        settle();
        QCOMPARE(clock->pendingTimerCount(), 1);
        handler->disconnect();
        QCOMPARE(clock->pendingTimerCount(), 1);
        log->clear();
        clock->advance(2s);
        QCOMPARE(notificationLines(),
                 (QStringList{"Reconnecting to ZorAgent (attempt 2/10)", "Connected to ZorAgent"}));
        QCOMPARE(connector->connections.size(), 2);
    }

    void anEmptySyncChangesNothing() {
        store().addPrompt("held", "/held/policy.yml", FileDenial{"/held", "read", {}});
        handler->connect();
        connector->last()->replyToPrompts("[]");
        settle();
        QCOMPARE(notificationLines(),
                 (QStringList{"Connected to ZorAgent", "Synced 0 prompts from ZorAgent"}));
        QCOMPARE(store().prompts().size(), 1);
    }

    void aSyncAddsEveryRecordAndKeepsWhatIsHeld() {
        store().addPrompt("held", "/held/policy.yml", FileDenial{"/held", "read", {}});
        const QList<SerializablePromptItem> records = {
            record(kIdA, "s1", "/p/.zor/policy.yml"),
            record("not-a-uuid", "s2", "/q/policy.yml", NetworkDenial{"example.org", 443, {}},
                   true),
            record(kIdB.toUpper(), "s1", "/p/.zor/policy.yml", ExecDenial{"/bin/rm", {"-rf"}, {}}),
        };
        handler->connect();
        connector->last()->replyToPrompts(SerializablePromptItem::listToJson(records));
        settle();
        QVERIFY(notificationLines().contains("Synced 3 prompts from ZorAgent"));

        // Each add goes first: the agent's last record leads.
        const PromptList& prompts = store().prompts();
        QCOMPARE(prompts.size(), 4);
        QCOMPARE(prompts.at(0).id, QUuid::fromString(kIdB));
        QCOMPARE(prompts.at(1).sessionId, QStringLiteral("s2"));
        QVERIFY(!prompts.at(1).id.isNull());
        QVERIFY(prompts.at(1).sessionEnded);
        QCOMPARE(prompts.at(1).denial, Denial(NetworkDenial{"example.org", 443, {}}));
        QCOMPARE(prompts.at(2).id, QUuid::fromString(kIdA));
        QCOMPARE(prompts.at(2).policyPath, QStringLiteral("/p/.zor/policy.yml"));
        QVERIFY(!prompts.at(2).sessionEnded);
        QCOMPARE(prompts.at(3).sessionId, QStringLiteral("held"));
    }

    void undecodableDataIsDropped_data() {
        QTest::addColumn<QString>("channel");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("line");
        const QString syncLine = QStringLiteral("Failed to decode prompts from ZorAgent");
        const QString addLine = QStringLiteral("Failed to decode prompt from ZorAgent callback");
        QTest::newRow("sync, not JSON") << "sync" << QByteArray("{[") << syncLine;
        QTest::newRow("sync, one record not in a list")
            << "sync" << record(kIdA, "s", "/p").toJson() << syncLine;
        QTest::newRow("sync, a record without its denial")
            << "sync" << QByteArray(R"([{"id":"x","sessionId":"s","policyPath":"/p"}])")
            << syncLine;
        QTest::newRow("added, not JSON") << "added" << QByteArray("garbage") << addLine;
        QTest::newRow("added, a list")
            << "added" << SerializablePromptItem::listToJson({record(kIdA, "s", "/p")}) << addLine;
        QTest::newRow("added, an unknown denial kind")
            << "added"
            << QByteArray(
                   R"({"id":"x","sessionId":"s","policyPath":"/p","denial":{"kind":"telepathy"},)"
                   R"("sessionEnded":false,"createdAt":0})")
            << addLine;
    }

    void undecodableDataIsDropped() {
        QFETCH(QString, channel);
        QFETCH(QByteArray, data);
        QFETCH(QString, line);
        const auto connection = connectToAgent();
        handler->connect();
        const auto current = connector->last();
        if (channel == u"sync")
            current->replyToPrompts(data);
        else
            current->pushPromptAdded(data);
        settle();
        QVERIFY2(notificationLines().contains(line), qPrintable(notificationLines().join('\n')));
        QCOMPARE(store().prompts().size(), 0);
        QVERIFY(log->messages(LogCategory::promptStore).isEmpty());
    }

    void callbacksChangeTheStore() {
        const auto connection = connectToAgent();
        connection->pushPromptAdded(record(kIdA, "s1", "/p/policy.yml").toJson());
        connection->pushPromptAdded(
            record(kIdB, "s2", "/p/policy.yml", NetworkDenial{"h", 1, {}}).toJson());
        settle();
        QCOMPARE(store().prompts().size(), 2);
        QCOMPARE(store().prompts().at(0).id, QUuid::fromString(kIdB));

        connection->pushPromptsCleared("s1");
        settle();
        QVERIFY(store().prompts().at(1).sessionEnded);
        QVERIFY(!store().prompts().at(0).sessionEnded);

        // Removals name the prompt in either case.
        connection->pushPromptRemoved(kIdB.toUpper());
        settle();
        QCOMPARE(store().prompts().size(), 1);
        QCOMPARE(store().prompts().at(0).id, QUuid::fromString(kIdA));
        QVERIFY(notificationLines().isEmpty());
    }

    void removalsThatNameNoUuidAreDroppedSilently_data() {
        QTest::addColumn<QString>("promptId");
        QTest::newRow("not a uuid") << "not-a-uuid";
        QTest::newRow("braces") << QStringLiteral("{%1}").arg(kIdA);
        QTest::newRow("no dashes") << QString(kIdA).remove(u'-');
        QTest::newRow("empty") << QString();
        QTest::newRow("one character short") << kIdA.left(35);
    }

    void removalsThatNameNoUuidAreDroppedSilently() {
        QFETCH(QString, promptId);
        const auto connection = connectToAgent();
        connection->pushPromptAdded(record(kIdA, "s1", "/p/policy.yml").toJson());
        settle();
        log->clear();
        connection->pushPromptRemoved(promptId);
        settle();
        QCOMPARE(store().prompts().size(), 1);
        QVERIFY(log->messages().isEmpty());
    }

    void anAddedRecordWithoutAUuidGetsARandomId() {
        const auto connection = connectToAgent();
        connection->pushPromptAdded(record("not-a-uuid", "s1", "/p/policy.yml").toJson());
        connection->pushPromptAdded(
            record("not-a-uuid", "s1", "/p/policy.yml", NetworkDenial{"h", 1, {}}).toJson());
        settle();
        QCOMPARE(store().prompts().size(), 2);
        QVERIFY(!store().prompts().at(0).id.isNull());
        QVERIFY(store().prompts().at(0).id != store().prompts().at(1).id);
        // The agent's own text can never remove it.
        connection->pushPromptRemoved("not-a-uuid");
        settle();
        QCOMPARE(store().prompts().size(), 2);
    }

    void callbacksAreDroppedOnceTheirTargetIsGone_data() {
        QTest::addColumn<bool>("isHandlerGone");
        QTest::addColumn<QString>("channel");
        for (const bool isHandlerGone : {true, false})
            for (const QString channel : {"sync", "added", "removed", "cleared"})
                QTest::addRow("%s gone, %s", isHandlerGone ? "handler" : "app state",
                              qPrintable(channel))
                    << isHandlerGone << channel;
    }

    void callbacksAreDroppedOnceTheirTargetIsGone() {
        QFETCH(bool, isHandlerGone);
        QFETCH(QString, channel);
        const auto connection = connectToAgent();
        connection->pushPromptAdded(record(kIdA, "s1", "/p/policy.yml").toJson());
        settle();
        log->clear();

        // The callback reaches the queue; the handler or the app state goes
        // before the main thread gets to it.
        if (channel == u"sync") {
            handler->connect();
            connector->last()->replyToPrompts(
                SerializablePromptItem::listToJson({record(kIdB, "s2", "/q/policy.yml")}));
        } else if (channel == u"added") {
            connection->pushPromptAdded(record(kIdB, "s2", "/q/policy.yml").toJson());
        } else if (channel == u"removed") {
            connection->pushPromptRemoved(kIdA);
        } else {
            connection->pushPromptsCleared("s1");
        }
        queue->drain();
        const QPointer<PromptStore> heldStore = appState->promptStore();
        if (isHandlerGone)
            handler.reset();
        else
            appState.reset();
        settle();

        QVERIFY(log->messages(LogCategory::promptStore).isEmpty());
        QVERIFY(!log->contains("Synced 1 prompts from ZorAgent"));
        if (heldStore) {
            QCOMPARE(heldStore->prompts().size(), 1);
            QVERIFY(!heldStore->prompts().at(0).sessionEnded);
        }
    }

    void decisionsWithoutAConnectionAnswerAtOnce() {
        DecisionCompletions completions;
        const QUuid id = QUuid::createUuid();
        handler->handlePrompt(id, "allow", "once", "/p/policy.yml", completions.recorder());
        handler->dismissPrompt(id, completions.recorder());
        QCOMPARE(completions.answers, (QStringList{"false Not connected to ZorAgent",
                                                   "false Not connected to ZorAgent"}));
        QCOMPARE(notificationLines(),
                 (QStringList{"No connection to ZorAgent", "No connection to ZorAgent"}));
        QCOMPARE(log->records().first().level, LogLevel::error);
    }

    void decisionsAreSentAndAnsweredOnTheMainThread_data() {
        QTest::addColumn<bool>("isDismissal");
        QTest::addColumn<bool>("success");
        QTest::addColumn<std::optional<QString>>("error");
        QTest::addColumn<QString>("answer");
        QTest::newRow("decision accepted")
            << false << true << std::optional<QString>() << "true (none)";
        QTest::newRow("decision refused")
            << false << false << std::optional<QString>("policy file is read-only")
            << "false policy file is read-only";
        QTest::newRow("refused without a reason")
            << false << false << std::optional<QString>() << "false (none)";
        QTest::newRow("dismissal accepted")
            << true << true << std::optional<QString>() << "true (none)";
        QTest::newRow("dismissal refused")
            << true << false << std::optional<QString>("unknown prompt") << "false unknown prompt";
    }

    void decisionsAreSentAndAnsweredOnTheMainThread() {
        QFETCH(bool, isDismissal);
        QFETCH(bool, success);
        QFETCH(std::optional<QString>, error);
        QFETCH(QString, answer);
        const auto connection = connectToAgent();
        const QUuid id = QUuid::fromString(kIdA);
        DecisionCompletions completions;
        if (isDismissal)
            handler->dismissPrompt(id, completions.recorder());
        else
            handler->handlePrompt(id, "deny", "session", "/p/.zor/policy.yml",
                                  completions.recorder());

        const FakeAgentCall call = connection->calls().last();
        const QString upperId = kIdA.toUpper();
        QCOMPARE(call.method, isDismissal ? "dismissPrompt" : "handlePrompt");
        const QStringList arguments =
            isDismissal ? QStringList{upperId}
                        : QStringList{upperId, "deny", "session", "/p/.zor/policy.yml"};
        QCOMPARE(call.arguments, arguments);
        connection->replyToDecision(call.method, success, error);
        queue->drain();
        QVERIFY(completions.answers.isEmpty());
        settle();
        QCOMPARE(completions.answers, QStringList{answer});
        QVERIFY(completions.isAlwaysOnMainThread);
    }

    void aProxyErrorCallsNoCompletion() {
        const auto connection = connectToAgent();
        DecisionCompletions completions;
        handler->handlePrompt(QUuid::createUuid(), "allow", "always", "/p", completions.recorder());
        handler->dismissPrompt(QUuid::createUuid(), completions.recorder());
        connection->failCall("handlePrompt", "agent went away");
        connection->failCall("dismissPrompt", "agent went away");
        settle();
        QVERIFY(completions.answers.isEmpty());
        QCOMPARE(notificationLines(), (QStringList{"ZorAgent proxy error: agent went away",
                                                   "ZorAgent proxy error: agent went away"}));
        // The general proxy error line shows its text to everyone.
        QCOMPARE(log->records().first().redactedMessage(),
                 QStringLiteral("ZorAgent proxy error: agent went away"));
    }

    void buildNumberWithoutAConnectionIsNone() {
        BuildNumberQuery query(*handler);
        QVERIFY(query.finish());
        QCOMPARE(query.result, std::nullopt);
        QCOMPARE(notificationLines(),
                 QStringList{"No connection to ZorAgent for build number check"});
    }

    void buildNumberIsTheAgentsAnswer() {
        const auto connection = connectToAgent();
        BuildNumberQuery query(*handler);
        QTRY_COMPARE(connection->calls().size(), 2);
        connection->replyToBuildNumber("4242");
        queue->drain();
        QVERIFY(query.finish());
        QCOMPARE(query.result, QStringLiteral("4242"));
        QVERIFY(notificationLines().isEmpty());
    }

    void buildNumberWaitEndsAfterFiveSecondsAndIgnoresALateReply() {
        const auto connection = connectToAgent();
        BuildNumberQuery query(*handler);
        QTRY_COMPARE(clock->waitingCount(), 1);
        clock->advance(4999ms);
        QTest::qWait(30);
        QVERIFY(!query.isFinished());
        clock->advance(1ms);
        QVERIFY(query.finish());
        QCOMPARE(query.result, std::nullopt);
        QCOMPARE(notificationLines(), QStringList{"ZorAgent getBuildNumber timed out"});

        connection->replyToBuildNumber("4242");
        settle();
        QCOMPARE(notificationLines(), QStringList{"ZorAgent getBuildNumber timed out"});
    }

    void aProxyErrorEndsTheBuildNumberWaitEarly() {
        const auto connection = connectToAgent();
        BuildNumberQuery query(*handler);
        QTRY_COMPARE(clock->waitingCount(), 1);
        connection->failCall("getBuildNumber", "agent went away");
        queue->drain();
        QVERIFY(query.finish());
        QCOMPARE(query.result, std::nullopt);
        QCOMPARE(clock->now(), 0ms);
        QCOMPARE(notificationLines(),
                 QStringList{"ZorAgent proxy error (getBuildNumber): agent went away"});
        // This line keeps its text private.
        QCOMPARE(log->records().first().redactedMessage(),
                 QStringLiteral("ZorAgent proxy error (getBuildNumber): <private>"));
    }

    void launchConnectsTheAgentLinkAndTerminationEndsIt() {
        AppDelegate delegate(*handler);
        QVERIFY(connector->connections.isEmpty());
        delegate.applicationDidFinishLaunching();
        QCOMPARE(handler->appState(), delegate.appState());
        QCOMPARE(connector->connections.size(), 1);
        QCOMPARE(log->messages(), (QStringList{"Connected to ZorAgent",
                                               "Zor.app launched, connecting to ZorAgent"}));
        QCOMPARE(log->records().last().category, LogCategory::app);

        const auto connection = connector->last();
        connection->replyToPrompts(
            SerializablePromptItem::listToJson({record(kIdA, "s1", "/p/policy.yml")}));
        settle();
        QCOMPARE(delegate.appState()->promptStore()->prompts().size(), 1);

        delegate.applicationWillTerminate();
        settle();
        QVERIFY(connection->isInvalidated());
        QVERIFY(!log->contains("ZorAgent connection invalidated"));
        QCOMPARE(clock->pendingTimerCount(), 0);
    }
};

QTEST_GUILESS_MAIN(AgentLinkTest)
#include "tst_agent.moc"
