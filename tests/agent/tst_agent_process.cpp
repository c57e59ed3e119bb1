#include "DecisionCompletions.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "platform/MainThread.h"
#include "platform/local/LocalAgentConnector.h"
#include "shared/SerializablePromptItem.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");
const QString kIdC = QStringLiteral("0b0c2f8e-39a5-4a43-9c1b-6a1e0d3f7c21");

SerializablePromptItem record(const QString& id, const QString& session, const QString& path,
                              Denial denial) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = session;
    item.policyPath = path;
    item.denial = std::move(denial);
    return item;
}

// zor-dev-agent as a child process, with what it prints collected line by line.
class DevAgent {
public:
    explicit DevAgent(QStringList arguments) {
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] {
            while (process.canReadLine())
                out.append(QString::fromUtf8(process.readLine()).trimmed());
        });
        process.setProgram(QStringLiteral(ZOR_DEV_AGENT_PATH));
        process.setArguments(arguments);
        process.setProcessChannelMode(QProcess::SeparateChannels);
        process.start();
    }

    // Killed, as a crash would end it.
    ~DevAgent() {
        if (process.state() == QProcess::NotRunning)
            return;
        process.kill();
        process.waitForFinished(5000);
    }

    // True once it listens; serves the event loop meanwhile.
    bool waitUntilListening() {
        const QDeadlineTimer deadline(10000);
        while (!isListening() && !deadline.hasExpired() && process.state() != QProcess::NotRunning)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return isListening();
    }

    void send(const QString& command) { process.write((command + u'\n').toUtf8()); }

    QStringList out;
    QProcess process;

private:
    bool isListening() const {
        return std::any_of(out.begin(), out.end(),
                           [](const QString& line) { return line.startsWith("listening on "); });
    }
};

} // namespace

class AgentProcessTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString promptsFile;
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<VirtualClock> clock;
    LocalAgentConnector connector;
    std::unique_ptr<AppState> appState;
    std::unique_ptr<NotificationHandler> handler;

    PromptStore& store() { return *appState->promptStore(); }

    bool storeHolds(const QString& id) {
        const QUuid uuid = QUuid::fromString(id);
        const PromptList& prompts = store().prompts();
        return std::any_of(prompts.begin(), prompts.end(),
                           [&](const PromptItem& item) { return item.id == uuid; });
    }

    qsizetype lineIndex(const QString& line) const {
        return log->messages(LogCategory::notifications).indexOf(line);
    }

    QStringList agentArguments() const {
        return {"--prompts", promptsFile, "--build-number", "4242"};
    }

private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        promptsFile = dir.filePath("prompts.json");
        QFile file(promptsFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(SerializablePromptItem::listToJson({
            record(kIdA, "s1", "/Users/ada/proj/.zor/policy.yml",
                   FileDenial{"/Users/ada/.ssh/id_rsa", "read", "ssh"}),
            record(kIdB, "s2", "/etc/acme/policy.yml", NetworkDenial{"example.org", 443, {}}),
        }));
    }

    void init() {
        static int counter = 0;
        qputenv("ZOR_AGENT_SOCKET", QStringLiteral("zor-process-test-%1-%2")
                                        .arg(QCoreApplication::applicationPid())
                                        .arg(++counter)
                                        .toUtf8());
        log = std::make_unique<LogCapture>();
        clock = std::make_unique<VirtualClock>();
        appState = std::make_unique<AppState>();
        handler = std::make_unique<NotificationHandler>(connector, *clock);
        handler->setAppState(appState.get());
    }

    void cleanup() {
        handler.reset();
        appState.reset();
        clock.reset();
        log.reset();
    }

    void theSampleFileIsServedWhole() {
        DevAgent agent({"--prompts", QStringLiteral(ZOR_SAMPLE_PROMPTS)});
        QVERIFY(agent.waitUntilListening());
        QVERIFY2(agent.out.first().endsWith(" with 20 prompts"), qPrintable(agent.out.first()));
        handler->connect();
        QTRY_COMPARE(store().prompts().size(), 20);
        QVERIFY(log->contains("Synced 20 prompts from ZorAgent"));
        QCOMPARE(store().uniqueSessionIds().size(), 5);
        QCOMPARE(store().uniquePolicyPaths().size(), 4);
    }

    void theAppFollowsTheAgentAndReconnectsWhenItComesBack() {
        auto agent = std::make_unique<DevAgent>(agentArguments());
        QVERIFY(agent->waitUntilListening());
        handler->connect();
        QTRY_COMPARE(store().prompts().size(), 2);
        QVERIFY(log->contains("Connected to ZorAgent"));
        QVERIFY(log->contains("Synced 2 prompts from ZorAgent"));

        agent->send("add " + QString::fromUtf8(record(kIdC, "s2", "/etc/acme/policy.yml",
                                                      ExecDenial{"/usr/bin/git", {"push"}, {}})
                                                   .toJson()));
        QTRY_COMPARE(store().prompts().size(), 3);
        QCOMPARE(store().prompts().at(0).id, QUuid::fromString(kIdC));

        agent->send("remove " + kIdA);
        QTRY_VERIFY(!storeHolds(kIdA));
        agent->send("clear s2");
        QTRY_VERIFY(store().prompts().at(0).sessionEnded);
        QVERIFY(store().prompts().at(1).sessionEnded);

        DecisionCompletions completions;
        handler->handlePrompt(QUuid::fromString(kIdC), "allow", "session", "/etc/acme/policy.yml",
                              completions.recorder());
        QTRY_COMPARE(completions.answers, QStringList{"true (none)"});
        QTRY_VERIFY(agent->out.contains(
            QStringLiteral("decision %1 allow session /etc/acme/policy.yml").arg(kIdC.toUpper())));
        QTRY_VERIFY(!storeHolds(kIdC));

        handler->dismissPrompt(QUuid::fromString(kIdB), completions.recorder());
        QTRY_COMPARE(completions.answers.size(), 2);
        QCOMPARE(completions.answers.last(), QStringLiteral("true (none)"));
        QTRY_VERIFY(agent->out.contains(QStringLiteral("dismiss %1").arg(kIdB.toUpper())));
        QTRY_COMPARE(store().prompts().size(), 0);

        handler->dismissPrompt(QUuid::fromString(kIdB), completions.recorder());
        QTRY_COMPARE(completions.answers.size(), 3);
        QCOMPARE(completions.answers.last(),
                 QStringLiteral("false No pending prompt %1").arg(kIdB.toUpper()));
        QVERIFY(completions.isAlwaysOnMainThread);

        std::optional<QString> buildNumber;
        QThread* query = QThread::create([&] { buildNumber = handler->getBuildNumber(); });
        query->start();
        QTRY_VERIFY(query->isFinished());
        delete query;
        QCOMPARE(buildNumber, QStringLiteral("4242"));

        // The agent dies: the app lets the connection go and plans a reconnect.
        agent.reset();
        const QString interrupted =
            QStringLiteral("ZorAgent connection interrupted, invalidating for clean reconnect");
        const QString invalidated = QStringLiteral("ZorAgent connection invalidated");
        const QString willReconnect =
            QStringLiteral("Will reconnect to ZorAgent in 2.000000s (attempt 1/10)");
        QTRY_VERIFY(lineIndex(willReconnect) >= 0);
        QVERIFY(lineIndex(interrupted) >= 0);
        QVERIFY(lineIndex(interrupted) < lineIndex(invalidated));
        QVERIFY(lineIndex(invalidated) < lineIndex(willReconnect));

        // It comes back with its file's prompts; the reconnect resyncs them.
        agent = std::make_unique<DevAgent>(agentArguments());
        QVERIFY(agent->waitUntilListening());
        log->clear();
        clock->advance(1999ms);
        QVERIFY(!log->contains("Reconnecting to ZorAgent (attempt 2/10)"));
        clock->advance(1ms);
        QVERIFY(log->contains("Reconnecting to ZorAgent (attempt 2/10)"));
        QTRY_VERIFY(log->contains("Synced 2 prompts from ZorAgent"));
        QCOMPARE(store().prompts().size(), 2);
        QVERIFY(storeHolds(kIdA));
        QVERIFY(storeHolds(kIdB));
        QVERIFY(!store().prompts().at(0).sessionEnded);
    }

    void anAgentThatStartsLateIsFoundOnTheNextAttempt() {
        handler->connect();
        QTRY_VERIFY(log->contains("Will reconnect to ZorAgent in 2.000000s (attempt 1/10)"));
        QVERIFY(log->contains("ZorAgent connection invalidated"));
        QVERIFY(
            !log->contains("ZorAgent connection interrupted, invalidating for clean reconnect"));

        DevAgent agent(agentArguments());
        QVERIFY(agent.waitUntilListening());
        clock->advance(2s);
        QTRY_COMPARE(store().prompts().size(), 2);
        QVERIFY(log->contains("Synced 2 prompts from ZorAgent"));
    }

    void badPromptFilesStopTheAgent_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        QTest::newRow("not JSON") << QByteArray("{") << "not a list of prompt records";
        QTest::newRow("a record without a denial")
            << QByteArray(R"([{"id":"x","sessionId":"s","policyPath":"/p","sessionEnded":false,)"
                          R"("createdAt":0}])")
            << "not a list of prompt records: record 0";
        QTest::newRow("missing file") << QByteArray() << "cannot read";
    }

    void badPromptFilesStopTheAgent() {
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        const QString path =
            dir.filePath(QStringLiteral("bad-%1.json").arg(QTest::currentDataTag()));
        if (!content.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        DevAgent agent({"--prompts", path});
        QVERIFY(agent.process.waitForFinished(10000));
        QCOMPARE(agent.process.exitCode(), 1);
        const QString errors = QString::fromUtf8(agent.process.readAllStandardError());
        QVERIFY2(errors.contains(message), qPrintable(errors));
    }

    void badCommandsAreReportedAndTheAgentCarriesOn() {
        DevAgent agent(agentArguments());
        QVERIFY(agent.waitUntilListening());
        agent.send("fly away");
        agent.send("add {\"id\":");
        agent.send("remove");
        agent.send("quit");
        QVERIFY(agent.process.waitForFinished(10000));
        QCOMPARE(agent.process.exitCode(), 0);
        const QString errors = QString::fromUtf8(agent.process.readAllStandardError());
        QVERIFY2(errors.contains("unknown command: fly"), qPrintable(errors));
        QVERIFY2(errors.contains("not a prompt record"), qPrintable(errors));
        QVERIFY2(errors.contains("usage: add JSON | remove ID | clear SESSION | quit"),
                 qPrintable(errors));
    }
};

QTEST_GUILESS_MAIN(AgentProcessTest)
#include "tst_agent_process.moc"
