#include "FakeAgentConnection.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "platform/MainThread.h"
#include "prompts/AppState.h"
#include "shared/SerializablePromptItem.h"

#include <QSignalSpy>
#include <QTest>
#include <future>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

SerializablePromptItem record(const QString& id, const QString& session,
                              Denial denial = FileDenial{"/etc/hosts", "write", "vim"}) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = session;
    item.policyPath = QStringLiteral("/%1/.zor/policy.yml").arg(session);
    item.denial = std::move(denial);
    return item;
}

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");

// A decision's completion that records its answer, and where it came.
NotificationHandler::DecisionCompletion recorder(QStringList& answers) {
    return [&answers](bool success, std::optional<QString> error) {
        answers.append(QStringLiteral("%1 %2%3").arg(success ? "true" : "false",
                                                     error.value_or("(none)"),
                                                     isMainThread() ? "" : " off the main thread"));
    };
}

// The same for a request that got no answer.
NotificationHandler::NoAnswer noAnswerRecorder(QStringList& answers) {
    return [&answers] {
        answers.append(
            QStringLiteral("no answer%1").arg(isMainThread() ? "" : " off the main thread"));
    };
}

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
    // time: enough for a callback, its hop and what that sets off. A sync's
    // turns end on the wall clock, so a slow machine takes more of them; each
    // follows the last through the clock, after no delay.
    void settle() {
        for (int round = 0; round < 3; ++round) {
            queue->drain();
            clock->advance(0ms);
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

    // The next init replaces the rest; a log capture must end before the next begins.
    void cleanup() {
        handler.reset();
        settle();
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
        QStringList expected;
        for (const int seconds : {2, 4, 8, 16, 32, 60, 60, 60, 60, 60})
            expected.append(
                QStringLiteral("Will reconnect to ZorAgent in %1.000000s (attempt %2/10)")
                    .arg(seconds)
                    .arg(expected.size() + 1));
        expected += QStringList(2, "Giving up on ZorAgent connection after 10 attempts");
        QCOMPARE(notificationLines(), expected);
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

    // Decisions fail at once without a link; a planned reconnect still goes ahead.
    void disconnectEndsTheLinkButNotAPendingReconnect() {
        connectToAgent()->interrupt();
        settle();
        log->clear();
        // Only a link there is gets closed, and says so.
        handler->disconnect();
        handler->disconnect();
        QCOMPARE(notificationLines(), QStringList{"Disconnected from ZorAgent"});
        QCOMPARE(log->records().first().level, LogLevel::info);
        log->clear();
        QStringList answers;
        handler->handlePrompt(QUuid::createUuid(), "allow", "once", "/p", recorder(answers),
                              noAnswerRecorder(answers));
        handler->dismissPrompt(QUuid::createUuid(), recorder(answers), noAnswerRecorder(answers));
        QCOMPARE(answers, (QStringList{"false Not connected to ZorAgent",
                                       "false Not connected to ZorAgent"}));
        QCOMPARE(log->records().first().level, LogLevel::error);
        clock->advance(2s);
        QCOMPARE(notificationLines(),
                 (QStringList{"No connection to ZorAgent", "No connection to ZorAgent",
                              "Reconnecting to ZorAgent (attempt 2/10)", "Connected to ZorAgent"}));
        QCOMPARE(connector->connections.size(), 2);
    }

    // A sync adds what decodes after what the app holds; a bad record costs only itself.
    void aSyncKeepsWhatIsHeldAndSkipsABadRecord() {
        store().addPrompt("held", "/held/policy.yml", FileDenial{"/held", "read", {}});
        log->clear();
        SerializablePromptItem ended = record(kIdB, "s2");
        ended.isSessionEnded = true;
        handler->connect();
        QCOMPARE(connector->connections.last()->serviceName, "com.zorlabs.zor.agent.app");
        connector->connections.last()->replyToPrompts("[" + record(kIdA, "s1").toJson() +
                                                      R"(,{"id":"x"},)" + ended.toJson() + "]");
        settle();
        QCOMPARE(notificationLines(),
                 (QStringList{"Connected to ZorAgent",
                              "Skipped prompt record 1 from ZorAgent: missing field \"sessionId\"",
                              "Synced 2 prompts from ZorAgent"}));
        QCOMPARE(redactedLines().at(1), "Skipped prompt record 1 from ZorAgent: <private>");
        const PromptList& prompts = store().prompts();
        QCOMPARE(prompts.size(), 3);
        QVERIFY(prompts.at(0).sessionEnded && !prompts.at(1).sessionEnded);
        QCOMPARE(prompts.at(2).sessionId, QStringLiteral("held"));
    }

    // A reply of little but junk costs a line for each of its first bad
    // records and one for the rest, not a line for each.
    void aSyncOfJunkLeavesAFewLines() {
        handler->connect();
        connector->connections.last()->replyToPrompts("[" + record(kIdA, "s1").toJson() +
                                                      QByteArray(",0").repeated(5000) + "]");
        settle();
        const QStringList lines = notificationLines();
        QCOMPARE(lines.size(), 1 + 20 + 2);
        QCOMPARE(lines.at(1), "Skipped prompt record 1 from ZorAgent: The JSON element does not "
                              "have the requested type.");
        QCOMPARE(lines.at(20), "Skipped prompt record 20 from ZorAgent: The JSON element does not "
                               "have the requested type.");
        QCOMPARE(lines.mid(21), (QStringList{"Skipped 4980 more prompt records from ZorAgent",
                                             "Synced 1 prompts from ZorAgent"}));
        QCOMPARE(store().prompts().size(), 1);
    }

    // A sync that takes several turns, one record each here: what comes
    // meanwhile applies after it, as if the sync had run in one go. Each turn
    // follows the last through the clock, after no delay, and reaches the
    // views as one change.
    void changesDuringASyncWaitForIt() {
        PromptStore& target = store();
        QSignalSpy changes(&target, &PromptStore::promptsChanged);
        PromptFeed feed([&target] { return &target; }, *clock, std::chrono::nanoseconds(0));
        const QString kIdC = QStringLiteral("0b0c2f8e-39a5-4a43-9c1b-6a1e0d3f7c21");
        feed.sync(
            incomingPrompts({record(kIdA, "s1"), record(kIdB, "s2", NetworkDenial{"b.org", 1, {}}),
                             record(kIdC, "s1", NetworkDenial{"c.org", 1, {}})}));
        QCOMPARE(target.prompts().size(), 1);
        feed.apply([](PromptStore& s) { s.removePrompt(QUuid::fromString(kIdB)); });
        feed.apply([](PromptStore& s) { s.markSessionEnded("s1"); });
        QCOMPARE(clock->nextTimerIn(), std::optional<Millis>(0ms));
        clock->advance(0ms);
        QVERIFY(!feed.isSyncing());

        QCOMPARE(log->messages(),
                 (QStringList{"Added prompt: file /etc/hosts session=s1",
                              "Added prompt: network b.org:1 session=s2",
                              "Added prompt: network c.org:1 session=s1",
                              "Synced 3 prompts from ZorAgent", "Removed prompt: network b.org:1",
                              "Marked 2 prompts as ended for session s1"}));
        QCOMPARE(target.prompts().size(), 2);
        QVERIFY(target.prompts().at(0).sessionEnded && target.prompts().at(1).sessionEnded);
        // A turn for each record and each change, as the budget allows one.
        QCOMPARE(changes.size(), 5);
        // Idle again: a change runs at once.
        feed.apply([](PromptStore& s) { s.removePrompt(QUuid::fromString(kIdA)); });
        QCOMPARE(target.prompts().size(), 1);
    }

    // Changes that came together take turns as a sync's records do: as many
    // as the budget allows reach the views as one, the first turn at once and
    // the rest through the clock. What comes meanwhile waits its turn.
    void aBurstOfChangesTakesTurns_data() {
        QTest::addColumn<qint64>("budgetNanos");
        QTest::addColumn<int>("changeCount");
        // The burst in one turn, and the change after it at once.
        QTest::newRow("all in one turn") << qint64(60'000'000'000) << 2;
        QTest::newRow("one a turn") << qint64(0) << 4;
    }

    void aBurstOfChangesTakesTurns() {
        QFETCH(qint64, budgetNanos);
        QFETCH(int, changeCount);
        PromptStore& target = store();
        QSignalSpy changes(&target, &PromptStore::promptsChanged);
        PromptFeed feed([&target] { return &target; }, *clock,
                        std::chrono::nanoseconds(budgetNanos));
        std::vector<PromptFeed::Change> burst;
        for (const char* path : {"/a", "/b", "/c"})
            burst.push_back([path](PromptStore& s) {
                s.addPrompt("s1", "/p.yml", FileDenial{path, "read", {}});
            });
        feed.apply(std::move(burst));
        QVERIFY(!target.prompts().isEmpty());
        feed.apply([](PromptStore& s) { s.markSessionEnded("s1"); });
        while (clock->nextTimerIn() == std::optional<Millis>(0ms))
            clock->advance(0ms);
        QVERIFY(!feed.isSyncing());
        QCOMPARE(log->messages(), (QStringList{"Added prompt: file /a session=s1",
                                               "Added prompt: file /b session=s1",
                                               "Added prompt: file /c session=s1",
                                               "Marked 3 prompts as ended for session s1"}));
        QCOMPARE(changes.size(), changeCount);
    }

    // However many pushes come while the main thread is busy, one posted
    // call takes them all, in their order among the syncs' replies.
    void aBurstOfPushesReachesTheStoreInFewChanges() {
        connectToAgent();
        // A sync's reply comes among them: a removal pushed after it wins over its record.
        handler->connect();
        QSignalSpy changes(&store(), &PromptStore::promptsChanged);
        constexpr int kPushes = 500;
        QStringList ids;
        for (int index = 0; index < kPushes; ++index) {
            ids.append(QUuid::createUuid().toString(QUuid::WithoutBraces));
            push("added", record(ids.last(), QStringLiteral("s%1").arg(index)).toJson());
        }
        connector->connections.last()->replyToPrompts(
            SerializablePromptItem::listToJson({record(kIdA, "late")}));
        push("removed", kIdA.toUtf8());
        push("removed", ids.first().toUtf8());
        queue->drain();
        do
            clock->advance(0ms);
        while (clock->nextTimerIn() == std::optional<Millis>(0ms));

        QCOMPARE(store().prompts().size(), kPushes - 1);
        QCOMPARE(store().prompts().first().id, QUuid::fromString(ids.last()));
        QCOMPARE(store().prompts().at(kPushes - 2).id, QUuid::fromString(ids.at(1)));
        const QStringList lines = log->messages(LogCategory::promptStore);
        QCOMPARE(lines.size(), kPushes + 3);
        QCOMPARE(lines.at(kPushes), "Added prompt: file /etc/hosts session=late");
        QCOMPARE(lines.at(kPushes + 1), "Removed prompt: file /etc/hosts");
        QVERIFY(notificationLines().contains("Synced 1 prompts from ZorAgent"));
        // A turn of a few milliseconds takes many pushes, even in a slow build.
        QVERIFY2(changes.size() <= kPushes / 10, qPrintable(QString::number(changes.size())));
    }

    // The user's own removal, a dismissal or a decision's answer, while a
    // sync read before it is still being added: the sync's record does not
    // bring the prompt back, as it would not have had the sync been added in
    // one go. The next sync does, while the agent still holds it.
    void aPromptTheUserRemovesDuringASyncStaysGone() {
        PromptStore& target = store();
        PromptFeed feed([&target] { return &target; }, *clock);
        const QUuid idA = QUuid::fromString(kIdA);
        target.addPrompt(idA, "s1", "/s1/.zor/policy.yml", FileDenial{"/etc/hosts", "write", "vim"},
                         false);
        const PromptFeed::SyncId sync = PromptFeed::newSyncId();
        feed.addToSync(sync, incomingPrompts({record(kIdB, "s2", NetworkDenial{"b.org", 1, {}})}),
                       1);
        QVERIFY(feed.isSyncing());
        target.removePrompt(idA);
        feed.addToSync(sync, incomingPrompts({record(kIdA, "s1")}), 0);
        clock->advance(0ms);
        feed.endSync(sync);
        QVERIFY(!feed.isSyncing());
        QVERIFY(!target.containsPrompt(idA));
        QVERIFY(target.containsPrompt(QUuid::fromString(kIdB)));
        QVERIFY(log->messages().contains("Synced 2 prompts from ZorAgent"));

        feed.sync(incomingPrompts({record(kIdA, "s1")}));
        QVERIFY(target.containsPrompt(idA));
    }

    // A reconnect's sync read after the user's removal, queued behind a long
    // sync read before it: the removal holds for the first only, and the
    // second brings back what the agent still asks.
    void aRemovalHoldsOnlyForTheSyncsReadBeforeIt() {
        PromptStore& target = store();
        PromptFeed feed([&target] { return &target; }, *clock);
        const QUuid idA = QUuid::fromString(kIdA);
        target.addPrompt(idA, "s1", "/s1/.zor/policy.yml", FileDenial{"/etc/hosts", "write", "vim"},
                         false);
        const PromptFeed::SyncId first = PromptFeed::newSyncId();
        feed.addToSync(first, incomingPrompts({record(kIdB, "s2", NetworkDenial{"b.org", 1, {}})}),
                       1);
        target.removePrompt(idA);
        const PromptFeed::SyncId second = PromptFeed::newSyncId();
        feed.addToSync(second, incomingPrompts({record(kIdA, "s1")}), 0);
        feed.endSync(second);
        QVERIFY(feed.isSyncing());
        feed.endSync(first);
        do
            clock->advance(0ms);
        while (clock->nextTimerIn() == std::optional<Millis>(0ms));
        QVERIFY(!feed.isSyncing());
        QVERIFY(target.containsPrompt(idA));
        QVERIFY(target.containsPrompt(QUuid::fromString(kIdB)));
        QCOMPARE(notificationLines(),
                 (QStringList{"Synced 1 prompts from ZorAgent", "Synced 1 prompts from ZorAgent"}));
    }

    // A sync whose records come in batches: its turns wait for the next
    // batch without a timer, what comes meanwhile waits for its end, and a
    // second sync read at the same time keeps its records apart.
    void aSyncInBatchesTakesItsPlaceWithItsFirst() {
        PromptStore& target = store();
        PromptFeed feed([&target] { return &target; }, *clock);
        const PromptFeed::SyncId first = PromptFeed::newSyncId();
        const PromptFeed::SyncId second = PromptFeed::newSyncId();
        const QString kIdC = QStringLiteral("0b0c2f8e-39a5-4a43-9c1b-6a1e0d3f7c21");
        feed.addToSync(first, incomingPrompts({record(kIdA, "s1")}), 2);
        QCOMPARE(target.prompts().size(), 1);
        QVERIFY(feed.isSyncing());
        QCOMPARE(clock->nextTimerIn(), std::nullopt);
        feed.apply([](PromptStore& s) { s.markSessionEnded("s1"); });
        feed.addToSync(second, incomingPrompts({record(kIdB, "s2", NetworkDenial{"b.org", 1, {}})}),
                       0);
        // A later batch comes as a posted call, as do others: its turn comes
        // through the clock, so that several in one go of the loop do not run
        // their turns back to back.
        feed.addToSync(first, incomingPrompts({record(kIdC, "s1", NetworkDenial{"c.org", 1, {}})}),
                       0);
        QCOMPARE(target.prompts().size(), 1);
        QCOMPARE(clock->nextTimerIn(), std::optional<Millis>(0ms));
        clock->advance(0ms);
        QCOMPARE(target.prompts().size(), 2);
        int syncedCount = 0;
        feed.endSync(first, [&] { ++syncedCount; });
        QCOMPARE(syncedCount, 1);
        QVERIFY(feed.isSyncing());
        feed.endSync(second);
        QVERIFY(!feed.isSyncing());
        QCOMPARE(log->messages(), (QStringList{"Added prompt: file /etc/hosts session=s1",
                                               "Added prompt: network c.org:1 session=s1",
                                               "Synced 2 prompts from ZorAgent",
                                               "Marked 2 prompts as ended for session s1",
                                               "Added prompt: network b.org:1 session=s2",
                                               "Synced 1 prompts from ZorAgent"}));
        QCOMPARE(target.prompts().size(), 3);
    }

    void badDataFromTheAgentIsDropped_data() {
        QTest::addColumn<QString>("channel");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("sync, a record not in a list")
            << "sync" << record(kIdA, "s").toJson()
            << QStringList{"Connected to ZorAgent", "Failed to decode prompts from ZorAgent"};
        QTest::newRow("added, a list")
            << "added" << SerializablePromptItem::listToJson({record(kIdB, "s")})
            << QStringList{"Failed to decode prompt from ZorAgent callback"};
        // Only the bare standard form names a prompt.
        QTest::newRow("removed, braces")
            << "removed" << ("{" + kIdA.toUtf8() + "}") << QStringList();
    }

    void badDataFromTheAgentIsDropped() {
        QFETCH(QString, channel);
        QFETCH(QByteArray, data);
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
        QTEST(notificationLines(), "lines");
        QCOMPARE(store().prompts().size(), 2);
        QVERIFY(log->messages(LogCategory::promptStore).isEmpty());
    }

    void callbacksAreDroppedOnceTheirTargetIsGone_data() {
        QTest::addColumn<bool>("isHandlerGone");
        QTest::addColumn<QString>("channel");
        for (const bool isHandlerGone : {true, false})
            for (const QString channel : {"sync", "cleared"})
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
            push(channel, "s1");
        }
        queue->drain();
        const QPointer<PromptStore> heldStore = appState->promptStore();
        if (isHandlerGone)
            handler.reset();
        else
            appState.reset();
        settle();

        QVERIFY(log->messages(LogCategory::promptStore).isEmpty());
        if (heldStore) {
            QCOMPARE(heldStore->prompts().size(), 1);
            QVERIFY(!heldStore->prompts().at(0).sessionEnded);
        }
    }

    // A refusal reaches its completion on the main thread; a proxy error calls
    // none but says there was no answer, and its line shows its text to everyone.
    void decisionAnswersReachTheMainThread() {
        const auto connection = connectToAgent();
        QStringList answers;
        handler->handlePrompt(QUuid::fromString(kIdA), "deny", "session", "/p", recorder(answers),
                              noAnswerRecorder(answers));
        handler->dismissPrompt(QUuid::fromString(kIdA), recorder(answers),
                               noAnswerRecorder(answers));
        connection->failCall("handlePrompt", "agent went away");
        connection->answer("dismissPrompt", [](const FakeAgentCall& call) {
            call.decisionReply(false, "unknown prompt");
        });
        settle();
        QCOMPARE(answers, (QStringList{"no answer", "false unknown prompt"}));
        QCOMPARE(redactedLines(), QStringList{"ZorAgent proxy error: agent went away"});
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
        QTest::newRow("no answer in five seconds")
            << "silent" << std::optional<QString>()
            << QStringList{"ZorAgent getBuildNumber timed out"};
    }

    void buildNumber() {
        QFETCH(QString, agent);
        const auto connection = agent == u"absent" ? nullptr : connectToAgent();
        // On a worker of its own, as the setup screen asks.
        auto query = std::async(std::launch::async, [this] { return handler->getBuildNumber(); });
        const auto isFinished = [&query] {
            return query.wait_for(0s) == std::future_status::ready;
        };
        if (connection) {
            QTRY_COMPARE(clock->waitingCount(), 1);
            if (agent == u"silent") {
                clock->advance(4999ms);
                // The worker has read the clock since it moved, and waits on: of
                // two reads counted from here, the second came after the move.
                const int checks = clock->deadlineAheadCount();
                QTRY_VERIFY(clock->deadlineAheadCount() >= checks + 2);
                QVERIFY(!isFinished());
                clock->advance(1ms);
                QTRY_VERIFY(isFinished());
            } else if (agent == u"fails") {
                connection->failCall("getBuildNumber", "agent went away");
            }
            // An answer, or one too late for a wait that has given up.
            connection->answer("getBuildNumber",
                               [](const FakeAgentCall& call) { call.buildNumberReply("4242"); });
            queue->drain();
        }
        QTRY_VERIFY(isFinished());
        QTEST(query.get(), "result");
        settle();
        QTEST(redactedLines(), "lines");
    }

    // A link that ends during the wait lets go of the connection: the worker
    // then holds it last, and hands it to the main thread, which owns it.
    void aConnectionLeftToTheBuildNumberEndsOnTheMainThread() {
        std::atomic<int> endedOnMainThread = -1;
        connectToAgent()->onDestroyed = [&endedOnMainThread] {
            endedOnMainThread = isMainThread();
        };
        auto query = std::async(std::launch::async, [this] { return handler->getBuildNumber(); });
        QTRY_COMPARE(clock->waitingCount(), 1);
        connector->connections.clear();
        handler->disconnect();
        queue->drain();
        QTRY_VERIFY(query.wait_for(0s) == std::future_status::ready);
        QCOMPARE(query.get(), std::nullopt);
        settle();
        QCOMPARE(endedOnMainThread.load(), 1);
    }
};

QTEST_GUILESS_MAIN(AgentLinkTest)
#include "tst_agent.moc"
