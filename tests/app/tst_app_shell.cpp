#include "FakeAgentConnection.h"
#include "LogCapture.h"
#include "SetupScene.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "app/AppDelegate.h"
#include "app/UrlDeliveryFilter.h"
#include "app/UrlReceiver.h"
#include "platform/AppActivation.h"
#include "platform/local/LocalSingleInstance.h"
#include "prompts/AppState.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptUrl.h"
#include "shared/SerializablePromptItem.h"
#include "window/MainWindow.h"
#include "window/WindowManager.h"

#include <QDesktopServices>
#include <QFileOpenEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

const QString kIdA = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");
const QString kIdB = QStringLiteral("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");
const QString kIdC = QStringLiteral("9531985d-5d9d-49f8-9818-e811892f902b");

QString promptLink(const QString& id) {
    return QStringLiteral("zor://prompt/") + id;
}

class FakeActivation final : public AppActivation {
public:
    void activateIgnoringOtherApps() override { ++count; }
    int count = 0;
};

// The app delegate on fakes: the agent link on a fake queue, the setup screen
// on a scene that starts healthy.
struct Shell {
    VirtualClock clock;
    FakeQueue queue;
    FakeAgentConnector connector{queue};
    NotificationHandler handler{connector, clock};
    FakeActivation activation;
    FakeClipboard clipboard;
    SetupScene scene;
    AppDelegate delegate{{handler, activation, [this](AppState& state) {
                              return std::make_unique<MainWindow>(
                                  state, MainWindowServices{.serviceMonitor = *scene.monitor,
                                                            .serviceRepairs = *scene.repairs,
                                                            .notificationHandler = handler,
                                                            .clipboard = clipboard,
                                                            .workspace = scene.workspace});
                          }}};

    AppState& state() { return *delegate.appState(); }
    PromptStore& store() { return *state().promptStore(); }
    QQuickWindow* window() { return delegate.mainWindow()->window(); }

    // Launched, with the first sync answered: links go to their prompts at once.
    [[nodiscard]] bool launchSynced() {
        QSignalSpy synced(&handler, &NotificationHandler::promptsSynced);
        delegate.applicationDidFinishLaunching();
        connector.connections.last()->replyToPrompts("[]");
        queue.drain();
        return synced.wait(5000) || !synced.isEmpty();
    }

    void addPrompt(const QString& id, const QString& session) {
        store().addPrompt(QUuid::fromString(id), session, "/p/.zor/policy.yml",
                          FileDenial{"/tmp/" + id, "write", "vim"}, false);
    }
};

} // namespace

// The windowed app's shell: its delegate, its window and the links it answers.
class AppShellTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // As in the app: closing the window must not end the run.
        QGuiApplication::setQuitOnLastWindowClosed(false);
    }

    void promptLinks_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("id"); // empty when the link is ignored

        QTest::newRow("standard") << promptLink(kIdA) << kIdA;
        QTest::newRow("further components") << promptLink(kIdA) + "/rule/2" << kIdA;
        QTest::newRow("query and fragment") << promptLink(kIdA) + "?from=cli#top" << kIdA;
        QTest::newRow("braces") << "zor://prompt/{" + kIdA + "}"
                                << "";
        QTest::newRow("host run into the id") << "zor://prompt" + kIdA << "";
        QTest::newRow("root only") << "zor://prompt/"
                                   << "";
        QTest::newRow("other host") << "zor://prompts/" + kIdA << "";
        QTest::newRow("no authority") << "zor:prompt/" + kIdA << "";
        QTest::newRow("user info") << "zor://me@prompt/" + kIdA << "";
        QTest::newRow("escaped digit") << "zor://prompt/%36" + kIdA.mid(1) << "";
        QTest::newRow("escaped slash") << "zor://prompt%2F" + kIdA << "";
        QTest::newRow("control beyond ASCII")
            << promptLink(kIdA) + QStringLiteral("/a\u0089b") << "";
        QTest::newRow("space beyond ASCII") << promptLink(kIdA) + QStringLiteral("/a\u2028b") << "";
        QTest::newRow("too long") << promptLink(kIdA) + "/" + QString(kMaxUrlLength, u'a') << "";
    }

    void promptLinks() {
        QFETCH(QString, url);
        QFETCH(QString, id);
        const std::optional<QUuid> parsed = promptIdFromUrl(url);
        QCOMPARE(parsed ? parsed->toString(QUuid::WithoutBraces) : QString(), id);
    }

    void linksNavigateAndActivate_data() {
        QTest::addColumn<QStringList>("urls");
        QTest::addColumn<QString>("highlighted"); // empty when nothing is
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<int>("activations");

        const QString known = "Navigating to prompt " + kIdA.toUpper();
        QTest::newRow("unknown prompt")
            << QStringList{promptLink(kIdB)} << ""
            << QStringList{"No prompt found for " + kIdB.toUpper() + ", switching to Prompts tab"}
            << 1;
        QTest::newRow("the last link decides")
            << QStringList{promptLink(kIdA), "zor://prompt/", promptLink(kIdC)} << kIdC
            << QStringList{known, "Navigating to prompt " + kIdC.toUpper()} << 2;
        const QString tooLong = promptLink(kIdA) + "/" + QString(kMaxUrlLength, u'a');
        QTest::newRow("too long, said without its text")
            << QStringList{tooLong} << ""
            << QStringList{QStringLiteral("Ignored a link of %1 characters, over the limit of 2048")
                               .arg(tooLong.size())}
            << 0;
        QTest::newRow("none accepted")
            << QStringList{"zor://Prompt/" + kIdA, "ZOR://prompt/" + kIdA, "zor://prompt/x", ""}
            << "" << QStringList{} << 0;
    }

    void linksNavigateAndActivate() {
        QFETCH(QStringList, urls);
        QFETCH(QString, highlighted);
        QFETCH(int, activations);

        Shell shell;
        QVERIFY(shell.launchSynced());
        shell.addPrompt(kIdA, "s1");
        shell.addPrompt(kIdC, "s2");
        shell.store().setFilter(PromptFilter::session("s1"));
        shell.state().setSelectedTab(AppTab::sessions);
        LogCapture capture;
        shell.delegate.openUrls(urls);

        const bool isAccepted = activations > 0;
        QCOMPARE(shell.activation.count, activations);
        QTEST(capture.messages(LogCategory::app), "log");
        // The ids come from outside: kept out of the redacted log.
        for (const LogRecord& record : capture.records())
            QVERIFY2(!record.redactedMessage().contains(kIdA.toUpper()) &&
                         !record.redactedMessage().contains(kIdB.toUpper()) &&
                         !record.redactedMessage().contains(kIdC.toUpper()),
                     qPrintable(record.redactedMessage()));
        QCOMPARE(shell.store().filter(),
                 isAccepted ? PromptFilter::all() : PromptFilter::session("s1"));
        QCOMPARE(shell.state().selectedTab(), isAccepted ? AppTab::policies : AppTab::sessions);
        const auto expected =
            highlighted.isEmpty() ? std::optional<QUuid>() : QUuid::fromString(highlighted);
        QCOMPARE(shell.store().highlightedPromptId(), expected);
    }

    void bothWaysInNavigateOnce() {
        Shell shell;
        QVERIFY(shell.launchSynced());
        UrlReceiver receiver(shell.delegate, shell.clock);
        const int& navigations = shell.activation.count;
        QFileOpenEvent event{QUrl(promptLink(kIdA))};
        const auto openByEvent = [&] {
            QCoreApplication::sendEvent(QCoreApplication::instance(), &event);
        };
        QVERIFY(QDesktopServices::openUrl(QUrl(promptLink(kIdA))));
        QCOMPARE(navigations, 1);
        // The same opening, delivered the other way too.
        openByEvent();
        QCOMPARE(navigations, 1);
        // Opened once more; then, once its twin could no longer come, the other way.
        openByEvent();
        QCOMPARE(navigations, 2);
        shell.clock.advance(UrlDeliveryFilter::kPairingWindow + Millis(1));
        QVERIFY(QDesktopServices::openUrl(QUrl(promptLink(kIdA))));
        QCOMPARE(navigations, 3);
        // Twice the same way is twice opened: only the other way pairs.
        shell.clock.advance(UrlDeliveryFilter::kPairingWindow + Millis(1));
        openByEvent();
        openByEvent();
        QCOMPARE(navigations, 5);
    }

    void launchShowsOneWindowThatComesBack() {
        LogCapture capture;
        Shell shell;
        shell.delegate.applicationDidFinishLaunching();
        QCOMPARE(shell.handler.appState(), &shell.state());
        // The link is started before the window exists.
        QStringList lines;
        for (const LogRecord& record : capture.records())
            if (record.category == LogCategory::app ||
                record.category == LogCategory::notifications)
                lines.append(record.message());
        QCOMPARE(lines, (QStringList{"Connected to ZorAgent",
                                     "Zor.app launched, connecting to ZorAgent"}));
        MainWindow* mainWindow = shell.delegate.mainWindow();
        QCOMPARE(WindowManager::shared().mainWindow(), mainWindow);
        QQuickWindow* window = shell.window();
        QVERIFY(window->isVisible());

        // Closed, then reopened from the Dock; minimised, then reopened.
        window->close();
        QVERIFY(!window->isVisible());
        QVERIFY(shell.delegate.applicationShouldHandleReopen(false));
        QVERIFY(window->isVisible());
        window->showMinimized();
        QVERIFY(shell.delegate.applicationShouldHandleReopen(false));
        QVERIFY(!(window->windowStates() & Qt::WindowMinimized));
        // Minimised while maximised, as a window manager reports it, or closed
        // while maximised: only the minimising or the closing is undone.
        window->setWindowStates(Qt::WindowMaximized | Qt::WindowMinimized);
        QVERIFY(shell.delegate.applicationShouldHandleReopen(false));
        QCOMPARE(window->windowStates(), Qt::WindowMaximized);
        window->close();
        QVERIFY(shell.delegate.applicationShouldHandleReopen(false));
        QVERIFY(window->isVisible());
        QCOMPARE(window->windowStates(), Qt::WindowMaximized);
        window->showNormal();
        QCOMPARE(shell.activation.count, 4);
        QVERIFY(shell.delegate.applicationShouldHandleReopen(true));
        QCOMPARE(shell.activation.count, 4);

        // Started again without links: the window is asked for. With links
        // none of which the app takes, as a web page may give: nothing.
        for (const QStringList& arguments : {QStringList{}, QStringList{"--verbose"}}) {
            window->close();
            shell.delegate.handleLaterStart(arguments);
            QVERIFY(window->isVisible());
        }
        for (const QStringList& arguments :
             {QStringList{"--verbose", "zor://prompt/not-an-id"}, QStringList{"zor://other/x"},
              QStringList{"ZOR:"}, QStringList{"https://example.org/"}}) {
            window->close();
            shell.delegate.handleLaterStart(arguments);
            QVERIFY2(!window->isVisible(), qPrintable(arguments.join(u' ')));
        }
        // A link, from a later start or from the system, brings the window
        // back as the Dock does: the app's activation alone leaves it closed
        // or minimised.
        window->close();
        shell.delegate.handleLaterStart({promptLink(kIdB)});
        QVERIFY(window->isVisible());
        window->showMinimized();
        shell.delegate.openUrls({promptLink(kIdB)});
        QVERIFY(!(window->windowStates() & Qt::WindowMinimized));
        QCOMPARE(shell.delegate.mainWindow(), mainWindow);

        const auto connection = shell.connector.connections.last();
        shell.delegate.applicationWillTerminate();
        shell.delegate.applicationWillTerminate();
        shell.queue.drain();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(connection->invalidateCount(), 1);
        QCOMPARE(shell.clock.pendingTimerCount(), 0);
    }

    // Quitting while the agent is away: the reconnect it waits for does not
    // come while the process ends, whatever the loop still runs meanwhile.
    void quittingStopsAWaitingReconnect() {
        Shell shell;
        shell.connector.isAgentAbsent = true;
        shell.delegate.applicationDidFinishLaunching();
        shell.queue.drain();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(shell.handler.reconnectAttempt(), 1);
        const qsizetype connections = shell.connector.connections.size();
        shell.delegate.applicationWillTerminate();
        shell.clock.advance(std::chrono::minutes(2));
        shell.queue.drain();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(shell.connector.connections.size(), connections);
        QCOMPARE(shell.clock.pendingTimerCount(), 0);
    }

    // The link breaks as the user quits: the reconnect its end asked for,
    // still on its way to the main thread, does not come either.
    void quittingStopsAReconnectOnItsWay() {
        Shell shell;
        QVERIFY(shell.launchSynced());
        const qsizetype connections = shell.connector.connections.size();
        shell.connector.connections.last()->interrupt();
        shell.queue.drain();
        shell.delegate.applicationWillTerminate();
        QCoreApplication::sendPostedEvents();
        shell.clock.advance(std::chrono::minutes(2));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(shell.connector.connections.size(), connections);
        QCOMPARE(shell.clock.pendingTimerCount(), 0);
    }

    // A link that starts the app waits for the launch sync, or for the
    // sync or the connection to fail, then lands on its prompt. Followed, it
    // is the initial choice of tab: an unhealthy first report does not move away.
    void aLinkAtLaunchWaitsForTheSync_data() {
        QTest::addColumn<QString>("agent");
        QTest::addColumn<bool>("isBeforeLaunch");
        QTest::addColumn<QString>("line");
        const QString notFound =
            "No prompt found for " + kIdA.toUpper() + ", switching to Prompts tab";
        const QString found = "Navigating to prompt " + kIdA.toUpper();
        QTest::newRow("synced") << "answers" << false << found;
        // The system may hand over the link that starts the app before the
        // app has finished launching.
        QTest::newRow("synced, the link before launch") << "answers" << true << found;
        QTest::newRow("no agent") << "absent" << false << notFound;
        // The connection stays, but this sync's answer never comes.
        QTest::newRow("sync call failed") << "fails the sync" << false << notFound;
        QTest::newRow("no answer") << "never answers" << false << notFound;
    }
    void aLinkAtLaunchWaitsForTheSync() {
        QFETCH(QString, agent);
        QFETCH(bool, isBeforeLaunch);
        QFETCH(QString, line);
        LogCapture capture;
        Shell shell;
        shell.connector.isAgentAbsent = agent == u"absent";
        if (isBeforeLaunch)
            shell.delegate.openUrls({promptLink(kIdA)});
        shell.delegate.applicationDidFinishLaunching();
        if (!isBeforeLaunch)
            shell.delegate.openUrls({promptLink(kIdA)});
        QCOMPARE(shell.store().highlightedPromptId(), std::nullopt);
        QVERIFY(!capture.messages(LogCategory::app).contains(line));

        QSignalSpy synced(&shell.handler, &NotificationHandler::promptsSynced);
        if (agent == u"fails the sync")
            shell.connector.connections.last()->failCall("getPrompts",
                                                         "The agent sent a malformed reply.");
        if (agent == u"never answers") {
            shell.queue.drain();
            QCoreApplication::sendPostedEvents();
            shell.clock.advance(NotificationHandler::kSyncWaitLimit - Millis(1));
            QVERIFY(!capture.messages(LogCategory::app).contains(line));
            shell.clock.advance(Millis(1));
        } else {
            shell.connector.connections.last()->replyToPrompts(
                "[" +
                SerializablePromptItem{kIdA, "s1", "/p/.zor/policy.yml",
                                       FileDenial{"/a", "read", {}}}
                    .toJson() +
                "]");
        }
        shell.queue.drain();
        QTRY_VERIFY(capture.messages(LogCategory::app).contains(line));
        const bool isSynced = agent == u"answers";
        QCOMPARE(synced.size(), isSynced ? 1 : 0);
        QCOMPARE(shell.store().highlightedPromptId(),
                 isSynced ? std::optional(QUuid::fromString(kIdA)) : std::nullopt);
        shell.state().pickInitialTab(false);
        QCOMPARE(shell.state().selectedTab(), AppTab::policies);
        // Later links go at once.
        shell.addPrompt(kIdC, "s2");
        shell.delegate.openUrls({promptLink(kIdC)});
        QCOMPARE(capture.lines().last(), "app info: Navigating to prompt " + kIdC.toUpper());
        QCOMPARE(shell.store().highlightedPromptId(), QUuid::fromString(kIdC));
    }

    // An unhealthy first report picks setup: see the window's test.
    void onlyTheFirstReportPicksTheTab() {
        Shell shell;
        shell.delegate.applicationDidFinishLaunching();
        // The setup screen checks from launch, even while another tab shows.
        QTRY_VERIFY(shell.state().hasPickedInitialTab());
        QVERIFY(shell.scene.settle());
        QCOMPARE(shell.state().selectedTab(), AppTab::policies);

        // The user moves on; a later, unhealthy report leaves the tab alone.
        shell.state().setSelectedTab(AppTab::sessions);
        shell.scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        shell.scene.monitor->refresh();
        QVERIFY(shell.scene.settle());
        QVERIFY(!shell.scene.monitor->isNothingToRepair());
        QCOMPARE(shell.state().selectedTab(), AppTab::sessions);
    }

    // A first check can take many seconds (an extension that does not answer
    // waits for a second ping); a tab the user picks meanwhile stays, as a
    // tab a link picks does.
    void aTabTheUserPicksBeforeTheFirstReportStays_data() {
        QTest::addColumn<QString>("how");
        QTest::newRow("its button") << "sessionsTab";
        QTest::newRow("a row's menu") << "row menu";
    }

    void aTabTheUserPicksBeforeTheFirstReportStays() {
        QFETCH(QString, how);
        Shell shell;
        shell.scene.makeAllHealthy();
        {
            QMutexLocker lock(&shell.scene.daemonConnection.mutex);
            shell.scene.daemonConnection.pingAnswer = false;
        }
        shell.addPrompt(kIdA, "s1");
        shell.delegate.applicationDidFinishLaunching();
        const auto pingCalls = [&shell] {
            QMutexLocker lock(&shell.scene.daemonConnection.mutex);
            return shell.scene.daemonConnection.pingCalls;
        };
        QTRY_VERIFY(pingCalls() > 0); // the check now waits 4 s for its second ping
        QVERIFY(!shell.state().hasPickedInitialTab());

        if (how == u"row menu") {
            PromptRowMenu menu(shell.state(), shell.clipboard);
            menu.openFor("/p/.zor/policy.yml", "s1");
            menu.viewSessionNotifications();
        } else {
            QVERIFY(QTest::qWaitForWindowExposed(shell.window()));
            const auto* button = shell.window()->findChild<QQuickItem*>(how);
            QVERIFY(button);
            QTest::mouseClick(shell.window(), Qt::LeftButton, {},
                              button->mapToScene(button->boundingRect().center()).toPoint());
        }
        QCOMPARE(shell.state().selectedTab(), AppTab::sessions);
        shell.scene.runFor(Millis(10000));
        QVERIFY(shell.scene.settle());
        QVERIFY(shell.state().hasPickedInitialTab());
        QCOMPARE(shell.state().selectedTab(), AppTab::sessions);
    }

    // Where no service is supported the screen has nothing to repair, so the
    // app opens on its prompts; one piece that could be repaired picks setup.
    void initialTabWithoutTheServices_data() {
        QTest::addColumn<bool>("hasScripts"); // the link can be made
        QTest::addColumn<AppTab>("tab");
        QTest::newRow("nothing supported") << false << AppTab::policies;
        QTest::newRow("a link to make") << true << AppTab::setup;
    }

    void initialTabWithoutTheServices() {
        QFETCH(bool, hasScripts);
        Shell shell;
        shell.scene.makeUnsupported();
        shell.scene.scripts.isAvailable = hasScripts;
        shell.delegate.applicationDidFinishLaunching();
        QTRY_VERIFY(shell.state().hasPickedInitialTab());
        QTEST(shell.state().selectedTab(), "tab");
    }

    void laterStartMessagesAreChecked_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("state"); // StartMessage::State
        QTest::addColumn<QStringList>("arguments");

        using State = local::StartMessage::State;
        const QByteArray link = promptLink(kIdA).toUtf8();
        QTest::newRow("no arguments") << QByteArray("\n") << int(State::complete) << QStringList{};
        QTest::newRow("two") << local::encodeStartMessage({promptLink(kIdA), "x\ny", "-v"})
                             << int(State::complete) << QStringList{promptLink(kIdA), "-v"};
        QTest::newRow("unfinished") << link + "\n" << int(State::incomplete) << QStringList{};
        QTest::newRow("more after the end")
            << link + "\n\nextra" << int(State::broken) << QStringList{};
        QTest::newRow("not UTF-8")
            << QByteArray("\xff\xfe\n\n") << int(State::broken) << QStringList{};
        QTest::newRow("control character")
            << QByteArray("a\x1b[2J\n\n") << int(State::broken) << QStringList{};
        QTest::newRow("too many") << QByteArray("a\n").repeated(local::kMaxStartArguments + 1) +
                                         "\n"
                                  << int(State::broken) << QStringList{};
        QTest::newRow("endless") << QByteArray(local::kMaxStartMessageBytes, 'a')
                                 << int(State::broken) << QStringList{};
    }

    void laterStartMessagesAreChecked() {
        QFETCH(QByteArray, bytes);
        const local::StartMessage message = local::parseStartMessage(bytes);
        QTEST(int(message.state), "state");
        QTEST(message.arguments, "arguments");
    }
};

QTEST_MAIN(AppShellTest)
#include "tst_app_shell.moc"
