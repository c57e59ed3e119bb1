#include "platform/MainThread.h"
#include "platform/local/LocalAgentConnection.h"
#include "platform/local/LocalAgentMessages.h"
#include "platform/local/LocalAgentServer.h"
#include "platform/local/LocalFraming.h"

#include <QFile>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMutex>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QtEndian>

using namespace zor;
using namespace zor::local;

namespace {

QString uniqueSocketName() {
    static int counter = 0;
    return QStringLiteral("zor-transport-test-%1-%2")
        .arg(QCoreApplication::applicationPid())
        .arg(++counter);
}

QByteArray rawFrame(const QByteArray& body) {
    QByteArray frame(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), frame.data());
    return frame + body;
}

// What arrived on the app's side, and on which threads.
struct Events {
    mutable QMutex mutex;
    QStringList lines;
    bool hasRunOnMainThread = false;

    void add(const QString& line) {
        QMutexLocker lock(&mutex);
        lines.append(line);
        hasRunOnMainThread = hasRunOnMainThread || isMainThread();
    }
    QStringList all() const {
        QMutexLocker lock(&mutex);
        return lines;
    }
    int count(const QString& prefix) const {
        QMutexLocker lock(&mutex);
        return int(std::count_if(lines.begin(), lines.end(),
                                 [&](const QString& line) { return line.startsWith(prefix); }));
    }
    bool ranOnMainThread() const {
        QMutexLocker lock(&mutex);
        return hasRunOnMainThread;
    }
};

class RecordingApp final : public ZorAppCallbackProtocol {
public:
    explicit RecordingApp(Events& events)
        : events(events) {}
    void promptAddedWithPromptData(const QByteArray& data) override {
        events.add(QStringLiteral("added ") + QString::fromUtf8(data));
    }
    void promptRemovedWithPromptId(const QString& id) override {
        events.add(QStringLiteral("removed ") + id);
    }
    void promptsClearedWithSessionId(const QString& id) override {
        events.add(QStringLiteral("cleared ") + id);
    }

private:
    Events& events;
};

// Answers at once unless told to hold its answers back.
class ScriptedAgent final : public ZorAgentProtocol {
public:
    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override {
        calls.append(QStringLiteral("getPrompts"));
        answer([reply, data = promptsData] { reply(data); });
    }
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        calls.append(QStringLiteral("getBuildNumber"));
        answer([reply, number = buildNumber] { reply(number); });
    }
    void handlePromptWithPromptId(const QString& id, const QString& action, const QString& lifetime,
                                  const QString& policyPath, DecisionReply reply) override {
        calls.append(QStringList{"handlePrompt", id, action, lifetime, policyPath}.join(u' '));
        answer(
            [reply, success = decisionSuccess, error = decisionError] { reply(success, error); });
    }
    void dismissPromptWithPromptId(const QString& id, DecisionReply reply) override {
        calls.append(QStringLiteral("dismissPrompt ") + id);
        answer(
            [reply, success = decisionSuccess, error = decisionError] { reply(success, error); });
    }

    void answer(std::function<void()> fn) {
        if (isHoldingAnswers)
            heldAnswers.append(std::move(fn));
        else
            fn();
    }

    QStringList calls;
    QByteArray promptsData = "[]";
    QString buildNumber = QStringLiteral("1000");
    bool decisionSuccess = true;
    std::optional<QString> decisionError;
    bool isHoldingAnswers = false;
    QList<std::function<void()>> heldAnswers;
};

// The app's side of one connection with everything it reports recorded.
struct Client {
    Events events;
    RecordingApp app{events};
    std::shared_ptr<LocalAgentConnection> connection;
    std::shared_ptr<ZorAgentProtocol> proxy;

    explicit Client(const QString& socketName)
        : connection(LocalAgentConnection::create(socketName, app)) {
        connection->setInvalidationHandler([this] { events.add(QStringLiteral("invalidated")); });
        connection->setInterruptionHandler([this] { events.add(QStringLiteral("interrupted")); });
        proxy = connection->remoteObjectProxyWithErrorHandler([this](const PlatformError& error) {
            events.add(QStringLiteral("error ") + error.localizedDescription);
        });
    }

    void getPrompts() {
        proxy->getPromptsWithReply([this](const QByteArray& data) {
            events.add(QStringLiteral("prompts ") + QString::fromUtf8(data));
        });
    }
    void getBuildNumber() {
        proxy->getBuildNumberWithReply(
            [this](const QString& number) { events.add(QStringLiteral("build ") + number); });
    }
    DecisionReply decisionRecorder(const QString& name) {
        return [this, name](bool success, std::optional<QString> error) {
            events.add(QStringLiteral("%1 %2 %3")
                           .arg(name, success ? "true" : "false", error.value_or("(none)")));
        };
    }
};

} // namespace

class AgentTransportTest : public QObject {
    Q_OBJECT

private slots:
    void framesSurviveAnySplitOfTheStream() {
        const QList<QJsonObject> messages = {
            makeCall(method::getPrompts),
            QJsonObject{{"type", "reply"}, {"id", 7}, {"data", encodeData("[{\"a\":\"é\"}]")}},
            makeCallback(method::promptsCleared),
        };
        QByteArray stream;
        for (const QJsonObject& message : messages)
            stream += encodeFrame(message);

        for (qsizetype chunk = 1; chunk <= stream.size(); ++chunk) {
            FrameDecoder decoder;
            QList<QJsonObject> decoded;
            for (qsizetype at = 0; at < stream.size(); at += chunk) {
                decoder.append(stream.mid(at, chunk));
                while (const auto message = decoder.next())
                    decoded.append(*message);
            }
            QVERIFY2(!decoder.hasFailed(), qPrintable(decoder.failure()));
            QCOMPARE(decoded, messages);
        }
    }

    void brokenStreamsStayBroken_data() {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QString>("failure");
        QTest::newRow("empty frame") << rawFrame({}) << "frame length 0 out of range";
        QByteArray huge(4, Qt::Uninitialized);
        qToBigEndian<quint32>(kMaxFrameLength + 1, huge.data());
        QTest::newRow("frame too long")
            << huge << QStringLiteral("frame length %1 out of range").arg(kMaxFrameLength + 1);
        QTest::newRow("not JSON") << rawFrame("{\"type\":") << "frame is not JSON";
        QTest::newRow("an array") << rawFrame("[1,2]") << "frame is not a JSON object";
        QTest::newRow("a bare string") << rawFrame("\"call\"") << "frame is not JSON";
    }

    void brokenStreamsStayBroken() {
        QFETCH(QByteArray, stream);
        QFETCH(QString, failure);
        FrameDecoder decoder;
        decoder.append(stream + encodeFrame(makeCall(method::getPrompts)));
        QVERIFY(!decoder.next());
        QVERIFY(decoder.hasFailed());
        QVERIFY2(decoder.failure().startsWith(failure), qPrintable(decoder.failure()));
        // Good frames after the break are not read any more.
        decoder.append(encodeFrame(makeCall(method::getPrompts)));
        QVERIFY(!decoder.next());
    }

    void socketNameFollowsTheEnvironment() {
        const QByteArray saved = qgetenv("ZOR_AGENT_SOCKET");
        qputenv("ZOR_AGENT_SOCKET", "/tmp/zor-elsewhere");
        QCOMPARE(agentSocketName("com.zorlabs.zor.agent.app"), QString("/tmp/zor-elsewhere"));
        qunsetenv("ZOR_AGENT_SOCKET");
        const QString derived = agentSocketName("com.zorlabs.zor.agent.app");
        QVERIFY2(derived.endsWith("com.zorlabs.zor.agent.app"), qPrintable(derived));
        if (!saved.isEmpty())
            qputenv("ZOR_AGENT_SOCKET", saved);
    }

    void callsMadeBeforeResumeAreAnsweredOffTheMainThread() {
        ScriptedAgent agent;
        agent.promptsData = R"([{"id":"x"}])";
        agent.buildNumber = "4242";
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY2(server.listen(name), qPrintable(server.errorString()));

        Client client(name);
        client.getPrompts();
        client.getBuildNumber();
        client.proxy->handlePromptWithPromptId("ID-1", "allow", "session", "/p/policy.yml",
                                               client.decisionRecorder("handled"));
        agent.decisionSuccess = true;
        client.connection->resume();
        QTRY_COMPARE(client.events.all().size(), 3);
        agent.decisionSuccess = false;
        agent.decisionError = QStringLiteral("no such prompt");
        client.proxy->dismissPromptWithPromptId("ID-2", client.decisionRecorder("dismissed"));
        QTRY_COMPARE(client.events.all().size(), 4);

        QCOMPARE(client.events.all(),
                 (QStringList{"prompts [{\"id\":\"x\"}]", "build 4242", "handled true (none)",
                              "dismissed false no such prompt"}));
        QCOMPARE(agent.calls, (QStringList{"getPrompts", "getBuildNumber",
                                           "handlePrompt ID-1 allow session /p/policy.yml",
                                           "dismissPrompt ID-2"}));
        QVERIFY(!client.events.ranOnMainThread());
        QCOMPARE(server.appCount(), 1);
    }

    void callbacksReachTheExportedObjectOffTheMainThread() {
        ScriptedAgent agent;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        Client client(name);
        client.connection->resume();
        QTRY_COMPARE(server.appCount(), 1);

        server.apps().promptAddedWithPromptData("{\"id\":\"A\"}");
        server.apps().promptRemovedWithPromptId("A");
        server.apps().promptsClearedWithSessionId("S1");
        QTRY_COMPARE(client.events.all().size(), 3);
        QCOMPARE(client.events.all(),
                 (QStringList{"added {\"id\":\"A\"}", "removed A", "cleared S1"}));
        QVERIFY(!client.events.ranOnMainThread());
    }

    void noAgentEndsInInvalidationAndFailsEveryCall() {
        const QString name = uniqueSocketName();
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(client.events.count("invalidated"), 1);
        client.getBuildNumber();
        // Both calls fail with the reason the connection ended.
        QTRY_COMPARE(client.events.count("error Could not reach the agent at " + name + ": "), 2);

        QCOMPARE(client.events.count("prompts"), 0);
        QCOMPARE(client.events.count("build"), 0);
        QCOMPARE(client.events.count("interrupted"), 0);
        // Invalidating an ended connection reports nothing more.
        client.connection->invalidate();
        QTest::qWait(20);
        QCOMPARE(client.events.count("invalidated"), 1);
        QVERIFY(!client.events.ranOnMainThread());
    }

    void agentGoingAwayInterruptsUntilInvalidated() {
        ScriptedAgent agent;
        agent.isHoldingAnswers = true;
        auto server = std::make_unique<LocalAgentServer>(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server->listen(name));
        Client client(name);
        client.connection->resume();
        client.getPrompts();
        QTRY_COMPARE(agent.calls.size(), 1);

        server.reset();
        QTRY_COMPARE(
            client.events.all(),
            (QStringList{"error The connection to the agent was interrupted.", "interrupted"}));
        client.getBuildNumber();
        QTRY_COMPARE(client.events.count("error"), 2);
        QCOMPARE(client.events.count("invalidated"), 0);

        client.connection->invalidate();
        QTRY_COMPARE(client.events.count("invalidated"), 1);
        QCOMPARE(client.events.count("interrupted"), 1);
    }

    void invalidationFailsPendingCallsAndSilencesTheAgent() {
        ScriptedAgent agent;
        agent.isHoldingAnswers = true;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        Client client(name);
        client.connection->resume();
        client.getPrompts();
        QTRY_COMPARE(agent.calls.size(), 1);

        client.connection->invalidate();
        QTRY_COMPARE(
            client.events.all(),
            (QStringList{"error The connection to the agent was invalidated.", "invalidated"}));
        QTRY_COMPARE(server.appCount(), 0);
        // A late answer and later pushes reach nobody.
        for (const auto& answer : std::as_const(agent.heldAnswers))
            answer();
        server.apps().promptRemovedWithPromptId("A");
        client.getBuildNumber();
        QTRY_COMPARE(client.events.count("error"), 2);
        QCOMPARE(client.events.count("prompts"), 0);
        QCOMPARE(client.events.count("removed"), 0);
    }

    void clearedHandlersAreNotCalled() {
        Client client(uniqueSocketName());
        client.connection->setInvalidationHandler({});
        client.connection->setInterruptionHandler({});
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(client.events.count("error"), 1);
        QTest::qWait(20);
        QCOMPARE(client.events.all().size(), 1);
    }

    void malformedRepliesGoToTheErrorHandler_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("no data") << QByteArray(R"({"type":"reply","id":1})");
        QTest::newRow("data not base64") << QByteArray(R"({"type":"reply","id":1,"data":"%%"})");
        QTest::newRow("data of another type") << QByteArray(R"({"type":"reply","id":1,"data":5})");
    }

    void malformedRepliesGoToTheErrorHandler() {
        QFETCH(QByteArray, reply);
        QLocalServer raw;
        const QString name = uniqueSocketName();
        QVERIFY(raw.listen(name));
        QObject::connect(&raw, &QLocalServer::newConnection, &raw, [&] {
            QLocalSocket* app = raw.nextPendingConnection();
            QObject::connect(app, &QLocalSocket::readyRead, app, [app, reply] {
                app->readAll();
                // An answer to an unknown call comes first and is ignored.
                app->write(rawFrame(R"({"type":"reply","id":99,"data":""})"));
                app->write(rawFrame(reply));
            });
        });
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(client.events.all(), QStringList{"error The agent sent a malformed reply."});
    }

    void anAgentThatBreaksTheFramingIsCutOff() {
        QLocalServer raw;
        const QString name = uniqueSocketName();
        QVERIFY(raw.listen(name));
        QObject::connect(&raw, &QLocalServer::newConnection, &raw, [&] {
            QLocalSocket* app = raw.nextPendingConnection();
            QObject::connect(app, &QLocalSocket::readyRead, app, [app] {
                app->readAll();
                app->write(rawFrame("not json at all"));
            });
        });
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(
            client.events.all(),
            (QStringList{"error The connection to the agent was interrupted.", "interrupted"}));
    }

    void serverDropsAppsThatDoNotSpeakTheInterface_data() {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QString>("reason");
        QTest::newRow("not a call")
            << rawFrame(R"({"type":"reply","id":1})") << "message is not a call";
        QTest::newRow("no id") << rawFrame(R"({"type":"call","method":"getPrompts"})")
                               << "call without an id";
        QTest::newRow("unknown method")
            << rawFrame(R"({"type":"call","id":1,"method":"x"})") << "unknown method x";
        QTest::newRow("decision without arguments")
            << rawFrame(R"({"type":"call","id":1,"method":"handlePrompt","promptId":"A"})")
            << "handlePrompt call without its arguments";
        QTest::newRow("dismissal without an id")
            << rawFrame(R"({"type":"call","id":1,"method":"dismissPrompt"})")
            << "dismissPrompt call without its prompt id";
        QTest::newRow("broken frame") << rawFrame("[]") << "frame is not a JSON object";
    }

    void serverDropsAppsThatDoNotSpeakTheInterface() {
        QFETCH(QByteArray, frame);
        QFETCH(QString, reason);
        ScriptedAgent agent;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        QSignalSpy errors(&server, &LocalAgentServer::protocolError);
        QSignalSpy gone(&server, &LocalAgentServer::appDisconnected);

        QLocalSocket app;
        app.connectToServer(name);
        QVERIFY(app.waitForConnected(5000));
        app.write(frame);
        QTRY_COMPARE(errors.size(), 1);
        QCOMPARE(errors.first().first().toString(), reason);
        QTRY_COMPARE(gone.size(), 1);
        QCOMPARE(server.appCount(), 0);
        QVERIFY(agent.calls.isEmpty());
    }

    void theDocumentedExchangeIsWhatTheServerSpeaks() {
        QFile doc(QFINDTESTDATA("../../docs/prompt-format.md"));
        QVERIFY(doc.open(QIODevice::ReadOnly));
        const QByteArray text = doc.readAll();
        const qsizetype section = text.indexOf("\n## On a local socket");
        QVERIFY(section > 0);
        const qsizetype from = text.indexOf("```json\n", section) + 8;
        const QList<QByteArray> lines =
            text.mid(from, text.indexOf("```", from) - from).trimmed().split('\n');
        QCOMPARE(lines.size(), 2);

        ScriptedAgent agent;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        QLocalSocket app;
        app.connectToServer(name);
        QVERIFY(app.waitForConnected(5000));
        app.write(rawFrame(lines[0]));
        FrameDecoder decoder;
        std::optional<QJsonObject> reply;
        // Evaluated again after it first holds, so reading stops once there is a reply.
        const auto hasReply = [&] {
            if (!reply) {
                decoder.append(app.readAll());
                reply = decoder.next();
            }
            return reply.has_value();
        };
        QTRY_VERIFY(hasReply());
        QCOMPARE(agent.calls, QStringList{"handlePrompt 0B0C2F8E-39A5-4A43-9C1B-6A1E0D3F7C21 allow "
                                          "session /Users/ada/proj/.zor/policy.yml"});
        QCOMPARE(*reply, QJsonDocument::fromJson(lines[1]).object());
    }

    void aSecondServerCannotTakeALiveSocketButTakesAStaleOne() {
        ScriptedAgent agent;
        const QString name = uniqueSocketName();
        auto first = std::make_unique<LocalAgentServer>(agent);
        QVERIFY(first->listen(name));
        LocalAgentServer second(agent);
        QVERIFY(!second.listen(name));
        QCOMPARE(second.errorString(),
                 QStringLiteral("another agent is listening on %1").arg(name));

        // A socket file that nobody answers on, as a killed agent leaves it.
        const QString path = first->fullServerName();
        first.reset();
        QFile leftOver(path);
        QVERIFY(leftOver.open(QIODevice::WriteOnly));
        leftOver.close();
        LocalAgentServer third(agent);
        QVERIFY2(third.listen(name), qPrintable(third.errorString()));
    }

    void droppingTheLastReferenceInsideAHandlerIsSafe() {
        Events events;
        RecordingApp app(events);
        auto connection = LocalAgentConnection::create(uniqueSocketName(), app);
        std::weak_ptr<LocalAgentConnection> weak = connection;
        auto holder = std::make_shared<std::shared_ptr<LocalAgentConnection>>(connection);
        connection->setInvalidationHandler([holder, &events] {
            events.add(QStringLiteral("invalidated"));
            holder->reset();
        });
        connection->resume();
        connection.reset();
        QTRY_COMPARE(events.count("invalidated"), 1);
        QTRY_VERIFY(weak.expired());
    }
};

QTEST_GUILESS_MAIN(AgentTransportTest)
#include "tst_agent_transport.moc"
