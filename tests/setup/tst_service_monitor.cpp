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
};

int runServiceMonitorTests(int argc, char** argv) {
    ServiceMonitorTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_service_monitor.moc"
