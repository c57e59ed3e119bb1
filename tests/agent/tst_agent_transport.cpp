#include "LogCapture.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "platform/MainThread.h"
#include "platform/local/LocalAgentConnection.h"
#include "platform/local/LocalAgentConnector.h"
#include "platform/local/LocalAgentMessages.h"
#include "platform/local/LocalAgentServer.h"
#include "platform/local/LocalFraming.h"
#include "shared/ParserRoom.h"

#include <QFile>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMutex>
#include <QPointer>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace zor;
using namespace zor::local;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

// In a private directory of the test's own, as the app's are.
QString uniqueSocketName() {
    static QTemporaryDir directory;
    static int counter = 0;
    return directory.filePath(QStringLiteral("agent-%1").arg(++counter));
}

QByteArray rawFrame(const QByteArray& body) {
    QByteArray frame(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), frame.data());
    return frame + body;
}

// Answers at once with fixed values, or holds its answers back.
class ScriptedAgent final : public ZorAgentProtocol {
public:
    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override {
        answer("getPrompts", [this, reply] { reply(prompts); });
    }
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override {
        answer("getBuildNumber", [reply] { reply("4242"); });
    }
    void handlePromptWithPromptId(const QString& id, const QString& action, const QString& lifetime,
                                  const QString& policyPath, DecisionReply reply) override {
        answer(QStringList{"handlePrompt", id, action, lifetime, policyPath}.join(u' '),
               [reply] { reply(true, std::nullopt); });
    }
    void dismissPromptWithPromptId(const QString& id, DecisionReply reply) override {
        answer("dismissPrompt " + id, [reply] { reply(false, "no such prompt"); });
    }

    void answer(const QString& call, std::function<void()> fn) {
        calls.append(call);
        if (isHoldingAnswers)
            heldAnswers.append(std::move(fn));
        else
            fn();
    }

    QByteArray prompts = R"([{"id":"x"}])";
    QStringList calls;
    bool isHoldingAnswers = false;
    QList<std::function<void()>> heldAnswers;
};

// The app's side of one connection, with everything it is told as a line;
// what comes on the main thread, where nothing should, says so.
struct Client final : ZorAppCallbackProtocol {
    mutable QMutex mutex;
    QStringList lines;
    VirtualClock clock;
    std::shared_ptr<LocalAgentConnection> connection;
    std::shared_ptr<ZorAgentProtocol> proxy;

    explicit Client(const QString& socketName)
        : connection(LocalAgentConnection::create({socketName, {}}, *this, clock)) {
        connection->setInvalidationHandler([this] { add("invalidated"); });
        connection->setInterruptionHandler([this] { add("interrupted"); });
        proxy = connection->remoteObjectProxyWithErrorHandler(
            [this](const PlatformError& error) { add("error " + error.localizedDescription); });
    }

    void add(const QString& line) {
        QMutexLocker lock(&mutex);
        lines.append(isMainThread() ? line + " (on the main thread)" : line);
    }
    QStringList all() const {
        QMutexLocker lock(&mutex);
        return lines;
    }

    void getPrompts() {
        // Handed over with the room that lets the reader read it where it is.
        proxy->getPromptsWithReply([this](const QByteArray& data) {
            add(hasParserRoom(data) ? "prompts " + data : "prompts without the reader's room");
        });
    }
    void getBuildNumber() {
        proxy->getBuildNumberWithReply([this](const QString& number) { add("build " + number); });
    }
    DecisionReply decision(const QString& name) {
        return [this, name](bool success, std::optional<QString> error) {
            add(QStringLiteral("%1 %2 %3")
                    .arg(name, success ? "true" : "false", error.value_or("(none)")));
        };
    }

    void promptAddedWithPromptData(const QByteArray& data) override { add("added " + data); }
    void promptRemovedWithPromptId(const QString& id) override { add("removed " + id); }
    void promptsClearedWithSessionId(const QString& id) override { add("cleared " + id); }
};

} // namespace

class AgentTransportTest : public QObject {
    Q_OBJECT

private slots:
    void framesSurviveAnySplitAndAnUnreadableOneEndsTheStream() {
        const QList<QJsonObject> messages = {
            makeCall(method::getPrompts),
            QJsonObject{{"type", "reply"}, {"id", 7}, {"data", encodeData("[{\"a\":\"é\"}]")}},
            makeCallback(method::promptsCleared),
        };
        QByteArray stream;
        QList<Message> expected;
        for (const QJsonObject& message : messages) {
            stream += encodeFrame(message).value();
            expected.append(decodeMessage(QJsonDocument(message).toJson()).value());
        }
        for (qsizetype chunk = 1; chunk <= stream.size(); ++chunk) {
            FrameDecoder decoder;
            QList<Message> decoded;
            for (qsizetype at = 0; at < stream.size(); at += chunk) {
                decoder.append(stream.mid(at, chunk));
                while (const auto frame = decoder.next()) {
                    QVERIFY2(frame->hasValue(), qPrintable(frame->error()));
                    decoded.append(frame->value());
                }
            }
            QVERIFY(decoded == expected);
        }

        // A frame over the limit is refused by its length alone, one that is
        // not an object once it is whole; nothing after either is read or held.
        QByteArray tooLong(4, Qt::Uninitialized);
        qToBigEndian<quint32>(kMaxFrameLength + 1, tooLong.data());
        for (const auto& [bad, error] :
             {std::pair{tooLong, QStringLiteral("frame length 16777217 out of range")},
              std::pair{rawFrame("[1]"), QStringLiteral("frame of 3 bytes is not a JSON object")},
              std::pair{rawFrame("{\"a\":tru}"),
                        QStringLiteral("frame of 9 bytes is not JSON: Problem while parsing an "
                                       "atom starting with the letter 't'")}}) {
            FrameDecoder decoder;
            decoder.append(stream + bad);
            for (const Message& message : expected)
                QVERIFY(decoder.next()->value() == message);
            const auto failed = decoder.next();
            QVERIFY(failed && !*failed);
            QCOMPARE(failed->error(), error);
            decoder.append(stream);
            QVERIFY(!decoder.next());
            QCOMPARE(decoder.heldSize(), 0);
        }

        // Nor does a sender make a frame the other side would refuse.
        const QJsonObject huge{{"data", QString(kMaxFrameLength, u'x')}};
        QVERIFY(encodeFrame(huge).error().startsWith("a message of "));
    }

    // Calls made before resume wait for the connection. What one frame cannot
    // carry: a sync reply comes in parts; a push or a call that does not fit is
    // refused with an error, and the link stays up.
    void callsAndCallbacksArriveOffTheMainThread() {
        ScriptedAgent agent;
        agent.prompts = QByteArray(2 * kReplyPartLength + 5, 'p');
        LocalAgentServer server(agent);
        QStringList refused;
        QObject::connect(&server, &LocalAgentServer::sendFailed, &server,
                         [&](const QString& reason) { refused.append(reason); });
        const QString name = uniqueSocketName();
        QVERIFY2(server.listen(name), qPrintable(server.errorString()));
        Client client(name);
        client.getPrompts();
        client.getBuildNumber();
        client.proxy->handlePromptWithPromptId("ID-1", "allow", "session", "/p/policy.yml",
                                               client.decision("handled"));
        client.connection->resume();
        client.proxy->dismissPromptWithPromptId("ID-2", client.decision("dismissed"));
        QTRY_COMPARE_WITH_TIMEOUT(client.all().size(), 4, 20000);

        client.proxy->handlePromptWithPromptId(
            "ID", "allow", "once", QString(kMaxFrameLength, u'p'), client.decision("handled"));
        server.apps().promptAddedWithPromptData(QByteArray(kMaxRecordLength + 1024, 'r'));
        QCOMPARE(refused.size(), 1);
        QVERIFY2(refused[0].startsWith("promptAdded not sent: a message of "),
                 qPrintable(refused[0]));
        server.apps().promptAddedWithPromptData("{\"id\":\"A\"}");
        server.apps().promptRemovedWithPromptId("A");
        server.apps().promptsClearedWithSessionId("S1");
        QTRY_COMPARE(client.all().size(), 8);
        QVERIFY(client.all().first() == "prompts " + agent.prompts);
        QCOMPARE(client.all().mid(1),
                 (QStringList{"build 4242", "handled true (none)", "dismissed false no such prompt",
                              "error The call is larger than one message to the agent can carry.",
                              "added {\"id\":\"A\"}", "removed A", "cleared S1"}));
        QCOMPARE(agent.calls, (QStringList{"getPrompts", "getBuildNumber",
                                           "handlePrompt ID-1 allow session /p/policy.yml",
                                           "dismissPrompt ID-2"}));
    }

    void noAgentEndsInInvalidationAndFailsEveryCall() {
        const QString name = uniqueSocketName();
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(client.all().count("invalidated"), 1);
        // A call after the end fails as the one before, with the reason;
        // invalidating an ended connection reports nothing more.
        client.getBuildNumber();
        client.connection->invalidate();
        QTRY_COMPARE(
            client.all()
                .filter("Could not reach the agent at " + name + ": no agent is listening there")
                .size(),
            2);
        QTest::qWait(20);
        QCOMPARE(client.all().size(), 3);
    }

    void pendingCallsFailWhenAConnectionEnds() {
        ScriptedAgent agent;
        agent.isHoldingAnswers = true;
        auto server = std::make_unique<LocalAgentServer>(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server->listen(name));
        Client kept(name);
        Client ended(name);
        for (Client* client : {&kept, &ended}) {
            client->connection->resume();
            client->getPrompts();
        }
        QTRY_COMPARE(agent.calls.size(), 2);

        // The app ends one: late answers and pushes reach only the other.
        ended.connection->invalidate();
        QTRY_COMPARE(ended.all(), (QStringList{"error The connection to the agent was invalidated.",
                                               "invalidated"}));
        QTRY_COMPARE(server->appCount(), 1);
        for (const auto& answer : std::as_const(agent.heldAnswers))
            answer();
        server->apps().promptRemovedWithPromptId("A");
        ended.getBuildNumber();
        QTRY_COMPARE(kept.all(), (QStringList{"prompts [{\"id\":\"x\"}]", "removed A"}));
        QTRY_COMPARE(ended.all().filter("error").size(), 2);

        // The agent goes away: the other is interrupted until invalidated.
        kept.getBuildNumber();
        QTRY_COMPARE(agent.calls.size(), 3);
        server.reset();
        QTRY_COMPARE(
            kept.all().mid(2),
            (QStringList{"error The connection to the agent was interrupted.", "interrupted"}));
        kept.getBuildNumber();
        QTRY_COMPARE(kept.all().filter("error").size(), 2);
        kept.connection->invalidate();
        QTRY_COMPARE(kept.all().count("invalidated"), 1);
        QTest::qWait(20);
        QCOMPARE(kept.all().size(), 6);
        QCOMPARE(ended.all().size(), 3);
    }

    // Every call is answered, even one made just as the app lets go of its
    // connection, before the call has reached the connection's thread.
    void everyCallFailsWhenTheConnectionGoes() {
        ScriptedAgent agent;
        agent.isHoldingAnswers = true;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        Client client(name);
        client.connection->resume();
        client.getPrompts();
        QTRY_COMPARE(agent.calls.size(), 1);

        client.getBuildNumber();
        client.proxy.reset();
        client.connection.reset();
        const QString error = "error The connection to the agent was invalidated.";
        QTRY_COMPARE(client.all(), (QStringList{error, error}));
        QTest::qWait(20);
        QCOMPARE(client.all().size(), 2);
    }

    void aMisbehavingAgent_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QStringList>("lines");
        const QStringList malformed = {"error The agent sent a malformed reply."};
        QTest::newRow("reply without data")
            << QByteArray(R"({"type":"reply","id":1})") << malformed;
        QTest::newRow("data not base64")
            << QByteArray(R"({"type":"reply","id":1,"data":"%%"})") << malformed;
        QTest::newRow("reply in parts")
            << QByteArray(R"({"type":"reply","id":1,"data":"W3si","more":true}|)"
                          R"({"type":"reply","id":1,"data":"aWQiOiJ5In1d"})")
            << QStringList{"prompts [{\"id\":\"y\"}]"};
        QTest::newRow("a part without data")
            << QByteArray(R"({"type":"reply","id":1,"more":true})") << malformed;
    }

    void aMisbehavingAgent() {
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, lines);
        QLocalServer raw;
        const QString name = uniqueSocketName();
        QVERIFY(raw.listen(name));
        QObject::connect(&raw, &QLocalServer::newConnection, &raw, [&] {
            QLocalSocket* app = raw.nextPendingConnection();
            QObject::connect(app, &QLocalSocket::readyRead, app, [app, reply] {
                app->readAll();
                // An answer to an unknown call comes first and is ignored.
                app->write(rawFrame(R"({"type":"reply","id":99,"data":""})"));
                for (const QByteArray& frame : reply.split('|'))
                    app->write(rawFrame(frame));
            });
        });
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        QTRY_COMPARE(client.all(), lines);
        // Still connected: a later call is answered or fails on its own.
        QTest::qWait(20);
        QVERIFY(!client.all().contains("interrupted"));
    }

    // An agent that breaks the framing or keeps a call waiting is spoken to
    // no further: one line says why (never what it sent), every pending call
    // fails with that, and the connection ends as an interrupted one.
    void aRogueAgentIsCutOff_data() {
        QTest::addColumn<QByteArray>("answer"); // to the first call
        QTest::addColumn<bool>("isOverdue");
        QTest::addColumn<QString>("log");
        QTest::addColumn<QStringList>("lines");

        const QString unreadable = "ZorAgent sent an unreadable frame, ending the connection: ";
        const QStringList cutOff = {"error The agent sent a message that could not be read.",
                                    "interrupted"};
        const QString noReply =
            "ZorAgent did not reply to getPrompts within 10 seconds, ending the connection";
        const QStringList timedOut = {"error The agent did not answer within 10 seconds.",
                                      "interrupted"};
        QByteArray overLimit(4, Qt::Uninitialized);
        qToBigEndian<quint32>(kMaxFrameLength + 1, overLimit.data());
        const QByteArray reply = rawFrame(R"({"type":"reply","id":1,"data":"W10="})");

        QTest::newRow("a length over the limit, then a reply")
            << overLimit + reply << false << unreadable + "frame length 16777217 out of range"
            << cutOff;
        QTest::newRow("0xFFFFFFFF and nothing more")
            << QByteArray(4, '\xff') << false << unreadable + "frame length 4294967295 out of range"
            << cutOff;
        QTest::newRow("a megabyte of text")
            << QByteArray("garbage ").repeated(128 * 1024) << false
            << unreadable + "frame length 1734439522 out of range" << cutOff;
        QTest::newRow("a frame that is not JSON")
            << rawFrame("not json at all") << false
            << unreadable +
                   "frame of 15 bytes is not JSON: Problem while parsing an atom starting with "
                   "the letter 'n'"
            << cutOff;
        QTest::newRow("a length without its frame")
            << QByteArray("\0\0\0\x10", 4) << true << noReply << timedOut;
        QTest::newRow("no answer") << QByteArray() << true << noReply << timedOut;
        QTest::newRow("the reply, then half a frame")
            << reply + QByteArray("\0\0\0\x10{", 5) << true
            << "ZorAgent left a frame unfinished for 10 seconds, ending the connection"
            << QStringList{"prompts []", "interrupted"};
    }

    void aRogueAgentIsCutOff() {
        QFETCH(QByteArray, answer);
        QFETCH(bool, isOverdue);
        QFETCH(QStringList, lines);
        LogCapture log;
        QLocalServer rogue;
        const QString name = uniqueSocketName();
        QVERIFY(rogue.listen(name));
        QPointer<QLocalSocket> app;
        bool hasCall = false;
        QObject::connect(&rogue, &QLocalServer::newConnection, &rogue, [&] {
            app = rogue.nextPendingConnection();
            QObject::connect(app, &QLocalSocket::readyRead, app, [&] {
                app->readAll();
                if (!std::exchange(hasCall, true))
                    app->write(answer);
            });
        });
        Client client(name);
        client.getPrompts();
        client.connection->resume();
        if (isOverdue) {
            QTRY_VERIFY(hasCall);
            QTRY_COMPARE(client.clock.pendingTimerCount(), 1);
            QTest::qWait(20);
            client.clock.advance(LocalAgentConnection::kReplyTimeout - 1ms);
            QTest::qWait(20);
            // Not a moment early: what came before the deadline stands.
            QCOMPARE(client.all(), lines.filter("prompts"));
            client.clock.advance(1ms);
        }
        QTRY_COMPARE(client.all(), lines);
        QTEST(log.messages().join(u'\n'), "log");
        // The agent sees the connection end.
        QTRY_VERIFY(!app || app->state() == QLocalSocket::UnconnectedState);
    }

    // An agent works through its calls in turn: a call waits its 10 seconds
    // from the reply to the one before, so a long queue (a group decision
    // over thousands of prompts) is no fault of a busy agent's. One that
    // answers later calls and keeps the oldest waiting is still cut off.
    void aBusyAgentHasItsTimeForEachCallInTurn() {
        LogCapture log;
        ScriptedAgent agent;
        agent.isHoldingAnswers = true;
        LocalAgentServer server(agent);
        const QString name = uniqueSocketName();
        QVERIFY(server.listen(name));
        Client client(name);
        client.connection->resume();
        constexpr int kQueued = 5;
        for (int i = 0; i < kQueued; ++i)
            client.proxy->dismissPromptWithPromptId(QString::number(i),
                                                    client.decision("dismissed"));
        QTRY_COMPARE(agent.calls.size(), kQueued);

        const auto waitThenAnswer = [&](Millis wait, int call) {
            QTRY_COMPARE(client.clock.pendingTimerCount(), 1);
            client.clock.advance(wait);
            QTRY_COMPARE(client.clock.pendingTimerCount(), 1);
            agent.heldAnswers[call]();
        };
        // 30 seconds for five calls, 6 for each.
        for (int i = 0; i < kQueued; ++i) {
            waitThenAnswer(6s, i);
            QTRY_COMPARE(client.all().size(), i + 1);
        }
        QCOMPARE(client.all(), QStringList(kQueued, "dismissed false no such prompt"));

        client.getPrompts();
        client.getBuildNumber();
        QTRY_COMPARE(agent.calls.size(), kQueued + 2);
        waitThenAnswer(6s, kQueued + 1);
        QTRY_COMPARE(client.all().size(), kQueued + 1);
        client.clock.advance(4s);
        QTRY_COMPARE(
            client.all().mid(kQueued + 1),
            (QStringList{"error The agent did not answer within 10 seconds.", "interrupted"}));
        QCOMPARE(log.messages().filter("did not reply"),
                 QStringList{"ZorAgent did not reply to getPrompts within 10 seconds, ending the "
                             "connection"});
    }

    // The whole way back: the app connects again with its back-off, and a
    // valid agent in the rogue's place syncs.
    void theLinkComesBackFromARogueAgent_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("0xFFFFFFFF")
            << QByteArray(4, '\xff')
            << QStringList{
                   "ZorAgent sent an unreadable frame, ending the connection: frame length "
                   "4294967295 out of range",
                   "ZorAgent proxy error: The agent sent a message that could not be read."};
        QTest::newRow("no answer")
            << QByteArray()
            << QStringList{
                   "ZorAgent did not reply to getPrompts within 10 seconds, ending the connection",
                   "ZorAgent proxy error: The agent did not answer within 10 seconds."};
    }

    void theLinkComesBackFromARogueAgent() {
        QFETCH(QByteArray, answer);
        QFETCH(QStringList, lines);
        const QString name = uniqueSocketName();
        qputenv("ZOR_AGENT_SOCKET", QFile::encodeName(name));
        const auto restore = qScopeGuard([] { qunsetenv("ZOR_AGENT_SOCKET"); });
        LogCapture log;
        VirtualClock clock;
        LocalAgentConnector connector(clock);
        AppState appState;
        NotificationHandler handler(connector, clock);
        handler.setAppState(&appState);

        auto rogue = std::make_unique<QLocalServer>();
        QVERIFY(rogue->listen(name));
        QObject::connect(rogue.get(), &QLocalServer::newConnection, rogue.get(), [&] {
            QLocalSocket* app = rogue->nextPendingConnection();
            QObject::connect(app, &QLocalSocket::readyRead, app, [app, answer] {
                app->readAll();
                app->write(answer);
            });
        });
        handler.connect();
        if (answer.isEmpty()) {
            // The reply's deadline, beside the bound on the wait for the first sync.
            QTRY_COMPARE(clock.pendingTimerCount(), 2);
            clock.advance(LocalAgentConnection::kReplyTimeout);
        }
        const QStringList dropped =
            QStringList{"Connected to ZorAgent"} + lines +
            QStringList{"ZorAgent connection interrupted, invalidating for clean reconnect",
                        "ZorAgent connection invalidated",
                        "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)"};
        QTRY_COMPARE(log.messages(LogCategory::notifications), dropped);

        rogue.reset();
        ScriptedAgent agent;
        agent.prompts = R"([{"id":"6513270E-269E-4D37-B2A7-4DE452E6B438","sessionId":"s",)"
                        R"("policyPath":"/p","denial":{"kind":"device","deviceClass":"USB"},)"
                        R"("sessionEnded":false,"createdAt":1}])";
        LocalAgentServer server(agent);
        QVERIFY(server.listen(name));
        log.clear();
        clock.advance(2s);
        QTRY_COMPARE(log.messages(LogCategory::notifications),
                     (QStringList{"Reconnecting to ZorAgent (attempt 2/10)",
                                  "Connected to ZorAgent", "Synced 1 prompts from ZorAgent"}));
        QCOMPARE(appState.promptStore()->prompts().size(), 1);
        QVERIFY(clock.now() <= 25s);
    }

    // The wire format is fixed by the document the agent is built from.
    void theDocumentedExchangeIsWhatTheServerSpeaks() {
        QFile doc(QFINDTESTDATA("../../docs/prompt-format.md"));
        QVERIFY(doc.open(QIODevice::ReadOnly));
        const QByteArray text = doc.readAll();
        const qsizetype from =
            text.indexOf("```json\n", text.indexOf("\n## On a local socket")) + 8;
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
        const auto readReply = [&] {
            decoder.append(app.readAll());
            return decoder.next();
        };
        std::optional<Decoded<Message>> reply;
        QTRY_VERIFY(reply || (reply = readReply()));
        QCOMPARE(agent.calls, QStringList{"handlePrompt 0B0C2F8E-39A5-4A43-9C1B-6A1E0D3F7C21 allow "
                                          "session /Users/ada/proj/.zor/policy.yml"});
        QVERIFY(reply->value() == decodeMessage(lines[1]).value());
    }

    void droppingTheLastReferenceInsideAHandlerIsSafe() {
        Client client(uniqueSocketName());
        std::weak_ptr<LocalAgentConnection> weak = client.connection;
        auto holder = std::make_shared<std::shared_ptr<LocalAgentConnection>>(client.connection);
        client.connection->setInvalidationHandler([holder, &client] {
            client.add("invalidated");
            holder->reset();
        });
        client.proxy.reset();
        client.connection->resume();
        client.connection.reset();
        QTRY_COMPARE(client.all(), QStringList{"invalidated"});
        QTRY_VERIFY(weak.expired());
    }
};

QTEST_GUILESS_MAIN(AgentTransportTest)
#include "tst_agent_transport.moc"
