#include "LogCapture.h"
#include "SetupScene.h"
#include "SetupTests.h"
#include "shared/BuildNumber.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>
#include <QThreadPool>
#include <QTimer>
#include <atomic>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

class SetupModelTest : public QObject {
    Q_OBJECT

private slots:
    void pollReprobesOnlyWhatIsUnhealthy() {
        SetupScene scene;
        scene.removeLink();
        scene.setAgentBuildNumber(QStringLiteral("1"));
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.model->agentStatus(), AgentStatus::staleVersion);

        QList<AgentStatus> agentStates;
        connect(scene.model.get(), &SetupModel::statusChanged, this,
                [&] { agentStates.append(scene.model->agentStatus()); });
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
        QVERIFY(!scene.model->isPollPending());
        QCOMPARE(scene.clock.pendingTimerCount(), 0);
    }

    void hidingStopsThePollButLetsAProbeFinish() {
        SetupScene scene;
        scene.setAgentBuildNumber(std::nullopt);
        QSemaphore answer;
        scene.daemonConnection.onGetStatus = [&] { answer.tryAcquire(1, 5000); };
        scene.model->appear();
        scene.model->disappear();
        answer.release();
        QVERIFY(scene.waitForReports(1));
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::ok); // stored after hiding
        QCOMPARE(scene.clock.pendingTimerCount(), 0);

        scene.daemonConnection.onGetStatus = nullptr;
        QVERIFY(scene.appearAndSettle());
        QVERIFY(scene.model->isPollPending());
        scene.model->disappear();
        QVERIFY(!scene.model->isPollPending());
        scene.clock.advance(5s);
        QCOMPARE(scene.agentQueryCount(), 2);
    }

    // Refresh starts over: every status back to checking, and the pending poll
    // dropped so that no pass overlaps the full check.
    void refreshChecksEverythingAgainWithoutAPollBeside() {
        SetupScene scene;
        scene.removeLink();
        QVERIFY(scene.appearAndSettle());
        QVERIFY(scene.model->isPollPending());
        const int daemonQueries = scene.daemonConnection.statusCalls;

        scene.model->refresh();
        QVERIFY(!scene.model->isPollPending());
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::checking);
        QCOMPARE(scene.model->agentStatus(), AgentStatus::checking);
        QCOMPARE(scene.model->neStatus(), NEStatus::checking);
        scene.clock.advance(1s); // a poll left armed would now run beside the check
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.daemonConnection.statusCalls, daemonQueries + 1);
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::ok);
        QCOMPARE(scene.model->cliStatus(), CLISymlinkStatus::missing);
        QVERIFY(scene.model->isPollPending());
    }

    // A semaphore stands for a daemon slow to answer: the main thread goes on meanwhile.
    void mainThreadNeverWaitsOnAProbe() {
        SetupScene scene;
        QSemaphore entered;
        QSemaphore answer;
        std::atomic<bool> wasAnswered = false;
        scene.daemonConnection.onGetStatus = [&] {
            entered.release();
            wasAnswered = answer.tryAcquire(1, 5000);
        };

        QElapsedTimer elapsed;
        elapsed.start();
        scene.model->appear();
        QVERIFY(elapsed.elapsed() < 1000);
        QVERIFY(entered.tryAcquire(1, 5000)); // the probe is now blocked on its worker
        bool hasTimerFired = false;
        QTimer::singleShot(0, this, [&] { hasTimerFired = true; });
        QTRY_VERIFY(hasTimerFired);
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::checking);

        answer.release();
        QVERIFY(scene.waitForReports(1));
        QVERIFY(wasAnswered);
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::ok);
    }

    void restartGoesOnOnceTheExtensionAnswers_data() {
        QTest::addColumn<bool>("answersLater");
        QTest::newRow("needs approval, at once") << false;
        QTest::newRow("completed, ten seconds later") << true;
    }

    void restartGoesOnOnceTheExtensionAnswers() {
        QFETCH(bool, answersLater);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());
        if (!answersLater)
            scene.extensions.onSubmit = [](auto delegate) {
                delegate.lock()->requestNeedsUserApproval();
            };

        scene.model->restartServices();
        QVERIFY(scene.model->isRestarting());
        QCOMPARE(scene.services.operations(),
                 (QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}));
        if (answersLater) {
            scene.clock.advance(10s);
            QCOMPARE(scene.services.operations().size(), 2);
            scene.extensions.lastDelegate()->requestDidFinish(RequestResult::completed);
        }
        QTRY_COMPARE(scene.clock.pendingTimerCount(), 1);
        const Millis start = scene.clock.now();
        scene.clock.advance(1s);
        QCOMPARE(scene.services.operations().mid(2),
                 (QStringList{"daemon.register", "agent.register"}));
        QCOMPARE(scene.services.calls().last().at, start + 1s);
        scene.clock.advance(1999ms);
        QVERIFY(scene.model->isRestarting());
        scene.clock.advance(1ms);
        QVERIFY(!scene.model->isRestarting());
        QCOMPARE(scene.model->restartError(), QString());
        QVERIFY(scene.waitForReports(2)); // the fresh check
        QCOMPARE(scene.daemonConnection.statusCalls, 2);
        QCOMPARE(scene.model->neStatus(), NEStatus::ok); // the restart itself left it alone
    }

    void flowOutcomes_data() {
        QTest::addColumn<bool>("isStop");
        QTest::addColumn<QString>("failingStep");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<int>("extensionRequests");

        const QStringList both{"daemon.unregisterAsync", "agent.unregisterAsync"};
        const QStringList daemonOnly{"daemon.unregisterAsync"};
        QTest::newRow("restart: agent unregistration") << false << "agent"
                                                       << "Operation not permitted" << both << 0;
        QTest::newRow("restart: daemon unregistration")
            << false << "daemon"
            << "Operation not permitted" << daemonOnly << 0;
        QTest::newRow("restart: extension replacement") << false << "extension"
                                                        << "Extension not found" << both << 1;
        QTest::newRow("restart: daemon registration")
            << false << "daemon register"
            << "Invalid signature" << both + QStringList{"daemon.register"} << 1;
        QTest::newRow("stop: daemon unregistration")
            << true << "daemon"
            << "Operation not permitted" << daemonOnly << 0;
    }

    void flowOutcomes() {
        QFETCH(bool, isStop);
        QFETCH(QString, failingStep);
        QFETCH(QString, error);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());
        const PlatformError platformError{error, 1};
        if (failingStep == "agent")
            scene.services.agentUnregisterResult = platformError;
        if (failingStep == "daemon")
            scene.services.daemonUnregisterResult = platformError;
        if (failingStep == "daemon register")
            scene.services.daemonRegisterResults.push_back(platformError);
        scene.extensions.onSubmit = [&](auto delegate) {
            if (failingStep == "extension")
                delegate.lock()->requestDidFail(platformError);
            else
                delegate.lock()->requestDidFinish(RequestResult::completed);
        };
        LogCapture log;

        isStop ? scene.model->stopAllServices() : scene.model->restartServices();
        scene.clock.advance(5s);
        QVERIFY(!scene.model->isRestarting());
        QVERIFY(!scene.model->isStopping());
        QCOMPARE(isStop ? scene.model->stopError() : scene.model->restartError(), error);
        QTEST(scene.services.operations(), "operations");
        QTEST(int(scene.extensions.bundleIdentifiers.size()), "extensionRequests");
        QVERIFY(scene.waitForReports(2)); // a fresh check follows
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
        if (error.isEmpty())
            return;

        // The error is logged, and kept out of the redacted log.
        const QString failed = isStop ? "Stop all failed: " : "Restart failed: ";
        const QList<LogRecord> records = log.records();
        const auto line = std::find_if(records.begin(), records.end(), [&](const LogRecord& r) {
            return r.message() == failed + error;
        });
        QVERIFY(line != records.end());
        QCOMPARE(line->redactedMessage(), failed + "<private>");
        QVERIFY(!log.contains("Restart: complete"));
    }
};

int runSetupModelTests(int argc, char** argv) {
    SetupModelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_setup_model.moc"
