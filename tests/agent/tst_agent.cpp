#include "ChildRun.h"
#include "DecisionCompletions.h"
#include "FakeAgentConnection.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "app/AppState.h"
#include "shared/SerializablePromptItem.h"

#include <QDeadlineTimer>
#include <QTest>
#include <QThread>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

SerializablePromptItem record(const QString& id, const QString& session,
                              Denial denial = FileDenial{"/etc/hosts", "write", "vim"},
                              bool isSessionEnded = false) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = session;
    item.policyPath = QStringLiteral("/%1/.zor/policy.yml").arg(session);
    item.denial = std::move(denial);
    item.isSessionEnded = isSessionEnded;
    return item;
}

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");

// getBuildNumber on a worker of its own, as the setup screen calls it.
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

    std::optional<QString> result;
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

    // Lets the queue and then the main thread run what is due, without moving
    // time: enough for a callback, its hop and what that sets off.
    void settle() {
        for (int round = 0; round < 3; ++round) {
            queue->drain();
            QCoreApplication::sendPostedEvents();
        }
    }

    QStringList notificationLines() const { return log->messages(LogCategory::notifications); }
    QStringList redactedLines() const {
        QStringList lines;
        for (const LogRecord& line : log->records())
            lines.append(line.redactedMessage());
        return lines;
    }

    std::shared_ptr<FakeAgentConnection> connectToAgent() {
        handler->connect();
        auto connection = connector->connections.last();
        connection->replyToPrompts("[]");
        settle();
        log->clear();
        return connection;
    }

    // The agent's callbacks, made on the queue as a connection makes them.
    void push(const QString& channel, const QByteArray& data) {
        queue->post([target = handler.get(), channel, data] {
            if (channel == u"added")
                target->promptAddedWithPromptData(data);
            else if (channel == u"removed")
                target->promptRemovedWithPromptId(QString::fromUtf8(data));
            else
                target->promptsClearedWithSessionId(QString::fromUtf8(data));
        });
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

        // More rounds than the attempt limit: the counter restarts with each connection.
        for (int round = 1; round <= 11; ++round) {
            log->clear();
            clock->advance(1999ms);
            QVERIFY(notificationLines().isEmpty());
            clock->advance(1ms);
            settle();
            QCOMPARE(notificationLines(),
                     QStringList{"Reconnecting to ZorAgent (attempt 2/10)"} + firstRound);
        }
        for (const LogRecord& record : log->records())
            if (record.message().startsWith("Reconnecting"))
                QCOMPARE(record.level, LogLevel::info);
        QCOMPARE(connector->connections.size(), 12);
        QCOMPARE(clock->pendingTimerCount(), 1);
    }

    void directReconnectsBackOffToTheCapAndThenGiveUp() {
        for (int call = 0; call < 10; ++call)
            handler->scheduleReconnect();
        // The tenth attempt is the last: neither connect nor an eleventh goes ahead.
        handler->connect();
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
                     "Giving up on ZorAgent connection after 10 attempts",
                 }));
        QCOMPARE(log->records().last().level, LogLevel::error);
        QVERIFY(connector->connections.isEmpty());
        QCOMPARE(clock->pendingTimerCount(), 10);
        QCOMPARE(clock->nextTimerIn(), std::optional<Millis>(2s));
    }

    void connectingAgainLetsTheLiveConnectionGoQuietly() {
        const auto first = connectToAgent();
        handler->connect();
        QVERIFY(!first->hasHandlers());
        QCOMPARE(first->invalidateCount(), 1);
        first->interrupt();
        settle();
        QCOMPARE(notificationLines(), QStringList{"Connected to ZorAgent"});
        QCOMPARE(clock->pendingTimerCount(), 0);
    }

    // Neither the connection nor a timer calls a handler that is gone: the
    // destructor ends the link, the pending reconnect dies with the handler,
    // and an invalidation already on its way to the main thread finds nobody.
    void aHandlerThatIsGoneIsNeverCalled() {
        const auto connection = connectToAgent();
        handler->scheduleReconnect();
        connection->interrupt();
        queue->drain();
        QCOMPARE(clock->pendingTimerCount(), 1);

        handler.reset();
        QCOMPARE(connection->invalidateCount(), 2);
        QVERIFY(!connection->hasHandlers());
        settle();
        clock->advance(60s);
        QCOMPARE(connector->connections.size(), 1);
        QCOMPARE(clock->pendingTimerCount(), 0);
        QCOMPARE(log->messages().filter("Will reconnect").size(), 1);
    }

    void decisionsWithoutAConnectionAnswerAtOnce_data() {
        QTest::addColumn<bool>("wasConnected");
        QTest::newRow("never connected") << false;
        QTest::newRow("disconnected") << true;
    }

    void decisionsWithoutAConnectionAnswerAtOnce() {
        QFETCH(bool, wasConnected);
        if (wasConnected) {
            connectToAgent();
            handler->disconnect();
        }
        DecisionCompletions completions;
        handler->handlePrompt(QUuid::createUuid(), "allow", "once", "/p", completions.recorder());
        handler->dismissPrompt(QUuid::createUuid(), completions.recorder());
        QCOMPARE(completions.answers, (QStringList{"false Not connected to ZorAgent",
                                                   "false Not connected to ZorAgent"}));
        QCOMPARE(notificationLines(),
                 (QStringList{"No connection to ZorAgent", "No connection to ZorAgent"}));
        QCOMPARE(log->records().first().level, LogLevel::error);
    }

    void disconnectLeavesAPendingReconnectRunning() {
        const auto connection = connectToAgent();
        connection->interrupt();
        settle();
        handler->disconnect();
        QCOMPARE(clock->pendingTimerCount(), 1);
        log->clear();
        clock->advance(2s);
        QCOMPARE(notificationLines(),
                 (QStringList{"Reconnecting to ZorAgent (attempt 2/10)", "Connected to ZorAgent"}));
        QCOMPARE(connector->connections.size(), 2);
    }

    void aSyncAddsEveryRecordAndKeepsWhatIsHeld() {
        store().addPrompt("held", "/held/policy.yml", FileDenial{"/held", "read", {}});
        const QList<SerializablePromptItem> records = {
            record(kIdA, "s1"),
            record("not-a-uuid", "s2", NetworkDenial{"example.org", 443, {}}, true),
            record("not-a-uuid", "s2", ExecDenial{"/bin/rm", {"-rf"}, {}}),
            record(kIdB.toUpper(), "s3"),
        };
        handler->connect();
        QCOMPARE(connector->connections.last()->serviceName, "com.zorlabs.zor.agent.app");
        connector->connections.last()->replyToPrompts(SerializablePromptItem::listToJson(records));
        settle();
        QVERIFY(notificationLines().contains("Synced 4 prompts from ZorAgent"));

        // Each add goes first: the agent's last record leads.
        const PromptList& prompts = store().prompts();
        QCOMPARE(prompts.size(), 5);
        QCOMPARE(prompts.at(0).id, QUuid::fromString(kIdB));
        QVERIFY(!prompts.at(1).id.isNull());
        QVERIFY(prompts.at(1).id != prompts.at(2).id);
        QVERIFY(prompts.at(2).sessionEnded);
        QCOMPARE(prompts.at(2).denial, Denial(NetworkDenial{"example.org", 443, {}}));
        QCOMPARE(prompts.at(3).id, QUuid::fromString(kIdA));
        QCOMPARE(prompts.at(3).policyPath, QStringLiteral("/s1/.zor/policy.yml"));
        QVERIFY(!prompts.at(3).sessionEnded);
        QCOMPARE(prompts.at(4).sessionId, QStringLiteral("held"));
    }

    void aBadRecordInASyncCostsOnlyThatRecord() {
        handler->connect();
        const QByteArray reply = "[" + record(kIdA, "s1").toJson() + R"(,{"id":"x"},)" +
                                 record(kIdB, "s2").toJson() + "]";
        connector->connections.last()->replyToPrompts(reply);
        settle();
        QCOMPARE(
            notificationLines(),
            (QStringList{
                "Connected to ZorAgent",
                "Skipped prompt record 1 from ZorAgent: missing field \"sessionId\" at byte 229",
                "Synced 2 prompts from ZorAgent"}));
        QCOMPARE(redactedLines().at(1), "Skipped prompt record 1 from ZorAgent: <private>");
        QCOMPARE(store().prompts().size(), 2);
    }

    // A sync that takes several turns, one record each here: what comes
    // meanwhile applies after it, as if the sync had run in one go.
    void changesDuringASyncWaitForIt() {
        PromptStore& target = store();
        PromptFeed feed([&target] { return &target; }, std::chrono::nanoseconds(0));
        const QString kIdC = QStringLiteral("0b0c2f8e-39a5-4a43-9c1b-6a1e0d3f7c21");
        feed.sync({record(kIdA, "s1"), record(kIdB, "s2", NetworkDenial{"b.org", 1, {}}),
                   record(kIdC, "s1", NetworkDenial{"c.org", 1, {}})});
        QCOMPARE(target.prompts().size(), 1);
        feed.apply([](PromptStore& s) { s.removePrompt(QUuid::fromString(kIdB)); });
        feed.apply([](PromptStore& s) { s.markSessionEnded("s1"); });
        QVERIFY(feed.isSyncing());
        QCOMPARE(target.prompts().size(), 1);
        QTRY_VERIFY(!feed.isSyncing());

        QCOMPARE(log->messages(),
                 (QStringList{"Added prompt: file /etc/hosts session=s1",
                              "Added prompt: network b.org:1 session=s2",
                              "Added prompt: network c.org:1 session=s1",
                              "Synced 3 prompts from ZorAgent", "Removed prompt: network b.org:1",
                              "Marked 2 prompts as ended for session s1"}));
        QCOMPARE(target.prompts().size(), 2);
        QVERIFY(target.prompts().at(0).sessionEnded && target.prompts().at(1).sessionEnded);
        // Idle again: a change runs at once.
        feed.apply([](PromptStore& s) { s.removePrompt(QUuid::fromString(kIdA)); });
        QCOMPARE(target.prompts().size(), 1);
    }

    void badDataFromTheAgentIsDropped_data() {
        QTest::addColumn<QString>("channel");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QStringList>("lines");
        const QStringList syncLines = {"Connected to ZorAgent",
                                       "Failed to decode prompts from ZorAgent"};
        const QStringList addLines = {"Failed to decode prompt from ZorAgent callback"};
        QTest::newRow("sync, not JSON") << "sync" << QByteArray("{[") << syncLines;
        QTest::newRow("sync, a record not in a list")
            << "sync" << record(kIdA, "s").toJson() << syncLines;
        QTest::newRow("added, not JSON") << "added" << QByteArray("garbage") << addLines;
        QTest::newRow("added, a list")
            << "added" << SerializablePromptItem::listToJson({record(kIdB, "s")}) << addLines;
        // Only the bare standard form names a prompt; what a record without a
        // UUID was sent with never does.
        QTest::newRow("removed, not a uuid")
            << "removed" << QByteArray("not-a-uuid") << QStringList();
        QTest::newRow("removed, braces")
            << "removed" << ("{" + kIdA.toUtf8() + "}") << QStringList();
        QTest::newRow("removed, no dashes")
            << "removed" << QString(kIdA).remove(u'-').toUtf8() << QStringList();
        QTest::newRow("removed, empty") << "removed" << QByteArray() << QStringList();
    }

    void badDataFromTheAgentIsDropped() {
        QFETCH(QString, channel);
        QFETCH(QByteArray, data);
        QFETCH(QStringList, lines);
        connectToAgent();
        push("added", record(kIdA, "s1").toJson());
        push("added", record("not-a-uuid", "s2").toJson());
        settle();
        log->clear();
        if (channel == u"sync") {
            handler->connect();
            connector->connections.last()->replyToPrompts(data);
        } else {
            push(channel, data);
        }
        settle();
        QCOMPARE(notificationLines(), lines);
        QCOMPARE(store().prompts().size(), 2);
        QVERIFY(log->messages(LogCategory::promptStore).isEmpty());
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
        connectToAgent();
        push("added", record(kIdA, "s1").toJson());
        settle();
        log->clear();

        // The callback runs on the queue; its target goes before the main thread gets to it.
        if (channel == u"sync") {
            handler->connect();
            connector->connections.last()->replyToPrompts(
                SerializablePromptItem::listToJson({record(kIdB, "s2")}));
        } else {
            push(channel, channel == u"added"     ? record(kIdB, "s2").toJson()
                          : channel == u"removed" ? kIdA.toUtf8()
                                                  : QByteArray("s1"));
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

    void decisionsAreSentAndAnsweredOnTheMainThread_data() {
        QTest::addColumn<bool>("isDismissal");
        QTest::addColumn<QString>("agentAnswer");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("dismissal refused")
            << true << "refuse" << QStringList{"false unknown prompt"} << QStringList();
        // A proxy error calls no completion; its line shows its text to everyone.
        const QStringList errorLines = {"ZorAgent proxy error: agent went away"};
        QTest::newRow("decision, proxy error") << false << "fail" << QStringList() << errorLines;
        QTest::newRow("dismissal, proxy error") << true << "fail" << QStringList() << errorLines;
    }

    void decisionsAreSentAndAnsweredOnTheMainThread() {
        QFETCH(bool, isDismissal);
        QFETCH(QString, agentAnswer);
        QFETCH(QStringList, answers);
        QFETCH(QStringList, lines);
        const auto connection = connectToAgent();
        DecisionCompletions completions;
        if (isDismissal)
            handler->dismissPrompt(QUuid::fromString(kIdA), completions.recorder());
        else
            handler->handlePrompt(QUuid::fromString(kIdA), "deny", "session", "/p/.zor/policy.yml",
                                  completions.recorder());

        const FakeAgentCall call = connection->calls().last();
        QCOMPARE(call.method, isDismissal ? "dismissPrompt" : "handlePrompt");
        const QString upperId = kIdA.toUpper();
        const QStringList arguments =
            isDismissal ? QStringList{upperId}
                        : QStringList{upperId, "deny", "session", "/p/.zor/policy.yml"};
        QCOMPARE(call.arguments, arguments);
        connection->answer(call.method, [agentAnswer](const FakeAgentCall& pending) {
            if (agentAnswer == u"fail")
                pending.errorHandler(PlatformError{"agent went away"});
            else if (agentAnswer == u"accept")
                pending.decisionReply(true, std::nullopt);
            else
                pending.decisionReply(false, "unknown prompt");
        });
        queue->drain();
        QVERIFY(completions.answers.isEmpty());
        settle();
        QCOMPARE(completions.answers, answers);
        QVERIFY(completions.isAlwaysOnMainThread);
        QCOMPARE(redactedLines(), lines);
    }

    void buildNumber_data() {
        QTest::addColumn<QString>("agent");
        QTest::addColumn<std::optional<QString>>("result");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("no connection")
            << "absent" << std::optional<QString>()
            << QStringList{"No connection to ZorAgent for build number check"};
        QTest::newRow("answer") << "answers" << std::optional<QString>("4242") << QStringList{};
        // A proxy error ends the wait at once; its line keeps the text private.
        QTest::newRow("proxy error")
            << "fails" << std::optional<QString>()
            << QStringList{"ZorAgent proxy error (getBuildNumber): <private>"};
    }

    void buildNumber() {
        QFETCH(QString, agent);
        QFETCH(std::optional<QString>, result);
        QFETCH(QStringList, lines);
        const auto connection = agent == u"absent" ? nullptr : connectToAgent();
        BuildNumberQuery query(*handler);
        if (connection) {
            QTRY_COMPARE(clock->waitingCount(), 1);
            if (agent == u"answers")
                connection->answer("getBuildNumber", [](const FakeAgentCall& call) {
                    call.buildNumberReply("4242");
                });
            else
                connection->failCall("getBuildNumber", "agent went away");
            queue->drain();
        }
        QVERIFY(query.finish());
        QCOMPARE(query.result, result);
        QCOMPARE(clock->now(), 0ms);
        QCOMPARE(redactedLines(), lines);
    }

    void buildNumberWaitEndsAfterFiveSecondsAndIgnoresALateReply() {
        const auto connection = connectToAgent();
        BuildNumberQuery query(*handler);
        QTRY_COMPARE(clock->waitingCount(), 1);
        clock->advance(4999ms);
        QTest::qWait(30);
        QVERIFY(!query.thread->isFinished());
        clock->advance(1ms);
        QVERIFY(query.finish());
        QCOMPARE(query.result, std::nullopt);
        connection->answer("getBuildNumber",
                           [](const FakeAgentCall& call) { call.buildNumberReply("4242"); });
        settle();
        QCOMPARE(notificationLines(), QStringList{"ZorAgent getBuildNumber timed out"});
    }

    // Checked in a child run of this test, as the refusal ends the process.
    void buildNumberIsRefusedOnTheMainThread() {
        if (isChildRun()) {
            handler->getBuildNumber();
            return;
        }
        const ChildRun child = runInChild();
        QVERIFY2(child.hasCrashed, child.output.constData());
        QVERIFY2(child.output.contains("getBuildNumber must not be called on the main thread"),
                 child.output.constData());
    }
};

QTEST_GUILESS_MAIN(AgentLinkTest)
#include "tst_agent.moc"
