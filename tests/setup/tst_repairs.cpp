#include "LogCapture.h"
#include "SetupScene.h"
#include "SetupTests.h"
#include "shared/BuildNumber.h"
#include "shared/Identifiers.h"

#include <QDir>
#include <QSemaphore>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

class RepairTest : public QObject {
    Q_OBJECT

private slots:
    // Outdated, the daemon's button restarts all services; without Full Disk
    // Access, it opens the settings.
    void daemonButtonsThatDoNotRegister_data() {
        QTest::addColumn<DaemonStatusRecord>("answer");
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<QList<QUrl>>("opened");
        QTest::newRow("without disk access")
            << DaemonStatusRecord{4, "1.0", zorBuildNumber()} << QStringList()
            << QList{QUrl(kFullDiskAccessSettingsLink)};
        QTest::newRow("outdated") << DaemonStatusRecord{0, "1.0", "1"}
                                  << QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}
                                  << QList<QUrl>();
    }

    void daemonButtonsThatDoNotRegister() {
        SetupScene scene;
        QFETCH(DaemonStatusRecord, answer);
        scene.daemonConnection.status = answer;
        QVERIFY(scene.appearAndSettle());

        scene.repairs->fixDaemon();
        QTEST(scene.services.operations(), "operations");
        QTEST(scene.workspace.opened, "opened");
        QCOMPARE(scene.repairs->isRestarting(), scene.workspace.opened.isEmpty());
    }

    void registrationTimes_data() {
        QTest::addColumn<QString>("service");
        QTest::addColumn<ServiceStatus>("registration");
        QTest::addColumn<int>("failures"); // registrations that fail
        QTest::addColumn<QList<Millis>>("times");

        using S = ServiceStatus;
        QTest::newRow("daemon registered") << "daemon" << S::enabled << 0 << QList{Millis(500)};
        QTest::newRow("daemon, no retry") << "daemon" << S::notRegistered << 1 << QList{Millis(0)};
        QTest::newRow("agent registered") << "agent" << S::enabled << 0 << QList{Millis(500)};
        QTest::newRow("agent") << "agent" << S::notRegistered << 0 << QList{Millis(0)};
        QTest::newRow("agent, one retry")
            << "agent" << S::notRegistered << 2 << QList{Millis(0), Millis(2000)};
    }

    // A registered service is registered again half a second after its unregistration; the
    // agent's failed registration is tried once more 2 s later. Then the service is probed.
    void registrationTimes() {
        QFETCH(QString, service);
        QFETCH(ServiceStatus, registration);
        QFETCH(int, failures);
        QFETCH(QList<Millis>, times);
        const bool isDaemon = service == "daemon";
        SetupScene scene; // healthy, so no poll gets in the way
        (isDaemon ? scene.services.daemonStatus : scene.services.agentStatus) = registration;
        QVERIFY(scene.appearAndSettle());
        (isDaemon ? scene.services.daemonRegisterResults : scene.services.agentRegisterResults)
            .assign(failures, PlatformError{"not yet"});

        const Millis start = scene.clock.now();
        isDaemon ? scene.repairs->fixDaemon() : scene.repairs->fixAgent();
        QVERIFY((isDaemon ? scene.monitor->daemonStep() : scene.monitor->agentStep()).isChecking);
        scene.clock.advance(times.last());
        QList<Millis> registered;
        for (const auto& call : scene.services.calls())
            if (call.service == service && call.operation == "register")
                registered.append(call.at - start);
        QCOMPARE(registered, times);
        QCOMPARE(scene.services.count(service + ".unregisterAsync"),
                 registration == ServiceStatus::notRegistered ? 0 : 1);
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(2s)));
        scene.clock.advance(2s);
        QVERIFY(scene.waitForReports(2));
    }

    // The step shows the repair's progress until the repair's own probe: the
    // poll in its wait leaves it checking, so its button does not come back
    // to register the service a second time. When that probe finds the
    // service down, the polling goes on, or the screen would show it down
    // until Refresh.
    void aRepairShowsProgressUntilItsProbeAndKeepsPolling() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(1s)));

        scene.repairs->fixDaemon();
        scene.makeAllHealthy();
        scene.clock.advance(1s); // the poll, in the repair's wait
        QVERIFY(scene.waitForReports(2));
        QVERIFY(scene.monitor->daemonStep().isChecking);
        QCOMPARE(scene.monitor->daemonStep().button, ButtonState::inProgress());
        QCOMPARE(scene.services.count("daemon.register"), 1);
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(1s))); // the repair's wait

        scene.makeDaemonUnreachable(ServiceStatus::enabled);
        scene.clock.advance(1s);
        QVERIFY(scene.waitForReports(3));
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::cannotConnect);
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(1s)));
        scene.makeAllHealthy();
        scene.clock.advance(1s);
        QVERIFY(scene.waitForReports(4));
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::ok);
    }

    // The extension is asked through the daemon: while the daemon's repair
    // checks it, a poll pass leaves the extension waiting on it, as the
    // repair's own probe has not yet found whether the daemon is there. No
    // ping through a daemon that may not be, no filter switched off and on.
    void aPollInADaemonRepairLeavesTheExtensionWaiting() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.monitor->neStatus(), NEStatus::cannotConnectToDaemon);
        const auto pings = [&] {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            return scene.daemonConnection.pingCalls;
        };
        QCOMPARE(pings(), 0);

        scene.repairs->fixDaemon();
        scene.clock.advance(1s); // the poll, in the repair's wait
        QVERIFY(scene.waitForReports(2));
        QVERIFY(scene.monitor->daemonStep().isChecking);
        QCOMPARE(pings(), 0);
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
        QCOMPARE(scene.monitor->neStatus(), NEStatus::cannotConnectToDaemon);

        // Once the repair finds the daemon there, a pass after it asks the extension.
        scene.makeAllHealthy();
        scene.runFor(3s);
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::ok);
        QCOMPARE(scene.monitor->neStatus(), NEStatus::ok);
        QCOMPARE(pings(), 1);
    }

    // Neither the extension's probe after its activation completes nor a
    // Refresh asks the extension through a daemon that a repair checks: the
    // step waits on the daemon, without a ping or the filter switched off and
    // on, until a poll pass after the repair's own probe asks it.
    void anExtensionCheckInADaemonRepairWaitsOnIt_data() {
        QTest::addColumn<bool>("isRefresh"); // else the activation completes
        QTest::addColumn<QList<bool>>("filterSaves");
        QTest::newRow("activation completes") << false << QList<bool>{true};
        QTest::newRow("refresh") << true << QList<bool>();
    }
    void anExtensionCheckInADaemonRepairWaitsOnIt() {
        QFETCH(bool, isRefresh);
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::enabled);
        scene.filter.enabled = false;
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.monitor->neStatus(), NEStatus::needAuthForNetworkFilter);
        const auto pings = [&] {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            return scene.daemonConnection.pingCalls;
        };
        {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            scene.daemonConnection.pingAnswer = false;
        }

        scene.repairs->fixDaemon(); // probes the daemon at 2.5 s
        if (isRefresh) {
            // The daemon answers again while the repair waits.
            scene.runFor(1s);
            {
                QMutexLocker lock(&scene.daemonConnection.mutex);
                scene.daemonConnection.status = DaemonStatusRecord{0, "1.0", zorBuildNumber()};
            }
            scene.filter.enabled = true;
            scene.monitor->refresh();
        } else {
            scene.extensions.onSubmit = [](auto delegate) {
                delegate.lock()->requestDidFinish(RequestResult::completed);
            };
            scene.repairs->fixNetworkExtension(); // probes the extension at 2 s
        }
        scene.runFor(isRefresh ? 1100ms : 2100ms);
        QVERIFY(scene.monitor->daemonStep().isChecking);
        QCOMPARE(pings(), 0);
        QTEST(scene.filter.savedEnabledStates, "filterSaves");
        QCOMPARE(scene.monitor->neStatus(), NEStatus::cannotConnectToDaemon);

        scene.makeAllHealthy();
        scene.runFor(400ms); // the repair's probe
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::ok);
        QCOMPARE(pings(), 0);
        scene.runFor(1100ms); // the poll pass after it
        QCOMPARE(pings(), 1);
        QCOMPARE(scene.monitor->neStatus(), NEStatus::ok);
        QTEST(scene.filter.savedEnabledStates, "filterSaves");
    }

    // A check under way when a repair begins leaves the repaired step to the
    // repair: what the check finds is not shown over the repair's progress,
    // and the step's button does not come back to register the service again.
    void aCheckUnderWayLeavesARepairsStepToIt_data() {
        QTest::addColumn<bool>("isPoll");
        QTest::addColumn<bool>("isInAgentProbe"); // else the daemon's, before it
        QTest::newRow("a poll pass, in the daemon's probe") << true << false;
        QTest::newRow("a poll pass, in the agent's probe") << true << true;
        QTest::newRow("a full check, in the daemon's probe") << false << false;
        QTest::newRow("a full check, in the agent's probe") << false << true;
    }
    void aCheckUnderWayLeavesARepairsStepToIt() {
        QFETCH(bool, isPoll);
        QFETCH(bool, isInAgentProbe);
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::enabled);
        scene.setAgentBuildNumber(std::nullopt);
        scene.services.agentStatus = ServiceStatus::notRegistered;
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.monitor->agentStatus(), AgentStatus::cannotConnect);
        // The check waits in a probe while the user repairs the agent.
        QSemaphore inProbe;
        QSemaphore probeMayEnd;
        const auto wait = [&] {
            inProbe.release();
            probeMayEnd.tryAcquire(1, 5000);
        };
        if (isInAgentProbe)
            scene.onAgentQuery(wait);
        else
            scene.daemonConnection.onGetStatus = wait;
        if (isPoll)
            scene.clock.advance(1s);
        else
            scene.monitor->refresh();
        QVERIFY(QTest::qWaitFor([&] { return inProbe.tryAcquire(); }, 5000));
        const qsizetype reports = scene.reports.size();
        scene.repairs->fixAgent();
        probeMayEnd.release();
        QVERIFY(scene.waitForReports(reports + 1));
        QVERIFY(scene.monitor->agentStep().isChecking);
        QCOMPARE(scene.monitor->agentStep().button, ButtonState::inProgress());

        // The repair's own probe, after its wait, tells.
        scene.onAgentQuery(nullptr);
        {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            scene.daemonConnection.onGetStatus = nullptr;
        }
        scene.makeAllHealthy();
        scene.runFor(2s);
        QCOMPARE(scene.monitor->agentStatus(), AgentStatus::ok);
        QCOMPARE(scene.services.count("agent.register"), 1);
    }

    // A repair already under way when Refresh is pressed keeps its step too:
    // the full check neither probes the service nor stores for it, so the
    // button does not come back to take the service out a second time. A
    // repair's own probe stores only if no newer repair of the service began
    // since, and the newest one's probe then tells.
    void aCheckBegunDuringARepairLeavesItsStepToIt_data() {
        QTest::addColumn<bool>("isAgent");
        QTest::newRow("daemon") << false;
        QTest::newRow("agent") << true;
    }
    void aCheckBegunDuringARepairLeavesItsStepToIt() {
        QFETCH(bool, isAgent);
        SetupScene scene;
        if (isAgent)
            scene.setAgentBuildNumber(std::nullopt);
        else
            scene.makeDaemonUnreachable(ServiceStatus::enabled);
        QVERIFY(scene.appearAndSettle());
        const auto step = [&] {
            return isAgent ? scene.monitor->agentStep() : scene.monitor->daemonStep();
        };
        const auto fix = [&] { isAgent ? scene.repairs->fixAgent() : scene.repairs->fixDaemon(); };
        const QString service = isAgent ? "agent" : "daemon";
        QVERIFY(!step().isChecking);

        fix(); // takes the service out, registers it at 0.5 s, probes at 2.5 s
        scene.runFor(200ms);
        scene.monitor->refresh();
        QVERIFY(scene.waitForReports(2));
        QVERIFY(step().isChecking);
        QCOMPARE(step().button, ButtonState::inProgress());

        scene.runFor(800ms);
        fix(); // a second repair: registers at 1.5 s, probes at 3.5 s
        scene.runFor(1600ms);
        QVERIFY(step().isChecking); // the first repair's probe, at 2.5 s, is not shown
        QCOMPARE(scene.services.count(service + ".unregisterAsync"), 2);

        scene.makeAllHealthy();
        scene.runFor(1s);
        QVERIFY(step().isOK);
        QCOMPARE(scene.services.count(service + ".register"), 2);
    }

    void extensionRequestOutcomes_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<NEStatus>("status");
        QTest::newRow("approval, then completion")
            << "approval" << NEStatus::needAuthForNetworkExtension;
        QTest::newRow("needs reboot") << "reboot" << NEStatus::needSystemReboot;
        QTest::newRow("failure") << "failure" << NEStatus::cannotConnect;
    }

    void extensionRequestOutcomes() {
        QFETCH(QString, answer);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());

        scene.repairs->fixNetworkExtension();
        QCOMPARE(scene.extensions.bundleIdentifiers, QStringList{kNetworkExtensionBundleId});
        const auto delegate = scene.extensions.lastDelegate();
        if (answer == "approval")
            delegate->requestNeedsUserApproval();
        if (answer == "reboot")
            delegate->requestDidFinish(RequestResult::willCompleteAfterReboot);
        if (answer == "failure")
            delegate->requestDidFail(PlatformError{"refused"});
        QTEST(scene.monitor->neStatus(), "status");
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
        if (answer != "approval")
            return;

        // The filter is switched on anew, and the extension probed 2 s later.
        delegate->requestDidFinish(RequestResult::completed);
        QTRY_COMPARE(scene.filter.savedEnabledStates, (QList<bool>{false, true}));
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(2s)));
        scene.clock.advance(2s);
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.monitor->neStatus(), NEStatus::ok);
    }

    void linkButtonRunsTheScriptThenProbes_data() {
        QTest::addColumn<QString>("before"); // "no link", "no directory" or "other link"
        QTest::addColumn<ScriptRunResult>("result");
        QTest::addColumn<QString>("commands"); // with $dir, $link and $tool
        QTest::addColumn<QString>("error");

        const QString failed = "Failed to create CLI symlink: ";
        QTest::newRow("succeeded") << "no link" << ScriptRunResult{} << "ln -s $tool $link"
                                   << "";
        QTest::newRow("no directory, cancelled")
            << "no directory" << ScriptRunResult{true, true, QStringLiteral("User canceled.")}
            << "mkdir -p $dir && ln -s $tool $link" << failed + "User canceled.";
        QTest::newRow("other link, error without message")
            << "other link" << ScriptRunResult{true, true, std::nullopt}
            << "rm -f $link && ln -s $tool $link" << failed + "Unknown error";
    }

    // The link is probed again after every run, whatever the script reported.
    void linkButtonRunsTheScriptThenProbes() {
        QFETCH(QString, before);
        QFETCH(ScriptRunResult, result);
        QFETCH(QString, commands);
        QFETCH(QString, error);
        SetupScene scene;
        const CliLinkPaths& paths = scene.linkPaths;
        scene.removeLink();
        QVERIFY(scene.appearAndSettle());
        if (before == "no directory")
            QVERIFY(QDir(paths.linkDirectory).removeRecursively());
        if (before == "other link")
            scene.link(paths.linkDirectory);
        scene.scripts.result = result;
        LogCapture log;

        scene.repairs->fixCLISymlink();
        commands.replace("$dir", "'" + paths.linkDirectory + "'")
            .replace("$link", "'" + paths.linkPath + "'")
            .replace("$tool", "'" + paths.linkTarget + "'");
        QCOMPARE(scene.scripts.sources,
                 QStringList{"do shell script \"" + commands + "\" with administrator privileges"});
        QStringList errors;
        for (const LogRecord& record : log.records())
            if (record.level == LogLevel::error)
                errors.append(record.message());
        QCOMPARE(errors, error.isEmpty() ? QStringList() : QStringList{error});
        QCOMPARE(scene.monitor->cliStatus(), checkCLISymlink(paths, scene.scripts));
    }

    // An instruction's link opens as it is; one with no target opens nothing.
    void openLinkOpensOnlyALinkWithATarget_data() {
        QTest::addColumn<QUrl>("link");
        QTest::addColumn<bool>("isOpened");
        QTest::newRow("settings") << QUrl(kLoginItemsSettingsLink) << true;
        QTest::newRow("empty") << QUrl() << false;
        QTest::newRow("empty text") << QUrl(QString()) << false;
        QTest::newRow("invalid") << QUrl("http://[::1") << false;
        QTest::newRow("without a scheme") << QUrl("settings") << false;
    }

    void openLinkOpensOnlyALinkWithATarget() {
        QFETCH(QUrl, link);
        QFETCH(bool, isOpened);
        SetupScene scene;
        scene.repairs->openLink(link);
        QCOMPARE(scene.workspace.opened, isOpened ? QList<QUrl>{link} : QList<QUrl>());
    }

    void restartGoesOnOnceTheExtensionAnswers_data() {
        QTest::addColumn<bool>("answersLater");
        QTest::addColumn<QStringList>("requestLines");
        const QString submitted = "Submitted network extension activation request";
        QTest::newRow("needs approval, at once")
            << false
            << QStringList{"Network extension requires user approval in System Settings", submitted,
                           "Restart: network extension replacement requires approval"};
        QTest::newRow("completed, ten seconds later")
            << true
            << QStringList{submitted, "Network extension activation completed",
                           "Restart: network extension replaced successfully"};
    }

    void restartGoesOnOnceTheExtensionAnswers() {
        QFETCH(bool, answersLater);
        QFETCH(QStringList, requestLines);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());
        LogCapture log;
        if (!answersLater)
            scene.extensions.onSubmit = [](auto delegate) {
                delegate.lock()->requestNeedsUserApproval();
            };

        scene.repairs->restartServices();
        if (answersLater)
            scene.clock.advance(10s);
        QCOMPARE(scene.services.operations(),
                 (QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}));
        if (answersLater)
            scene.extensions.lastDelegate()->requestDidFinish(RequestResult::completed);
        QTRY_COMPARE(scene.clock.pendingTimerCount(), 1);
        const Millis start = scene.clock.now();
        scene.clock.advance(1s);
        QCOMPARE(scene.services.operations().mid(2),
                 (QStringList{"daemon.register", "agent.register"}));
        QCOMPARE(scene.services.calls().last().at, start + 1s);
        scene.clock.advance(2s);
        QVERIFY(scene.waitForReports(2)); // the fresh check
        const QStringList lines =
            QStringList{"User clicked Restart Services button", "Restart: deregistering daemon",
                        "Restart: deregistering agent", "Restart: replacing network extension"} +
            requestLines +
            QStringList{"Restart: registering daemon", "Restart: registering agent",
                        "Restart: complete"};
        QCOMPARE(log.messages(), lines);
    }

    void flowOutcomes_data() {
        QTest::addColumn<bool>("isStop");
        QTest::addColumn<QString>("failingStep"); // none: the flow succeeds
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<int>("extensionRequests");

        const QStringList both{"daemon.unregisterAsync", "agent.unregisterAsync"};
        QTest::newRow("restart: agent unregistration") << false << "agent" << both << 0;
        QTest::newRow("restart: extension replacement") << false << "extension" << both << 1;
        QTest::newRow("restart: daemon registration")
            << false << "daemon register" << both + QStringList{"daemon.register"} << 1;
        QTest::newRow("stop: both taken out") << true << QString() << both << 0;
        QTest::newRow("stop: daemon unregistration")
            << true << "daemon" << QStringList{"daemon.unregisterAsync"} << 0;
    }

    void flowOutcomes() {
        QFETCH(bool, isStop);
        QFETCH(QString, failingStep);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());
        const PlatformError denied{"denied"};
        if (failingStep == "agent")
            scene.services.agentUnregisterResult = denied;
        if (failingStep == "daemon")
            scene.services.daemonUnregisterResult = denied;
        if (failingStep == "daemon register")
            scene.services.daemonRegisterResults.push_back(denied);
        scene.extensions.onSubmit = [&](auto delegate) {
            if (failingStep == "extension")
                delegate.lock()->requestDidFail(denied);
            else
                delegate.lock()->requestDidFinish(RequestResult::completed);
        };
        LogCapture log;

        isStop ? scene.repairs->stopAllServices() : scene.repairs->restartServices();
        scene.clock.advance(5s);
        QCOMPARE(isStop ? scene.repairs->stopError() : scene.repairs->restartError(),
                 failingStep.isEmpty() ? "" : "denied");
        // Ended either way: the screen-wide buttons are back.
        QVERIFY(!scene.repairs->isRestarting());
        QVERIFY(!scene.repairs->isStopping());
        QTEST(scene.services.operations(), "operations");
        QTEST(int(scene.extensions.bundleIdentifiers.size()), "extensionRequests");
        QVERIFY(scene.waitForReports(2)); // a full check follows
        QCOMPARE(scene.filter.loadCount, 2);
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
        if (failingStep.isEmpty()) {
            QCOMPARE(log.messages(), (QStringList{"User clicked Stop All Services button",
                                                  "Stop all: deregistering daemon",
                                                  "Stop all: deregistering agent"}));
            return;
        }

        // The error is logged last, and kept out of the redacted log.
        const QString failed = isStop ? "Stop all failed: " : "Restart failed: ";
        QCOMPARE(log.records().last().message(), failed + "denied");
        QCOMPARE(log.records().last().redactedMessage(), failed + "<private>");
    }

    // Each flow's lines, whole and in order, with their category and level.
    void flowsLogTheirLines_data() {
        QTest::addColumn<QString>("flow");
        QTest::addColumn<QStringList>("lines");
        const QString info = "setup info: ";
        const QString error = "setup error: ";
        const QString submitted = info + "Submitted network extension activation request";
        const QStringList fixExtension{info +
                                           "User clicked Fix Network Extension button (status: ok)",
                                       submitted, info + "Replacing existing extension 41 with 42"};
        const QStringList cycleFilter{info +
                                          "Filter already enabled, cycling to force startFilter()",
                                      info + "Network filter re-enabled successfully"};
        const QStringList restart{
            info + "User clicked Restart Services button", info + "Restart: deregistering daemon",
            info + "Restart: deregistering agent", info + "Restart: replacing network extension"};

        QTest::newRow("daemon registered again")
            << "daemon"
            << QStringList{info + "User clicked Fix Sandbox Daemon button (status: ok)",
                           info + "Unregistering existing daemon before re-registration",
                           info + "Daemon registered successfully"};
        QTest::newRow("agent failing twice")
            << "agent"
            << QStringList{info + "User clicked Fix Notification Agent button (status: ok)",
                           info + "Unregistering existing agent before re-registration",
                           error + "Initial agent registration failed, retrying: not yet",
                           error + "Failed to register ZorAgent: not yet"};
        QTest::newRow("extension after a reboot")
            << "reboot"
            << fixExtension + QStringList{info + "Network extension will complete after reboot",
                                          info + "Network extension requires reboot to complete "
                                                 "replacement"};
        QTest::newRow("extension failing")
            << "failure"
            << fixExtension +
                   QStringList{error + "Network extension request failed: refused (code 4)",
                               error + "Network extension activation failed: refused"};
        QTest::newRow("extension approved, then completed")
            << "approval"
            << fixExtension +
                   QStringList{info + "Network extension requires user approval in System Settings",
                               info + "Network extension requires user approval",
                               info + "Network extension activation completed",
                               info + "Network extension activated successfully"} +
                   cycleFilter;
        QTest::newRow("extension answering the second ping")
            << "ping"
            << QStringList{info + "User clicked Refresh button",
                           info + "NE not responding, re-enabling filter configuration"} +
                   cycleFilter;
        QTest::newRow("restart, replacement after a reboot")
            << "restart, reboot"
            << restart + QStringList{info + "Network extension will complete after reboot",
                                     submitted,
                                     info + "Restart: network extension replacement needs reboot",
                                     info + "Restart: registering daemon",
                                     info + "Restart: registering agent",
                                     info + "Restart: complete"};
        QTest::newRow("restart, replacement failing")
            << "restart, failure"
            << restart + QStringList{
                             error + "Network extension request failed: denied (code 1)", submitted,
                             error + "Restart: network extension replacement failed: denied",
                             error + "Restart failed: denied"};
    }
    void flowsLogTheirLines() {
        QFETCH(QString, flow);
        SetupScene scene;
        scene.services.daemonStatus = ServiceStatus::enabled;
        QVERIFY(scene.appearAndSettle());
        if (flow == "agent")
            scene.services.agentRegisterResults.assign(2, PlatformError{"not yet"});
        scene.extensions.onSubmit = [&](auto request) {
            if (flow == "restart, reboot")
                request.lock()->requestDidFinish(RequestResult::willCompleteAfterReboot);
            if (flow == "restart, failure")
                request.lock()->requestDidFail(PlatformError{"denied", 1});
        };
        LogCapture log;

        if (flow == "daemon")
            scene.repairs->fixDaemon();
        if (flow == "agent")
            scene.repairs->fixAgent();
        if (QStringList{"reboot", "failure", "approval"}.contains(flow)) {
            scene.repairs->fixNetworkExtension();
            const auto delegate = scene.extensions.lastDelegate();
            delegate->actionForReplacingExtension({"", "41", "1.0"}, {"", "42", "1.1"});
            if (flow == "reboot")
                delegate->requestDidFinish(RequestResult::willCompleteAfterReboot);
            if (flow == "failure")
                delegate->requestDidFail(PlatformError{"refused", 4});
            if (flow == "approval") {
                delegate->requestNeedsUserApproval();
                delegate->requestDidFinish(RequestResult::completed);
            }
        }
        if (flow == "ping") {
            {
                QMutexLocker lock(&scene.daemonConnection.mutex);
                scene.daemonConnection.pingAnswers = {false};
            }
            scene.monitor->refresh();
        }
        if (flow.startsWith("restart"))
            scene.repairs->restartServices();
        scene.runFor(6s); // each flow and the checks after it end
        QTEST(log.lines(), "lines");
    }

    // Two flows of a kind overlap: the flow shows running until both ended,
    // and the error shown is that of the one that ended last, here none.
    void overlappingFlowsEndAsTheLastToEnd_data() {
        QTest::addColumn<bool>("isStop");
        QTest::newRow("restart") << false; // the first waits on the extension
        QTest::newRow("stop") << true;     // the first waits its second
    }
    void overlappingFlowsEndAsTheLastToEnd() {
        QFETCH(bool, isStop);
        SetupScene scene;
        QVERIFY(scene.appearAndSettle());
        const auto start = [&] {
            isStop ? scene.repairs->stopAllServices() : scene.repairs->restartServices();
        };
        const auto isRunning = [&] {
            return isStop ? scene.repairs->isStopping() : scene.repairs->isRestarting();
        };
        const auto error = [&] {
            return isStop ? scene.repairs->stopError() : scene.repairs->restartError();
        };

        start();
        scene.services.daemonUnregisterResult = PlatformError{"not registered"};
        start(); // fails at once
        QCOMPARE(error(), "not registered");
        QVERIFY(isRunning());

        scene.services.daemonUnregisterResult.reset();
        if (!isStop)
            scene.extensions.delegates.first().lock()->requestDidFinish(RequestResult::completed);
        scene.runFor(3s);
        QVERIFY(!isRunning());
        QCOMPARE(error(), QString());
    }
};

int runRepairTests(int argc, char** argv) {
    RepairTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_repairs.moc"
