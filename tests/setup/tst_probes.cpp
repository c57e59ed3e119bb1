#include "FakePlatform.h"
#include "LogCapture.h"
#include "SetupScene.h"
#include "SetupTests.h"
#include "VirtualClock.h"
#include "platform/MainThread.h"
#include "setup/AgentProbe.h"
#include "setup/CliLinkProbe.h"
#include "setup/CompletionAwaiter.h"
#include "setup/DaemonProbe.h"
#include "setup/FilterConfiguration.h"
#include "setup/NetworkExtensionProbe.h"
#include "setup/SystemExtensionDelegate.h"
#include "shared/BuildNumber.h"
#include "shared/Identifiers.h"

#include <QFile>
#include <QTest>
#include <QThreadPool>
#include <thread>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

// A bare coroutine whose frame the test owns, so that one left suspended on
// purpose is still freed.
struct OwnedCoroutine {
    struct Destroy {
        void operator()(void* frame) const {
            std::coroutine_handle<>::from_address(frame).destroy();
        }
    };
    struct promise_type {
        OwnedCoroutine get_return_object() {
            return {std::unique_ptr<void, Destroy>(
                std::coroutine_handle<promise_type>::from_promise(*this).address())};
        }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_always final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
    std::unique_ptr<void, Destroy> frame;
};

// Keeps each value reported, with whether it arrived on the main thread.
using Received = QList<std::pair<int, bool>>;

OwnedCoroutine awaitInto(QObject* context, std::function<void(std::function<void(int)>)> start,
                         Received& received) {
    const int value = co_await awaitCompletion<int>(context, std::move(start));
    received.append({value, isMainThread()});
}

} // namespace

class ProbeTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QThreadPool::globalInstance()->waitForDone(); }

    void daemonProbe_data() {
        QTest::addColumn<std::optional<qint32>>("code"); // none: no answer
        QTest::addColumn<bool>("hasServiceManager");     // which awaits approval of the daemon
        QTest::addColumn<DaemonStatus>("status");
        QTest::addColumn<QString>("line"); // empty: nothing logged

        using D = DaemonStatus;
        const QString prefix = "unexpected ES client result: ";
        const auto code = [](qint32 value) { return std::optional(value); };
        const std::optional<qint32> none;
        QTest::newRow("1") << code(1) << true << D::esInvalidArgument
                           << prefix + "ES_NEW_CLIENT_RESULT_ERR_INVALID_ARGUMENT";
        QTest::newRow("2") << code(2) << true << D::esInternalError
                           << prefix + "ES_NEW_CLIENT_RESULT_ERR_INTERNAL";
        QTest::newRow("3") << code(3) << true << D::esNotEntitled
                           << prefix + "ES_NEW_CLIENT_RESULT_ERR_NOT_ENTITLED";
        QTest::newRow("4") << code(4) << true << D::needAuthForFullDiskAccess
                           << "Zor does not yet have full disk access "
                              "(ES_NEW_CLIENT_RESULT_ERR_NOT_PERMITTED)";
        QTest::newRow("5") << code(5) << true << D::esNotPrivileged
                           << prefix + "ES_NEW_CLIENT_RESULT_ERR_NOT_PRIVILEGED";
        QTest::newRow("6") << code(6) << true << D::esTooManyClients
                           << prefix + "ES_NEW_CLIENT_RESULT_ERR_TOO_MANY_CLIENTS";
        QTest::newRow("7") << code(7) << true << D::cannotConnect << prefix + "7";
        QTest::newRow("-1") << code(-1) << true << D::cannotConnect << prefix + "-1";
        QTest::newRow("no answer") << none << true << D::needAuthForDaemonService << QString();
        QTest::newRow("no answer, no service manager")
            << none << false << D::unsupported << QString();
        // Where it answers, a daemon is what it says, service manager or not.
        QTest::newRow("0 without a service manager") << code(0) << false << D::ok << QString();
    }

    void daemonProbe() {
        QFETCH(std::optional<qint32>, code);
        QFETCH(QString, line);
        FakeDaemonConnection connection;
        if (code)
            connection.status = DaemonStatusRecord{*code, QStringLiteral("1.0"), zorBuildNumber()};
        FakeServiceManagement services;
        services.daemonStatus = ServiceStatus::requiresApproval;
        QFETCH(bool, hasServiceManager);
        services.isAvailable = hasServiceManager;
        LogCapture log;

        QTEST(checkDaemon(connection, services), "status");
        QCOMPARE(log.lines(), line.isEmpty() ? QStringList() : QStringList{"setup error: " + line});
        if (!line.isEmpty())
            QCOMPARE(log.records()[0].redactedMessage(), line); // the code is public
        // Only a daemon that does not answer is looked up, where it can be.
        const bool isLookedUp = !code && hasServiceManager;
        QCOMPARE(services.operations(), isLookedUp ? QStringList{"daemon.status"} : QStringList());
        if (isLookedUp)
            QCOMPARE(services.calls().first().plistName, QString::fromLatin1(kDaemonPlistName));
    }

    // An agent is what it answers; one that does not is unsupported only where
    // no service manager could register it.
    void agentProbe_data() {
        QTest::addColumn<std::optional<QString>>("build");
        QTest::addColumn<bool>("hasServiceManager");
        QTest::addColumn<AgentStatus>("status");
        const std::optional<QString> none;
        QTest::newRow("no answer") << none << true << AgentStatus::cannotConnect;
        QTest::newRow("no answer, no service manager") << none << false << AgentStatus::unsupported;
        QTest::newRow("running without a service manager")
            << std::optional(zorBuildNumber()) << false << AgentStatus::ok;
        QTest::newRow("newer") << std::optional(zorBuildNumber() + "1") << false
                               << AgentStatus::staleVersion;
    }

    void agentProbe() {
        QFETCH(std::optional<QString>, build);
        QFETCH(bool, hasServiceManager);
        FakeServiceManagement services;
        services.isAvailable = hasServiceManager;
        QTEST(checkAgent([&] { return build; }, services), "status");
    }

    void linkProbe_data() {
        QTest::addColumn<QString>("destination"); // of the link; none: a regular file instead
        QTest::addColumn<bool>("hasScripts");     // that could put the link right
        QTest::addColumn<CLISymlinkStatus>("status");
        QTest::newRow("regular file") << QString() << true << CLISymlinkStatus::notASymlink;
        QTest::newRow("dangling link") << "gone" << true << CLISymlinkStatus::missing;
        // From the link's directory, this does lead to the tool.
        QTest::newRow("relative link to the tool")
            << "../Zor.app/Contents/MacOS/zor-cli" << true << CLISymlinkStatus::wrongTarget;
        QTest::newRow("dangling link, no scripts")
            << "gone" << false << CLISymlinkStatus::unsupported;
        QTest::newRow("right link, no scripts") << "target" << false << CLISymlinkStatus::ok;
    }

    void linkProbe() {
        QFETCH(QString, destination);
        QFETCH(bool, hasScripts);
        SetupScene scene;
        const CliLinkPaths& paths = scene.linkPaths;
        scene.removeLink();
        if (destination.isEmpty())
            QVERIFY(QFile::copy(paths.linkTarget, paths.linkPath));
        else
            scene.link(destination == "target" ? paths.linkTarget : destination);
        scene.scripts.isAvailable = hasScripts;
        QTEST(checkCLISymlink(paths, scene.scripts), "status");
    }

    void completionResumesOnTheMainThreadOnceAndOnlyWhileItsContextLives() {
        auto context = std::make_unique<QObject>();
        Received received;
        std::thread reporter;
        const OwnedCoroutine flow = awaitInto(
            context.get(),
            [&](std::function<void(int)> done) {
                reporter = std::thread([done] {
                    done(1);
                    done(2); // dropped
                });
            },
            received);
        reporter.join();
        QTRY_COMPARE(received, (Received{{1, true}}));

        std::function<void(int)> report;
        const OwnedCoroutine orphan = awaitInto(
            context.get(), [&](std::function<void(int)> done) { report = done; }, received);
        context.reset();
        report(3);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(received.size(), 1);
    }

    void enableFilter_data() {
        QTest::addColumn<QString>("before"); // "on", "off", "none" (no configuration), "unreadable"
        QTest::addColumn<QList<bool>>("saveFails");
        QTest::addColumn<QList<bool>>("saved");
        QTest::addColumn<QStringList>("lines");

        const QList<bool> none;
        const QStringList enabled{"setup info: Network filter enabled successfully"};
        const QString cycling =
            "setup info: Filter already enabled, cycling to force startFilter()";
        QTest::newRow("disabled: saved once") << "off" << none << QList{true} << enabled;
        QTest::newRow("enabled: saved off, then on")
            << "on" << none << QList{false, true}
            << QStringList{cycling, "setup info: Network filter re-enabled successfully"};
        QTest::newRow("no configuration: created") << "none" << none << QList{true} << enabled;
        QTest::newRow("load fails")
            << "unreadable" << none << none
            << QStringList{"setup error: Failed to load filter preferences: denied"};
        QTest::newRow("switching off fails")
            << "on" << QList{true} << QList{false}
            << QStringList{cycling, "setup error: Failed to disable filter for cycle: denied"};
        QTest::newRow("switching on fails")
            << "on" << QList{false, true} << QList{false, true}
            << QStringList{cycling, "setup error: Failed to enable filter: denied"};
    }

    void enableFilter() {
        QFETCH(QString, before);
        QFETCH(QList<bool>, saveFails);
        FakeFilterManager filter;
        filter.enabled = before == "on" || before == "unreadable";
        if (before != "none") {
            filter.configuration = FilterProviderConfiguration{true, true};
            filter.description = "Mine";
        }
        if (before == "unreadable")
            filter.loadError = PlatformError{"denied"};
        for (bool fails : saveFails)
            filter.saveErrors.push_back(fails ? std::optional(PlatformError{"denied"})
                                              : std::nullopt);
        LogCapture log;
        QObject context;

        QCoro::waitFor(enableFilterConfiguration(&context, filter));
        QTEST(filter.savedEnabledStates, "saved");
        QTEST(log.lines(), "lines");
        // An existing configuration is kept as it is; a new one filters sockets only.
        QCOMPARE(filter.configuration->filterPackets, before != "none");
        QVERIFY(filter.configuration->filterSockets);
        QCOMPARE(filter.description, before != "none" ? "Mine" : "Zor");
    }

    void extensionProbe_data() {
        QTest::addColumn<QString>("filterState"); // "on", "off", "unreadable", "absent"
        QTest::addColumn<DaemonStatus>("daemon");
        QTest::addColumn<QList<bool>>("pings");
        QTest::addColumn<std::optional<QString>>("build");
        QTest::addColumn<NEStatus>("status");
        QTest::addColumn<int>("pingCount");

        using D = DaemonStatus;
        using N = NEStatus;
        const std::optional<QString> current = zorBuildNumber();
        const std::optional<QString> none;
        const QList<bool> yes{true};
        QTest::newRow("no build number counts as current")
            << "on" << D::ok << yes << none << N::ok << 1;
        QTest::newRow("other build")
            << "on" << D::ok << yes << std::optional<QString>("1") << N::staleVersion << 1;
        QTest::newRow("preferences unreadable")
            << "unreadable" << D::ok << yes << current << N::cannotLoadPreferences << 0;
        QTest::newRow("filter off and daemon unreachable")
            << "off" << D::cannotConnect << yes << current << N::needAuthForNetworkFilter << 0;
        QTest::newRow("daemon awaiting approval") << "on" << D::needAuthForDaemonService << yes
                                                  << current << N::cannotConnectToDaemon << 0;
        QTest::newRow("daemon without disk access") << "on" << D::needAuthForFullDiskAccess << yes
                                                    << current << N::cannotConnectToDaemon << 0;
        QTest::newRow("daemon outdated still asks")
            << "on" << D::staleVersion << yes << current << N::ok << 1;
        QTest::newRow("second ping answered")
            << "on" << D::ok << QList{false, true} << current << N::ok << 2;
        QTest::newRow("no answer twice")
            << "on" << D::ok << QList{false, false} << current << N::cannotConnect << 2;
        QTest::newRow("no content filter on the system")
            << "absent" << D::unsupported << yes << current << N::unsupported << 0;
        // Asked through the daemon, the extension is out of reach where there is none.
        QTest::newRow("no daemon on the system")
            << "on" << D::unsupported << yes << current << N::unsupported << 0;
    }

    void extensionProbe() {
        QFETCH(QString, filterState);
        QFETCH(DaemonStatus, daemon);
        QFETCH(QList<bool>, pings);
        QFETCH(std::optional<QString>, build);
        VirtualClock clock;
        FakeFilterManager filter;
        filter.enabled = filterState != "off";
        filter.isAvailable = filterState != "absent";
        if (filterState == "unreadable")
            filter.loadError = PlatformError{"gone"};
        FakeDaemonConnection connection;
        connection.pingAnswers.assign(pings.begin(), pings.end());
        connection.extensionBuildNumber = build;
        QObject context;

        std::optional<NEStatus> result;
        checkNetworkExtension(&context, clock, filter, connection, daemon)
            .then([&](NEStatus status) { result = status; });
        // A silent extension gets its filter switched off and on, and one more ping 4 s later.
        QTRY_VERIFY(result || clock.pendingTimerCount() == 1);
        if (!result) {
            QCOMPARE(clock.nextTimerIn(), std::optional(Millis(4s)));
            QCOMPARE(connection.pingCalls, 1);
            QCOMPARE(filter.savedEnabledStates, (QList<bool>{false, true}));
            clock.advance(4s);
            QTRY_VERIFY(result);
        }
        QTEST(*result, "status");
        QTEST(connection.pingCalls, "pingCount");
        QCOMPARE(filter.loadCount == 0, filterState == "absent");
        QCOMPARE(filter.savedEnabledStates.size(), pings.first() ? 0 : 2);
    }

    // The system may add results; an unknown one counts as done. An installed
    // extension is always replaced by the app's own. A failure is logged with
    // its code, which tells failures with the same description apart.
    void delegateReplacesAndTakesAnUnknownResultAsDone() {
        QList<SystemExtensionDelegate::Result::Kind> kinds;
        SystemExtensionDelegate delegate([&](const auto& result) { kinds.append(result.kind); });
        LogCapture log;
        QCOMPARE(delegate.actionForReplacingExtension({"", "41", "1.0"}, {"", "42", "1.1"}),
                 ReplacementAction::replace);
        delegate.requestDidFinish(RequestResult(7));
        delegate.requestDidFail(PlatformError{"The operation couldn't be completed.", 8});
        QCOMPARE(kinds, (QList{SystemExtensionDelegate::Result::Kind::success,
                               SystemExtensionDelegate::Result::Kind::failure}));
        QCOMPARE(log.lines(),
                 (QStringList{"setup info: Replacing existing extension 41 with 42",
                              "setup error: Unknown result: 7",
                              "setup error: Network extension request failed: The operation "
                              "couldn't be completed. (code 8)"}));
        // The description comes from the system: kept out of the redacted log.
        QCOMPARE(log.records().last().redactedMessage(),
                 QStringLiteral("Network extension request failed: <private>"));
    }
};

int runProbeTests(int argc, char** argv) {
    ProbeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_probes.moc"
