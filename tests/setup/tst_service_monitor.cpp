#include "SetupScene.h"
#include "SetupTests.h"
#include "shared/BuildNumber.h"

#include <QSemaphore>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

class ServiceMonitorTest : public QObject {
    Q_OBJECT

private slots:
    void pollReprobesOnlyWhatIsUnhealthy() {
        SetupScene scene;
        scene.removeLink();
        scene.setAgentBuildNumber(QStringLiteral("1"));
        QVERIFY(scene.appearAndSettle());

        QList<AgentStatus> agentStates;
        connect(scene.monitor.get(), &ServiceMonitor::statusChanged, this,
                [&] { agentStates.append(scene.monitor->agentStatus()); });
        scene.setAgentBuildNumber(zorBuildNumber());
        scene.clock.advance(999ms);
        // A pass started too soon would have its probes under way now.
        QVERIFY(scene.settle());
        QCOMPARE(scene.agentQueryCount(), 1);
        scene.clock.advance(1ms);
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.agentQueryCount(), 2);
        QCOMPARE(agentStates, QList{AgentStatus::ok}); // without flickering through checking

        scene.clock.advance(1s); // only the link again
        QVERIFY(scene.waitForReports(3));
        QCOMPARE(scene.agentQueryCount(), 2);
        QCOMPARE(scene.daemonConnection.statusCalls, 1);
        QCOMPARE(scene.filter.loadCount, 1);

        scene.link(scene.linkPaths.linkTarget);
        scene.clock.advance(1s);
        QVERIFY(scene.waitForReports(4));
        QCOMPARE(scene.reports, (QList{false, false, false, true}));
        QCOMPARE(scene.clock.pendingTimerCount(), 0);
    }

    // On a system without the services the screen has nothing to repair: the
    // report says so, which keeps the app on its prompts, and no poll repeats
    // answers that cannot change. One piece that the user can repair beside
    // them is reported, and polled for, as always.
    void unsupportedPiecesLeaveNothingToRepair_data() {
        QTest::addColumn<bool>("hasAgent");
        QTest::addColumn<bool>("hasScripts");
        QTest::addColumn<QString>("shown"); // link, daemon, agent, extension
        QTest::addColumn<bool>("isNothingToRepair");
        QTest::newRow("nothing supported")
            << false << false << "unsupported unsupported unsupported unsupported" << true;
        QTest::newRow("a running agent")
            << true << false << "unsupported unsupported ok unsupported" << true;
        QTest::newRow("a link to make")
            << false << true << "missing unsupported unsupported unsupported" << false;
    }

    void unsupportedPiecesLeaveNothingToRepair() {
        QFETCH(bool, hasAgent);
        QFETCH(bool, hasScripts);
        QFETCH(bool, isNothingToRepair);
        SetupScene scene;
        scene.makeUnsupported(hasAgent ? std::optional(zorBuildNumber()) : std::nullopt);
        scene.scripts.isAvailable = hasScripts;
        QVERIFY(scene.appearAndSettle());

        const QStringList shown{
            description(scene.monitor->cliStatus()), description(scene.monitor->daemonStatus()),
            description(scene.monitor->agentStatus()), description(scene.monitor->neStatus())};
        QTEST(shown.join(u' '), "shown");
        QCOMPARE(scene.reports, QList{isNothingToRepair});
        QCOMPARE(scene.monitor->isPollPending(), !isNothingToRepair);
    }

    // A semaphore stands for a daemon slow to answer: the main thread goes on meanwhile.
    void hidingStopsThePollButLetsAProbeFinish() {
        SetupScene scene;
        scene.setAgentBuildNumber(std::nullopt);
        QSemaphore answer;
        scene.daemonConnection.onGetStatus = [&] { answer.tryAcquire(1, 5000); };
        scene.monitor->appear();
        scene.monitor->disappear();
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::checking);
        answer.release();
        QVERIFY(scene.waitForReports(1));
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::ok); // stored after hiding
        QCOMPARE(scene.clock.pendingTimerCount(), 0);

        scene.daemonConnection.onGetStatus = nullptr;
        QVERIFY(scene.appearAndSettle());
        QVERIFY(scene.monitor->isPollPending());
        scene.monitor->disappear();
        QVERIFY(!scene.monitor->isPollPending());
        QCOMPARE(scene.clock.pendingTimerCount(), 0);
    }

    // Refresh starts over: every status back to checking, and the pending poll
    // dropped so that no pass overlaps the full check.
    void refreshChecksEverythingAgainWithoutAPollBeside() {
        SetupScene scene;
        scene.removeLink();
        QVERIFY(scene.appearAndSettle());
        QVERIFY(scene.monitor->isPollPending());

        scene.monitor->refresh();
        QVERIFY(!scene.monitor->isPollPending());
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::checking);
        QCOMPARE(scene.monitor->agentStatus(), AgentStatus::checking);
        QCOMPARE(scene.monitor->neStatus(), NEStatus::checking);
        scene.clock.advance(1s); // a poll left armed would now run beside the check
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.daemonConnection.statusCalls, 2);
        QCOMPARE(scene.monitor->cliStatus(), CLISymlinkStatus::missing);
        QVERIFY(scene.monitor->isPollPending());
    }

    // However a pass and another check interleave, the poll stays one chain
    // of passes. An extension that does not answer makes a pass last 4 s, and
    // each pass switches its filter off and on: two chains would do it twice
    // as often, for good.
    void onePollChainWhateverStartsDuringAPass_data() {
        QTest::addColumn<QString>("started");
        QTest::newRow("Refresh") << "refresh";
        QTest::newRow("the extension's repair") << "repair";
    }

    void onePollChainWhateverStartsDuringAPass() {
        QFETCH(QString, started);
        SetupScene scene;
        {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            scene.daemonConnection.pingAnswer = false;
        }
        scene.extensions.onSubmit = [](std::weak_ptr<SystemExtensionRequestDelegate> request) {
            if (const auto delegate = request.lock())
                delegate->requestDidFinish(RequestResult::completed);
        };
        const auto pingsIn20s = [&] {
            const int before = scene.daemonConnection.pingCalls;
            scene.runFor(20s);
            return scene.daemonConnection.pingCalls - before;
        };
        scene.monitor->appear();
        scene.runFor(20s);
        QCOMPARE(pingsIn20s(), 8); // a pass every 5 s, each pinging twice

        scene.runFor(1300ms); // into the next pass's wait
        if (started == "refresh")
            scene.monitor->refresh();
        else
            scene.repairs->fixNetworkExtension();
        scene.runFor(20s);
        QCOMPARE(pingsIn20s(), 8);
        QCOMPARE(scene.clock.pendingTimerCount(), 1);
    }

    // The extension is asked through the daemon, so its probe goes by the
    // daemon status its own check found, not by one a later check is busy
    // finding: here a second Refresh while the first asks the agent.
    void theExtensionGoesByItsOwnChecksDaemonStatus() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::enabled);
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.monitor->neStatus(), NEStatus::cannotConnectToDaemon);
        scene.monitor->disappear(); // no poll beside the two checks
        const int pings = scene.daemonConnection.pingCalls;

        QSemaphore answer;
        bool isSecondStarted = false;
        connect(scene.monitor.get(), &ServiceMonitor::statusChanged, this, [&] {
            if (isSecondStarted || scene.monitor->daemonStatus() != DaemonStatus::cannotConnect)
                return;
            isSecondStarted = true;
            scene.daemonConnection.onGetStatus = [&] { answer.tryAcquire(1, 5000); };
            QMetaObject::invokeMethod(
                scene.monitor.get(), [&] { scene.monitor->refresh(); }, Qt::QueuedConnection);
        });
        scene.monitor->refresh();
        QTRY_VERIFY(isSecondStarted);
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::checking); // the second check's
        // The first check goes on to the extension while the second waits on the daemon.
        QTRY_VERIFY(scene.monitor->neStatus() != NEStatus::checking ||
                    scene.daemonConnection.pingCalls > pings);
        answer.release();
        scene.runFor(5s);
        QCOMPARE(scene.monitor->neStatus(), NEStatus::cannotConnectToDaemon);
        QCOMPARE(scene.daemonConnection.pingCalls, pings);
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
    }
};

int runServiceMonitorTests(int argc, char** argv) {
    ServiceMonitorTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_service_monitor.moc"
