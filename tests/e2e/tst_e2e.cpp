// The app as a user meets it: the real zor binary on a virtual X server, fed
// by zor-dev-agent over the local transport, driven by keys, on a session bus
// of the test's own.

#include "AtspiTree.h"
#include "ChildProcess.h"
#include "FakeNotificationServer.h"
#include "PrivateBus.h"

#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using zor::testing::activatableNames;
using zor::testing::appEnvironment;
using zor::testing::AtspiNode;
using zor::testing::AtspiReader;
using zor::testing::ChildProcess;
using zor::testing::FakeNotificationServer;
using zor::testing::LauncherEntryListener;
using zor::testing::runTool;

namespace {

// The newest two of the sample prompts: the store shows the agent's last record first.
const QString kFirstId = QStringLiteral("EC66A787-95E7-41D1-B731-AF10506BF2EF");
const QString kSecondId = QStringLiteral("C6F87718-6D76-407E-881E-D162AE2EB154");
const QString kSecondPolicy = QStringLiteral("/Users/alice/policies/strict.yaml");

// zor-dev-agent on the sample prompts and the app beside it, with a runtime
// directory of their own for the agent's socket and the app's one-instance
// lock. What they printed shows when the test fails.
struct Session {
    Session()
        : environment(appEnvironment(runtime.path(), "xcb")) {}
    ~Session() {
        if (QTest::currentTestFailed())
            qInfo("agent:\n%s\nthe app's last lines:\n%s", qPrintable(agent ? agent->out : ""),
                  qPrintable(app ? app->out.right(4000) : ""));
        app.reset();
        agent.reset();
        // Asked to end, the launcher ends the bus it started; killed, it leaves it behind.
        if (busLauncher) {
            busLauncher->process.terminate();
            busLauncher->process.waitForFinished(10000);
        }
    }

    // The accessibility bus, as a desktop with a screen reader starts it:
    // what the app shows can then be read from outside it.
    bool startAccessibilityBus() {
        busLauncher.emplace(qEnvironmentVariable("ZOR_ATSPI_BUS_LAUNCHER"),
                            QStringList{"--launch-immediately", "--a11y=1", "--screen-reader=1"},
                            environment);
        QString address;
        if (!QTest::qWaitFor(
                [&] {
                    return !(address = AtspiReader::busAddress(QDBusConnection::sessionBus()))
                                .isEmpty();
                },
                20000))
            return false;
        reader.emplace(QDBusConnection::connectToBus(address, "accessibility"));
        return true;
    }

    // Whether the app asks `question` in a dialog whose Cancel has the keys,
    // or comes to within a while.
    bool isAsking(const QString& question) {
        return QTest::qWaitFor(
            [&] {
                const std::optional<AtspiNode> root = reader->application(app->process.processId());
                if (!root)
                    return false;
                const std::optional<AtspiNode> focused = reader->focused(*root);
                return focused && focused->role == "push button" && focused->name == "Cancel" &&
                       reader->read(*root).find([&](const AtspiNode& node) {
                           return node.role == "dialog" && node.name == question;
                       });
            },
            20000);
    }

    // The window minimised, so that new prompts make notices.
    bool minimise() {
        runTool("xdotool", {"windowminimize", "--sync", window});
        return QTest::qWaitFor([this] { return windowState().contains("Iconic"); }, 20000) &&
               runTool("xdotool", {"getactivewindow"}) != window;
    }
    QString windowState() const { return runTool("xprop", {"-id", window, "WM_STATE"}); }

    // A new prompt from the agent: vim writing to a file of alice's.
    void addPrompt(const QString& id) {
        agent->process.write(
            QStringLiteral(
                "add {\"id\": \"%1\", \"sessionId\": \"e2e-1\", \"policyPath\": "
                "\"/home/alice/.zor/policy.yml\", \"denial\": {\"kind\": \"file\", \"path\": "
                "\"/home/alice/notes.txt\", \"operation\": \"write\", \"processName\": \"vim\"}, "
                "\"sessionEnded\": false, \"createdAt\": 1763800400.0}\n")
                .arg(id)
                .toUtf8());
    }

    // Starts both; the app's window, once it shows.
    bool start() {
        agent.emplace(ZOR_DEV_AGENT_PATH, QStringList{"--prompts", ZOR_SAMPLE_PROMPTS},
                      environment);
        if (!QTest::qWaitFor([&] { return agent->out.contains("listening on "); }, 20000))
            return false;
        app.emplace(ZOR_APP_PATH, QStringList{}, environment);
        window = runTool("xdotool", {"search", "--sync", "--onlyvisible", "--pid",
                                     QString::number(app->process.processId())})
                     .section(u'\n', 0, 0);
        return !window.isEmpty();
    }

    QTemporaryDir runtime;
    QProcessEnvironment environment;
    std::optional<ChildProcess> busLauncher;
    std::optional<AtspiReader> reader;
    std::optional<ChildProcess> agent;
    std::optional<ChildProcess> app;
    QString window;
};

} // namespace

class EndToEndTest : public QObject {
    Q_OBJECT

    // Minimises windows and tells which is active, as a desktop's does.
    std::unique_ptr<ChildProcess> windowManager;

private slots:
    void initTestCase() {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            QSKIP("needs an X display: ctest runs this under xvfb-run");
        // Only the test plays services on the bus: none installed here is started.
        QCOMPARE(activatableNames(QDBusConnection::sessionBus()),
                 QStringList{"org.freedesktop.DBus"});
        for (const char* tool : {"xdotool", "xprop", "openbox"})
            QVERIFY2(!QStandardPaths::findExecutable(tool).isEmpty(),
                     qPrintable(tool + QStringLiteral(
                                           " is missing; scripts/install-deps.sh installs it")));
        // openbox now and then fails to open a display that every other client
        // reaches; started again, it takes the screen.
        const auto isManaging = [] {
            return runTool("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id");
        };
        for (int attempt = 0; attempt < 10 && !isManaging(); ++attempt) {
            if (attempt > 0)
                QTest::qWait(300);
            windowManager = std::make_unique<ChildProcess>(
                "openbox", QStringList{"--sm-disable"}, QProcessEnvironment::systemEnvironment());
            const auto hasEnded = [&] {
                return windowManager->process.state() == QProcess::NotRunning;
            };
            if (!QTest::qWaitFor([&] { return isManaging() || hasEnded(); }, 20000))
                break;
        }
        QVERIFY2(isManaging(), qPrintable(windowManager ? windowManager->out : QString()));
    }

    void deleteAndAKeyboardDecisionReachTheAgent() {
        Session session;
        QVERIFY(session.start());
        const ChildProcess& agent = *session.agent;
        const ChildProcess& app = *session.app;
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("Synced 20 prompts from ZorAgent"), 20000);

        // The link shows the prompt highlighted in the focused list, as a
        // notification's click would.
        {
            ChildProcess link(ZOR_APP_PATH, {"zor://prompt/" + kFirstId.toLower()},
                              session.environment);
            QVERIFY(link.process.waitForFinished(10000));
        }
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("Navigating to prompt " + kFirstId), 20000);
        runTool("xdotool", {"windowfocus", "--sync", session.window});

        runTool("xdotool", {"key", "Delete"});
        QTRY_VERIFY_WITH_TIMEOUT(agent.out.contains("dismiss " + kFirstId), 20000);

        // The highlight moved on to the next prompt; deny it for good.
        runTool("xdotool", {"key", "ctrl+shift+d"});
        QTRY_VERIFY_WITH_TIMEOUT(
            agent.out.contains(
                QStringLiteral("decision %1 deny always %2").arg(kSecondId, kSecondPolicy)),
            20000);
        QTRY_VERIFY_WITH_TIMEOUT(
            app.out.contains("Removed prompt: network api.example.org") &&
                app.out.contains("Removed prompt: file /Users/alice/Documents/taxes.pdf"),
            20000);
        QVERIFY(app.out.contains("Override handled for file: /Users/alice/Documents/taxes.pdf"));
    }

    // A search narrows the list to what it finds; a session's prompts, found
    // by its id and selected together, are denied with one answer, each
    // through the agent.
    void aSearchAndAGroupDenyReachTheAgent() {
        Session session;
        QVERIFY(session.startAccessibilityBus());
        QVERIFY(session.start());
        const ChildProcess& agent = *session.agent;
        QTRY_VERIFY_WITH_TIMEOUT(session.app->out.contains("Synced 20 prompts from ZorAgent"),
                                 20000);
        runTool("xdotool", {"windowfocus", "--sync", session.window});

        // One prompt holds "curl": the first row, once the search is typed.
        runTool("xdotool", {"key", "ctrl+f"});
        runTool("xdotool", {"type", "--delay", "30", "curl"});
        runTool("xdotool", {"key", "Tab", "Down", "ctrl+shift+d"});
        QTRY_VERIFY_WITH_TIMEOUT(
            agent.out.contains("decision 9531985D-5D9D-49F8-9818-E811892F902B deny always"), 20000);

        // The four of session cli-build-3, found by its id.
        const QStringList sessionIds{
            "A170B338-3926-4059-B28C-105D1FB17C23", "0FD630F1-F29D-4DA9-953F-48F1A09F76B5",
            "0CB1E29C-658C-4A14-95E6-0AF593BD04CF", "8E81973E-0BEC-47B0-B898-D190F9EBDACC"};
        runTool("xdotool", {"key", "ctrl+f", "ctrl+a"});
        runTool("xdotool", {"type", "--delay", "30", "cli-build-3"});
        runTool("xdotool", {"key", "Tab", "Down", "shift+Down", "shift+Down", "shift+Down"});
        runTool("xdotool", {"key", "ctrl+shift+n"});
        // Asked first; Enter answers a deny.
        QVERIFY(session.isAsking("Deny 4 prompts for the session?"));
        QVERIFY(!agent.out.contains(sessionIds.first()));
        runTool("xdotool", {"key", "Return"});
        const QString policy = QStringLiteral("/Users/alice/src/cli-tool/.zor/policy.yml");
        for (const QString& id : sessionIds)
            QTRY_VERIFY_WITH_TIMEOUT(
                agent.out.contains(QStringLiteral("decision %1 deny session %2").arg(id, policy)),
                20000);
        QCOMPARE(agent.out.count("deny session"), 4);
        QTRY_VERIFY_WITH_TIMEOUT(session.app->out.contains("Group decision: Denied 4 prompts"),
                                 20000);
    }

    void ctrlQQuits() {
        Session session;
        QVERIFY(session.start());
        ChildProcess& app = *session.app;
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("Synced 20 prompts from ZorAgent"), 20000);
        runTool("xdotool", {"windowfocus", "--sync", session.window});
        runTool("xdotool", {"key", "ctrl+q"});
        QVERIFY(app.process.waitForFinished(20000));
        QCOMPARE(app.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.process.exitCode(), 0);
        QVERIFY(app.out.contains("Disconnected from ZorAgent"));
    }

    void aPromptWhileMinimisedIsNotifiedAndCounted() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY2(bus.isConnected(), "needs a session bus: ctest runs this under dbus-run-session");
        FakeNotificationServer server(bus, {"actions", "body"});
        QVERIFY(server.isRegistered);
        LauncherEntryListener dock(bus);
        QSignalSpy counts(&dock, &LauncherEntryListener::Update);
        const auto lastCount = [&counts] {
            return counts.isEmpty() ? -1 : counts.last().at(1).toMap().value("count").toLongLong();
        };

        Session session;
        QVERIFY(session.start());
        const ChildProcess& app = *session.app;
        // The sync's news, whichever way it went, and its count.
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("new prompts: 20") && lastCount() == 20, 20000);

        QVERIFY(session.minimise());

        const qsizetype before = server.notices.size();
        const QString id = QStringLiteral("3F2B8C1E-7A44-4C1D-9E55-2B7D0C6A9F10");
        session.addPrompt(id);
        QTRY_VERIFY_WITH_TIMEOUT(server.notices.size() > before && lastCount() == 21, 20000);
        const FakeNotificationServer::Notice notice = server.notices.last();
        QCOMPARE(notice.summary, "Write File");
        QCOMPARE(notice.body, "/home/alice/notes.txt");
        // The dock hears of the app by its desktop entry, and is told to hide a count of none.
        QCOMPARE(counts.first().at(1).toMap().value("count"), QVariant(qint64(0)));
        for (const QList<QVariant>& update : std::as_const(counts)) {
            QCOMPARE(update.at(0).toString(), "application://com.zorlabs.zor.desktop");
            const QVariantMap properties = update.at(1).toMap();
            QCOMPARE(properties.value("count-visible"), properties.value("count").toLongLong() > 0);
        }

        // Its click lands on the prompt, in the window brought back.
        server.invoke(notice.id);
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("Navigating to prompt " + id), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(session.windowState().contains("Normal"), 20000);
        // One prompt, one notice.
        QCOMPARE(server.notices.size(), before + 1);
    }

    // The notice's Deny denies its prompt for the session, through the agent.
    void aNoticesDenyReachesTheAgent() {
        FakeNotificationServer server(QDBusConnection::sessionBus(), {"actions", "body"});
        QVERIFY(server.isRegistered);
        Session session;
        QVERIFY(session.start());
        const ChildProcess& app = *session.app;
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("new prompts: 20"), 20000);
        QVERIFY(session.minimise());

        const qsizetype before = server.notices.size();
        const QString id = QStringLiteral("8D1E5A3C-2F6B-4E7A-9C0D-1B2A3C4D5E6F");
        session.addPrompt(id);
        QTRY_VERIFY_WITH_TIMEOUT(server.notices.size() > before, 20000);
        const FakeNotificationServer::Notice notice = server.notices.last();
        QCOMPARE(notice.actions, (QStringList{"default", "Open", "deny", "Deny", "show", "Show"}));

        server.invoke(notice.id, QStringLiteral("deny"));
        QTRY_VERIFY_WITH_TIMEOUT(
            session.agent->out.contains(
                QStringLiteral("decision %1 deny session /home/alice/.zor/policy.yml").arg(id)),
            20000);
        // The app logs the line once the decision is on its way: the agent's
        // may be read first.
        QTRY_VERIFY_WITH_TIMEOUT(
            app.out.contains("Denying prompt " + id + " for the session from its notification"),
            20000);
        QTRY_VERIFY_WITH_TIMEOUT(app.out.contains("Removed prompt: file /home/alice/notes.txt"),
                                 20000);
        // Denied without a look: the window stays down.
        QVERIFY(session.windowState().contains("Iconic"));
    }
};

QTEST_GUILESS_MAIN(EndToEndTest)
#include "tst_e2e.moc"
