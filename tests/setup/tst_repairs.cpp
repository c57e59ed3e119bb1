#include "LogCapture.h"
#include "SetupScene.h"
#include "SetupTests.h"
#include "setup/CliLinkRepair.h"
#include "shared/BuildNumber.h"
#include "shared/Identifiers.h"

#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

PlatformError failure(const char* text) {
    return PlatformError{QString::fromLatin1(text), 1};
}

QList<Millis> timesOf(const FakeServiceManagement& services, const QString& operation) {
    QList<Millis> out;
    for (const auto& call : services.calls())
        if (call.service + u'.' + call.operation == operation)
            out.append(call.at);
    return out;
}

QString adminScript(const QString& commands) {
    return "do shell script \"" + commands + "\" with administrator privileges";
}

} // namespace

class RepairTest : public QObject {
    Q_OBJECT

private slots:
    void fullDiskAccessButtonOpensSettingsAndRegistersNothing() {
        SetupScene scene;
        scene.daemonConnection.status->esClientResult = 4;
        QVERIFY(scene.appearAndSettle());
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::needAuthForFullDiskAccess);

        scene.model->fixDaemon();
        QCOMPARE(scene.workspace.opened,
                 QList<QUrl>{QUrl(QString::fromLatin1(kFullDiskAccessSettingsLink))});
        QCOMPARE(scene.services.operations(), QStringList());
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::needAuthForFullDiskAccess);
    }

    void daemonIsRegisteredAfterItsUnregistration_data() {
        QTest::addColumn<ServiceStatus>("registration");
        QTest::addColumn<Millis>("registeredAfter");
        QTest::newRow("registered: half a second after") << ServiceStatus::enabled << Millis(500);
        QTest::newRow("not registered: at once") << ServiceStatus::notRegistered << Millis(0);
    }

    void daemonIsRegisteredAfterItsUnregistration() {
        QFETCH(ServiceStatus, registration);
        QFETCH(Millis, registeredAfter);
        SetupScene scene;
        scene.makeDaemonUnreachable(registration);
        QVERIFY(scene.appearAndSettle());
        scene.model->disappear(); // no poll in the way

        const Millis start = scene.clock.now();
        scene.model->fixDaemon();
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::checking);
        QCOMPARE(scene.services.count("daemon.unregisterAsync"), registeredAfter > 0ms ? 1 : 0);
        scene.clock.advance(registeredAfter);
        QCOMPARE(timesOf(scene.services, "daemon.register"), QList{start + registeredAfter});

        scene.makeAllHealthy();
        scene.clock.advance(1999ms);
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::checking);
        scene.clock.advance(1ms);
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.model->daemonStatus(), DaemonStatus::ok);
    }

    void agentIsRegisteredExactlyTwiceTwoSecondsApart_data() {
        QTest::addColumn<bool>("retryFails");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("retry succeeds") << false << "ZorAgent registered successfully";
        QTest::newRow("retry fails") << true << "Failed to register ZorAgent: still no";
    }

    void agentIsRegisteredExactlyTwiceTwoSecondsApart() {
        QFETCH(bool, retryFails);
        SetupScene scene;
        scene.setAgentBuildNumber(std::nullopt);
        scene.services.agentStatus = ServiceStatus::notRegistered;
        QVERIFY(scene.appearAndSettle());
        scene.model->disappear();
        scene.services.agentRegisterResults = {
            failure("not yet"), retryFails ? std::optional(failure("still no")) : std::nullopt};
        LogCapture log;

        const Millis start = scene.clock.now();
        scene.model->fixAgent();
        QCOMPARE(scene.model->agentStatus(), AgentStatus::checking);
        scene.clock.advance(10s);
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(timesOf(scene.services, "agent.register"), (QList{start, start + 2s}));
        QTEST(log.messages().last(), "outcome");
    }

    void outdatedDaemonOrAgentButtonRestarts_data() {
        QTest::addColumn<bool>("isDaemon");
        QTest::newRow("daemon") << true;
        QTest::newRow("agent") << false;
    }

    void outdatedDaemonOrAgentButtonRestarts() {
        QFETCH(bool, isDaemon);
        SetupScene scene;
        if (isDaemon)
            scene.daemonConnection.status->buildNumber = "1";
        else
            scene.setAgentBuildNumber(QStringLiteral("1"));
        QVERIFY(scene.appearAndSettle());
        QVERIFY(scene.model->isAnyOutdated());

        isDaemon ? scene.model->fixDaemon() : scene.model->fixAgent();
        QVERIFY(scene.model->isRestarting());
        QCOMPARE(scene.services.operations(),
                 (QStringList{"daemon.unregisterAsync", "agent.unregisterAsync"}));
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

        scene.model->fixNetworkExtension();
        QCOMPARE(scene.extensions.bundleIdentifiers,
                 QStringList{QString::fromLatin1(kNetworkExtensionBundleId)});
        const auto delegate = scene.extensions.lastDelegate();
        if (answer == "approval")
            delegate->requestNeedsUserApproval();
        if (answer == "reboot")
            delegate->requestDidFinish(RequestResult::willCompleteAfterReboot);
        if (answer == "failure")
            delegate->requestDidFail(failure("refused"));
        QTEST(scene.model->neStatus(), "status");
        QVERIFY(scene.filter.savedEnabledStates.isEmpty());
        if (answer != "approval")
            return;

        // The filter is switched on anew, and the extension probed 2 s later.
        delegate->requestDidFinish(RequestResult::completed);
        QTRY_COMPARE(scene.filter.savedEnabledStates, (QList<bool>{false, true}));
        scene.clock.advance(1999ms);
        QTEST(scene.model->neStatus(), "status");
        scene.clock.advance(1ms);
        QVERIFY(scene.waitForReports(2));
        QCOMPARE(scene.model->neStatus(), NEStatus::ok);
    }

    void linkCommands_data() {
        QTest::addColumn<bool>("hasDirectory");
        QTest::addColumn<bool>("hasLink");
        QTest::addColumn<QString>("script");

        const QString ln =
            "ln -s '/Applications/Zor.app/Contents/MacOS/zor-cli' '/usr/local/bin/zor'";
        QTest::newRow("directory, no link") << true << false << adminScript(ln);
        QTest::newRow("no directory")
            << false << false << adminScript("mkdir -p '/usr/local/bin' && " + ln);
        QTest::newRow("existing link")
            << true << true << adminScript("rm -f '/usr/local/bin/zor' && " + ln);
    }

    void linkCommands() {
        QFETCH(bool, hasDirectory);
        QFETCH(bool, hasLink);
        QTEST(administratorScriptSource(cliLinkCommands(CliLinkPaths{}, hasDirectory, hasLink)),
              "script");
    }

    void linkButtonRunsTheScriptThenProbes_data() {
        QTest::addColumn<ScriptRunResult>("result");
        QTest::addColumn<QStringList>("errors");
        QTest::newRow("succeeded") << ScriptRunResult{} << QStringList{};
        QTest::newRow("cancelled") << ScriptRunResult{true, true, QStringLiteral("User canceled.")}
                                   << QStringList{"Failed to create CLI symlink: User canceled."};
        QTest::newRow("error without message")
            << ScriptRunResult{true, true, std::nullopt}
            << QStringList{"Failed to create CLI symlink: Unknown error"};
        QTest::newRow("script not created")
            << ScriptRunResult{false, false, std::nullopt} << QStringList{};
    }

    void linkButtonRunsTheScriptThenProbes() {
        QFETCH(ScriptRunResult, result);
        SetupScene scene;
        const CliLinkPaths& paths = scene.linkPaths;
        scene.removeLink();
        QVERIFY(scene.appearAndSettle());
        scene.scripts.result = result;
        LogCapture log;

        scene.model->fixCLISymlink();
        const QString ln = "ln -s '" + paths.linkTarget + "' '" + paths.linkPath + "'";
        QCOMPARE(scene.scripts.sources, QStringList{adminScript(ln)});
        QStringList errors;
        for (const LogRecord& record : log.records())
            if (record.level == LogLevel::error)
                errors.append(record.message());
        QTEST(errors, "errors");

        // The link is probed again after every run, whatever the script reported.
        QCOMPARE(scene.model->cliStatus(), CLISymlinkStatus::missing); // the fake links nothing
        scene.link(paths.linkTarget);
        scene.model->fixCLISymlink();
        QCOMPARE(scene.scripts.sources.last(),
                 adminScript("rm -f '" + paths.linkPath + "' && " + ln));
        QCOMPARE(scene.model->cliStatus(), CLISymlinkStatus::ok);
    }
};

int runRepairTests(int argc, char** argv) {
    RepairTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_repairs.moc"
