#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "platform/local/LocalAgentConnector.h"
#include "shared/SerializablePromptItem.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");
const QString kIdC = QStringLiteral("0b0c2f8e-39a5-4a43-9c1b-6a1e0d3f7c21");

QByteArray recordJson(const QString& id, const QString& session, Denial denial) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = session;
    item.policyPath = QStringLiteral("/%1/.zor/policy.yml").arg(session);
    item.denial = std::move(denial);
    return item.toJson();
}

// zor-dev-agent as a child process on a prompts file of its own, with what it
// prints collected line by line.
class DevAgent {
public:
    explicit DevAgent(const QByteArray& prompts) {
        QFile file(dir.filePath("prompts.json"));
        if (file.open(QIODevice::WriteOnly))
            file.write(prompts);
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] {
            while (process.canReadLine())
                out.append(QString::fromUtf8(process.readLine()).trimmed());
        });
        process.start(QStringLiteral(ZOR_DEV_AGENT_PATH), {"--prompts", file.fileName()});
    }
    // Killed, as a crash would end it.
    ~DevAgent() {
        process.kill();
        process.waitForFinished(5000);
    }

    bool isListening() const { return !out.filter("listening on ").isEmpty(); }
    void send(const QString& command) { process.write((command + u'\n').toUtf8()); }

    QTemporaryDir dir;
    QStringList out;
    QProcess process;
};

} // namespace

class AgentProcessTest : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;

private slots:
    void initTestCase() {
        // The agent's socket in a private directory of the test's own.
        QVERIFY(runtime.isValid());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
        qunsetenv("ZOR_AGENT_SOCKET");
    }

    void theAppFollowsTheAgentAndReconnectsWhenItComesBack() {
        const QByteArray prompts =
            "[" + recordJson(kIdA, "s1", FileDenial{"/home/ada/.ssh/id_rsa", "read", "ssh"}) + "," +
            recordJson(kIdB, "s2", NetworkDenial{"example.org", 443, {}}) + "]";

        LogCapture log;
        VirtualClock clock;
        LocalAgentConnector connector(clock);
        AppState appState;
        NotificationHandler handler(connector, clock);
        handler.setAppState(&appState);
        PromptStore& store = *appState.promptStore();
        const auto ids = [&] {
            QStringList out;
            for (const PromptItem& item : store.prompts())
                out.append(item.id.toString(QUuid::WithoutBraces));
            return out;
        };

        auto agent = std::make_unique<DevAgent>(prompts);
        QTRY_VERIFY_WITH_TIMEOUT(agent->isListening(), 10000);
        handler.connect();
        QTRY_COMPARE(store.prompts().size(), 2);

        agent->send("add " + recordJson(kIdC, "s3", ExecDenial{"/usr/bin/git", {"push"}, {}}));
        QTRY_COMPARE(ids(), (QStringList{kIdC, kIdB, kIdA}));
        // The agent names prompts in upper case.
        agent->send("remove " + kIdA.toUpper());
        QTRY_COMPARE(ids(), (QStringList{kIdC, kIdB}));
        agent->send("clear s2");
        QTRY_VERIFY(store.prompts().at(1).sessionEnded);
        // A prompt it settles, it removes.
        handler.dismissPrompt(QUuid::fromString(kIdB), [](bool, auto) {}, {});
        QTRY_COMPARE(ids(), QStringList{kIdC});

        // The agent dies: the app lets the connection go and plans a reconnect.
        log.clear();
        agent.reset();
        QTRY_COMPARE(
            log.messages(LogCategory::notifications),
            (QStringList{"ZorAgent connection interrupted, invalidating for clean reconnect",
                         "ZorAgent connection invalidated",
                         "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)"}));

        // It comes back with its file's prompts; the reconnect adds them to what
        // the app holds.
        agent = std::make_unique<DevAgent>(prompts);
        QTRY_VERIFY_WITH_TIMEOUT(agent->isListening(), 10000);
        log.clear();
        clock.advance(2s);
        QTRY_COMPARE(log.messages(LogCategory::notifications),
                     (QStringList{"Reconnecting to ZorAgent (attempt 2/10)",
                                  "Connected to ZorAgent", "Synced 2 prompts from ZorAgent"}));
        QCOMPARE(ids(), (QStringList{kIdB, kIdA, kIdC}));
        QVERIFY(!store.prompts().at(0).sessionEnded);
    }

    // The scripts that start the agent end it by closing its input. A record
    // too large to push is refused on the way.
    void theAgentStopsAtTheEndOfItsInput() {
        DevAgent agent("[]");
        QTRY_VERIFY_WITH_TIMEOUT(agent.isListening(), 10000);
        agent.send("add " +
                   recordJson(kIdA, "s1", FileDenial{QString(13'000'000, u'p'), "read", {}}));
        agent.process.closeWriteChannel();
        QVERIFY(agent.process.waitForFinished(10000));
        QCOMPARE(agent.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(agent.process.exitCode(), 0);
        const QByteArray errors = agent.process.readAllStandardError();
        QVERIFY2(errors.contains("zor-dev-agent: record of 13000"), errors.constData());
        QVERIFY2(errors.contains(" bytes refused: a push carries at most "), errors.constData());
    }
};

QTEST_GUILESS_MAIN(AgentProcessTest)
#include "tst_agent_process.moc"
