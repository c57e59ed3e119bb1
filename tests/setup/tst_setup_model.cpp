#include "LogCapture.h"
#include "SetupRig.h"
#include "SetupTests.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <atomic>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

PlatformError failure(const char* text) {
    return PlatformError{QString::fromLatin1(text), 1};
}

} // namespace

class SetupModelTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QThreadPool::globalInstance()->waitForDone(); }

    void allHealthyLeavesNoTimerPending() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.reports, QList<bool>{true});
        QVERIFY(rig.model->isAllHealthy());
        QVERIFY(!rig.model->isAnyOutdated());
        QVERIFY(!rig.model->isPollPending());
        QCOMPARE(rig.clock.pendingTimerCount(), 0);
    }

    void fullCheckProbesTheLinkAtOnceAndTheRestInOrder() {
        SetupRig rig;
        QFile::remove(rig.paths.linkPath);
        QList<QString> order;
        rig.connection.onGetStatus = [&] { order.append("daemon"); };
        rig.model->appear();
        // Before any event is processed: the link is known, the others are checking.
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::missing);
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::checking);
        QCOMPARE(rig.model->agentStatus(), AgentStatus::checking);
        QCOMPARE(rig.model->neStatus(), NEStatus::checking);
        QCOMPARE(rig.model->daemonStep().isChecking, true);
        QVERIFY(rig.waitForReports(1));
        QCOMPARE(rig.reports, QList<bool>{false});
        QCOMPARE(rig.connection.statusCalls, 1);
        QCOMPARE(rig.agentQueryCount(), 1);
        QCOMPARE(rig.filter.loadCount, 1);
        QVERIFY(rig.model->isPollPending());
        QCOMPARE(rig.clock.nextTimerIn(), std::optional(Millis(1s)));
    }

    void daemonAwaitingApprovalLeavesTheExtensionUnasked() {
        SetupRig rig;
        rig.connection.status.reset();
        rig.services.daemonStatus = ServiceStatus::requiresApproval;
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::needAuthForDaemonService);
        QCOMPARE(rig.model->neStatus(), NEStatus::cannotConnectToDaemon);
        QCOMPARE(rig.model->neStep().button, ButtonState::notice("Waiting"));
        QCOMPARE(rig.connection.pingCalls, 0);
        rig.model->disappear();
    }

    void pollReprobesOnlyWhatIsUnhealthy() {
        SetupRig rig;
        QFile::remove(rig.paths.linkPath);
        rig.setAgentBuild(QStringLiteral("1"));
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.model->agentStatus(), AgentStatus::staleVersion);
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::missing);

        QList<AgentStatus> agentStates;
        connect(rig.model.get(), &SetupModel::statusChanged, this,
                [&] { agentStates.append(rig.model->agentStatus()); });
        rig.link(rig.paths.linkTarget);
        rig.clock.advance(999ms);
        QCOMPARE(rig.agentQueryCount(), 1);
        rig.clock.advance(1ms);
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::ok);
        QCOMPARE(rig.agentQueryCount(), 2);

        rig.clock.advance(1s);
        QVERIFY(rig.waitForReports(3));
        QCOMPARE(rig.agentQueryCount(), 3);
        // The healthy ones were left alone, and nothing flickered to checking.
        QCOMPARE(rig.connection.statusCalls, 1);
        QCOMPARE(rig.filter.loadCount, 1);
        QVERIFY(!agentStates.contains(AgentStatus::checking));

        rig.setAgentBuild(zorBuildNumber());
        rig.clock.advance(1s);
        QVERIFY(rig.waitForReports(4));
        QCOMPARE(rig.reports, (QList<bool>{false, false, false, true}));
        QVERIFY(!rig.model->isPollPending());
        QCOMPARE(rig.clock.pendingTimerCount(), 0);
    }

    void disappearingStopsThePollButLetsAProbeFinish() {
        SetupRig rig;
        QSemaphore answer;
        rig.connection.onGetStatus = [&] { answer.tryAcquire(1, 5000); };
        rig.setAgentBuild(std::nullopt);
        QSignalSpy pollChanges(rig.model.get(), &SetupModel::pollChanged);

        rig.model->appear();
        rig.model->disappear();
        answer.release();
        QVERIFY(rig.waitForReports(1));
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::ok); // stored after disappearing
        QCOMPARE(rig.model->agentStatus(), AgentStatus::cannotConnect);
        QVERIFY(!rig.model->isPollPending());
        QCOMPARE(rig.clock.pendingTimerCount(), 0);
        QCOMPARE(pollChanges.count(), 0);

        rig.connection.onGetStatus = nullptr;
        rig.model->appear();
        QVERIFY(rig.waitForReports(2));
        QVERIFY(rig.model->isPollPending());
        rig.model->disappear();
        QVERIFY(!rig.model->isPollPending());
        QCOMPARE(rig.clock.pendingTimerCount(), 0);
        rig.clock.advance(5s);
        QCOMPARE(rig.connection.statusCalls, 2);
    }

    // The daemon takes its time (a semaphore stands for a slow answer): the
    // main thread goes on with its events meanwhile.
    void mainThreadNeverWaitsOnAProbe() {
        SetupRig rig;
        QSemaphore entered;
        QSemaphore answer;
        std::atomic<bool> wasAnswered = false;
        rig.connection.onGetStatus = [&] {
            entered.release();
            wasAnswered = answer.tryAcquire(1, 5000);
        };

        QElapsedTimer elapsed;
        elapsed.start();
        rig.model->appear();
        QVERIFY(elapsed.elapsed() < 1000);
        QVERIFY(entered.tryAcquire(1, 5000)); // the probe is now blocked on its worker
        bool hasTimerFired = false;
        QTimer::singleShot(0, this, [&] { hasTimerFired = true; });
        QTRY_VERIFY(hasTimerFired);
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::checking);

        answer.release();
        QVERIFY(rig.waitForReports(1));
        QVERIFY(wasAnswered);
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::ok);
    }

    void refreshIsLoggedAndChecksEverything() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        LogCapture log;
        rig.model->refresh();
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::checking);
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(rig.connection.statusCalls, 2);
        QCOMPARE(log.messages(), QStringList{"User clicked Refresh button"});
    }

    void restartGoesOnWhenTheExtensionNeedsApproval() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.extensions.onSubmit = [](auto delegate) {
            delegate.lock()->requestNeedsUserApproval();
        };
        QSignalSpy restartChanges(rig.model.get(), &SetupModel::restartChanged);
        LogCapture log;

        const Millis start = rig.clock.now();
        const int statusCallsBefore = rig.connection.statusCalls;
        rig.model->restartServices();
        QVERIFY(rig.model->isRestarting());
        QCOMPARE(rig.services.operations(),
                 (QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}));
        rig.clock.advance(999ms);
        QCOMPARE(rig.services.count("daemon.register"), 0);
        rig.clock.advance(1ms);
        QCOMPARE(rig.services.operations().mid(2),
                 (QStringList{"daemon.register", "agent.register"}));
        QCOMPARE(rig.services.calls().last().at, start + 1s);
        rig.clock.advance(1999ms);
        QVERIFY(rig.model->isRestarting());
        rig.clock.advance(1ms);
        QVERIFY(!rig.model->isRestarting());
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(rig.connection.statusCalls, statusCallsBefore + 1); // the fresh check
        QCOMPARE(rig.model->restartError(), QString());
        QCOMPARE(restartChanges.count(), 2);

        QCOMPARE(
            log.messages(LogCategory::setup),
            (QStringList{"User clicked Restart Services button", "Restart: deregistering daemon",
                         "Restart: deregistering agent", "Restart: replacing network extension",
                         // the fake system answers before the submission returns
                         "Network extension requires user approval in System Settings",
                         "Submitted network extension activation request",
                         "Restart: network extension replacement requires approval",
                         "Restart: registering daemon", "Restart: registering agent",
                         "Restart: complete"}));
        QCOMPARE(rig.model->neStatus(), NEStatus::ok); // the restart itself left it alone
    }

    void restartWaitsForTheExtensionsAnswer() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.model->restartServices();
        rig.clock.advance(10s);
        QVERIFY(rig.model->isRestarting());
        QCOMPARE(rig.services.count("daemon.register"), 0);

        rig.extensions.lastDelegate()->requestDidFinish(RequestResult::completed);
        QTRY_COMPARE(rig.clock.pendingTimerCount(), 1);
        rig.clock.advance(3s);
        QVERIFY(!rig.model->isRestarting());
        QCOMPARE(rig.services.count("agent.register"), 1);
        QVERIFY(rig.waitForReports(2));
    }

    void restartFailures_data() {
        QTest::addColumn<QString>("failingStep");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<int>("extensionRequests");

        const QStringList both{"daemon.unregisterAsync", "agent.unregisterAsync"};
        QTest::newRow("agent unregistration") << "agent"
                                              << "Operation not permitted" << both << 0;
        QTest::newRow("daemon unregistration")
            << "daemon"
            << "Operation not permitted" << QStringList{"daemon.unregisterAsync"} << 0;
        QTest::newRow("extension replacement") << "extension"
                                               << "Extension not found" << both << 1;
        QTest::newRow("daemon registration")
            << "daemon register"
            << "Invalid signature" << both + QStringList{"daemon.register"} << 1;
    }

    void restartFailures() {
        QFETCH(QString, failingStep);
        QFETCH(QString, error);
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        const PlatformError platformError{error, 1};
        if (failingStep == "agent")
            rig.services.agentUnregisterResult = platformError;
        if (failingStep == "daemon")
            rig.services.daemonUnregisterResult = platformError;
        if (failingStep == "daemon register")
            rig.services.daemonRegisterResults.push_back(platformError);
        rig.extensions.onSubmit = [&](auto delegate) {
            if (failingStep == "extension")
                delegate.lock()->requestDidFail(platformError);
            else
                delegate.lock()->requestDidFinish(RequestResult::completed);
        };
        LogCapture log;

        rig.model->restartServices();
        rig.clock.advance(5s);
        QVERIFY(!rig.model->isRestarting());
        QCOMPARE(rig.model->restartError(), error);
        QTEST(rig.services.operations(), "operations");
        QTEST(int(rig.extensions.bundleIdentifiers.size()), "extensionRequests");
        QVERIFY(log.contains("Restart failed: " + error));
        QVERIFY(!log.contains("Restart: complete"));
        QVERIFY(rig.waitForReports(2)); // a fresh check follows
    }

    void restartErrorIsClearedByTheNextRestart() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.model->disappear();
        rig.services.agentUnregisterResult = failure("busy");
        rig.model->restartServices();
        QCOMPARE(rig.model->restartError(), QStringLiteral("busy"));
        QVERIFY(rig.waitForReports(2));

        rig.services.agentUnregisterResult.reset();
        rig.extensions.onSubmit = [](auto delegate) {
            delegate.lock()->requestDidFinish(RequestResult::willCompleteAfterReboot);
        };
        rig.model->restartServices();
        QCOMPARE(rig.model->restartError(), QString());
        rig.clock.advance(3s);
        QVERIFY(rig.waitForReports(3));
        QCOMPARE(rig.model->restartError(), QString());
    }

    void stopUnregistersOnlyTheTwoServices() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        LogCapture log;

        rig.model->stopAllServices();
        QVERIFY(rig.model->isStopping());
        QCOMPARE(rig.services.operations(),
                 (QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}));
        rig.clock.advance(999ms);
        QVERIFY(rig.model->isStopping());
        // The stopped daemon no longer answers.
        rig.connection.status.reset();
        rig.setAgentBuild(std::nullopt);
        rig.clock.advance(1ms);
        QVERIFY(!rig.model->isStopping());
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::cannotConnect);
        QCOMPARE(rig.model->agentStatus(), AgentStatus::cannotConnect);
        QCOMPARE(rig.model->neStatus(), NEStatus::cannotConnectToDaemon);
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::ok);
        QVERIFY(rig.extensions.bundleIdentifiers.isEmpty());
        QVERIFY(rig.filter.savedEnabledStates.isEmpty());
        QCOMPARE(log.messages().mid(0, 3),
                 (QStringList{"User clicked Stop All Services button",
                              "Stop all: deregistering daemon", "Stop all: deregistering agent"}));
        rig.model->disappear();
    }

    void stopFailureBecomesTheStopError() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.services.daemonUnregisterResult = failure("Operation not permitted");
        LogCapture log;

        rig.model->stopAllServices();
        QVERIFY(!rig.model->isStopping());
        QCOMPARE(rig.model->stopError(), QStringLiteral("Operation not permitted"));
        QCOMPARE(rig.services.operations(), QStringList{"daemon.unregisterAsync"});
        QVERIFY(log.contains("Stop all failed: Operation not permitted"));
        const LogRecord failed = log.records().last();
        QCOMPARE(failed.level, LogLevel::error);
        QCOMPARE(failed.redactedMessage(), QStringLiteral("Stop all failed: <private>"));
        QVERIFY(rig.waitForReports(2));
    }
};

int runSetupModelTests(int argc, char** argv) {
    SetupModelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_setup_model.moc"
