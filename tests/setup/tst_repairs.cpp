#include "LogCapture.h"
#include "SetupRig.h"
#include "SetupTests.h"
#include "setup/CliLinkRepair.h"

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

} // namespace

class RepairTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QThreadPool::globalInstance()->waitForDone(); }

    void fullDiskAccessButtonOpensSettingsAndRegistersNothing() {
        SetupRig rig;
        rig.connection.status->esClientResult = 4;
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::needAuthForFullDiskAccess);
        LogCapture log;

        rig.model->fixDaemon();
        QCOMPARE(rig.workspace.opened,
                 QList<QUrl>{QUrl(QString::fromLatin1(kFullDiskAccessSettingsLink))});
        QCOMPARE(rig.services.count("daemon.register"), 0);
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::needAuthForFullDiskAccess);
        QCOMPARE(log.messages(), QStringList{"User clicked Fix Sandbox Daemon button (status: "
                                             "needAuthForFullDiskAccess)"});
    }

    void registeredDaemonIsUnregisteredAndRegisteredHalfASecondLater() {
        SetupRig rig;
        rig.connection.status.reset();
        rig.services.daemonStatus = ServiceStatus::enabled;
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::cannotConnect);
        rig.model->disappear(); // no poll in the way
        LogCapture log;

        const Millis start = rig.clock.now();
        rig.model->fixDaemon();
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::checking);
        QTRY_COMPARE(rig.services.count("daemon.unregisterAsync"), 1);
        rig.clock.advance(499ms);
        QCOMPARE(rig.services.count("daemon.register"), 0);
        rig.clock.advance(1ms);
        QCOMPARE(timesOf(rig.services, "daemon.register"), QList<Millis>{start + 500ms});

        rig.connection.status = DaemonStatusRecord{0, "1.0", zorBuildNumber()};
        rig.clock.advance(1999ms);
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::checking);
        const qsizetype reports = rig.reports.size();
        rig.clock.advance(1ms);
        QVERIFY(rig.waitForReports(reports + 1));
        QCOMPARE(rig.model->daemonStatus(), DaemonStatus::ok);
        QCOMPARE(log.messages(),
                 (QStringList{"User clicked Fix Sandbox Daemon button (status: cannotConnect)",
                              "Unregistering existing daemon before re-registration",
                              "Daemon registered successfully"}));
    }

    void unregisteredDaemonIsRegisteredAtOnce() {
        SetupRig rig;
        rig.connection.status->esClientResult = 2;
        QVERIFY(rig.appearAndSettle());
        rig.model->disappear();
        rig.services.daemonRegisterResults.push_back(failure("no bundle"));
        LogCapture log;

        rig.model->fixDaemon();
        QCOMPARE(rig.services.operations(), (QStringList{"daemon.status", "daemon.register"}));
        QCOMPARE(log.messages().last(), QStringLiteral("Failed to register daemon: no bundle"));
        rig.clock.advance(2s);
        QVERIFY(rig.waitForReports(2));
    }

    void agentIsRegisteredExactlyTwiceTwoSecondsApart_data() {
        QTest::addColumn<bool>("retryFails");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("retry succeeds") << false << "ZorAgent registered successfully";
        QTest::newRow("retry fails") << true << "Failed to register ZorAgent: still no";
    }

    void agentIsRegisteredExactlyTwiceTwoSecondsApart() {
        QFETCH(bool, retryFails);
        SetupRig rig;
        rig.setAgentBuild(std::nullopt);
        QVERIFY(rig.appearAndSettle());
        QCOMPARE(rig.model->agentStatus(), AgentStatus::cannotConnect);
        rig.model->disappear();
        rig.services.agentRegisterResults = {
            failure("not yet"), retryFails ? std::optional(failure("still no")) : std::nullopt};
        LogCapture log;

        const Millis start = rig.clock.now();
        rig.model->fixAgent();
        QCOMPARE(rig.model->agentStatus(), AgentStatus::checking);
        rig.clock.advance(1999ms);
        QCOMPARE(rig.services.count("agent.register"), 1);
        rig.clock.advance(10s);
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(timesOf(rig.services, "agent.register"), (QList<Millis>{start, start + 2s}));
        QCOMPARE(rig.services.count("agent.unregisterAsync"), 0);
        QFETCH(QString, outcome);
        QCOMPARE(log.messages(),
                 (QStringList{"User clicked Fix Notification Agent button (status: cannotConnect)",
                              "Initial agent registration failed, retrying: not yet", outcome}));
    }

    void outdatedDaemonOrAgentButtonRestarts_data() {
        QTest::addColumn<bool>("isDaemon");
        QTest::newRow("daemon") << true;
        QTest::newRow("agent") << false;
    }

    void outdatedDaemonOrAgentButtonRestarts() {
        QFETCH(bool, isDaemon);
        SetupRig rig;
        if (isDaemon)
            rig.connection.status->buildNumber = "1";
        else
            rig.setAgentBuild(QStringLiteral("1"));
        QVERIFY(rig.appearAndSettle());
        QVERIFY(rig.model->isAnyOutdated());
        rig.model->disappear();
        rig.extensions.onSubmit = [](auto delegate) {
            delegate.lock()->requestNeedsUserApproval();
        };
        LogCapture log;

        isDaemon ? rig.model->fixDaemon() : rig.model->fixAgent();
        QVERIFY(rig.model->isRestarting());
        QVERIFY(log.contains("User clicked Restart Services button"));
        QCOMPARE(rig.services.count("daemon.register") + rig.services.count("agent.register"), 0);
        rig.clock.advance(3s);
        QVERIFY(!rig.model->isRestarting());
        QVERIFY(rig.waitForReports(2));
    }

    void extensionApprovalThenCompletion() {
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.model->disappear();
        LogCapture log;

        rig.model->fixNetworkExtension();
        QCOMPARE(rig.extensions.bundleIdentifiers,
                 QStringList{QString::fromLatin1(kNetworkExtensionBundleId)});
        const auto delegate = rig.extensions.lastDelegate();
        QVERIFY(delegate);
        delegate->requestNeedsUserApproval();
        QCOMPARE(rig.model->neStatus(), NEStatus::needAuthForNetworkExtension);

        delegate->requestDidFinish(RequestResult::completed);
        QTRY_COMPARE(rig.filter.savedEnabledStates, (QList<bool>{false, true}));
        rig.clock.advance(1999ms);
        QCOMPARE(rig.model->neStatus(), NEStatus::needAuthForNetworkExtension);
        rig.clock.advance(1ms);
        QVERIFY(rig.waitForReports(2));
        QCOMPARE(rig.model->neStatus(), NEStatus::ok);
        QCOMPARE(log.messages(LogCategory::setup).mid(0, 5),
                 (QStringList{"User clicked Fix Network Extension button (status: ok)",
                              "Submitted network extension activation request",
                              "Network extension requires user approval in System Settings",
                              "Network extension requires user approval",
                              "Network extension activation completed"}));
        QVERIFY(log.contains("Network extension activated successfully"));
    }

    void extensionActivationOutcomes_data() {
        QTest::addColumn<bool>("isReboot");
        QTest::addColumn<NEStatus>("status");
        QTest::addColumn<QString>("line");
        QTest::newRow("needs reboot")
            << true << NEStatus::needSystemReboot
            << "Network extension requires reboot to complete replacement";
        QTest::newRow("failure") << false << NEStatus::cannotConnect
                                 << "Network extension activation failed: refused";
    }

    void extensionActivationOutcomes() {
        QFETCH(bool, isReboot);
        SetupRig rig;
        QVERIFY(rig.appearAndSettle());
        rig.model->disappear();
        LogCapture log;

        rig.model->fixNetworkExtension();
        if (isReboot)
            rig.extensions.lastDelegate()->requestDidFinish(RequestResult::willCompleteAfterReboot);
        else
            rig.extensions.lastDelegate()->requestDidFail(failure("refused"));
        QTEST(rig.model->neStatus(), "status");
        QTEST(log.messages().last(), "line");
        QVERIFY(rig.filter.savedEnabledStates.isEmpty());
    }

    void linkCommands_data() {
        QTest::addColumn<bool>("hasDirectory");
        QTest::addColumn<bool>("hasLink");
        QTest::addColumn<QString>("script");

        const QString ln =
            "ln -s '/Applications/Zor.app/Contents/MacOS/zor-cli' '/usr/local/bin/zor'";
        const auto script = [](const QString& commands) {
            return "do shell script \"" + commands + "\" with administrator privileges";
        };
        QTest::newRow("directory, no link") << true << false << script(ln);
        QTest::newRow("no directory")
            << false << false << script("mkdir -p '/usr/local/bin' && " + ln);
        QTest::newRow("existing link")
            << true << true << script("rm -f '/usr/local/bin/zor' && " + ln);
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
        SetupRig rig;
        QFile::remove(rig.paths.linkPath);
        QVERIFY(rig.appearAndSettle());
        rig.model->disappear();
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::missing);
        rig.scripts.result = result;
        LogCapture log;

        rig.model->fixCLISymlink();
        QCOMPARE(rig.scripts.sources,
                 QStringList{"do shell script \"ln -s '" + rig.paths.linkTarget + "' '" +
                             rig.paths.linkPath + "'\" with administrator privileges"});
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::missing); // the fake links nothing
        QStringList errors;
        for (const LogRecord& record : log.records())
            if (record.level == LogLevel::error)
                errors.append(record.message());
        QTEST(errors, "errors");

        // The link is probed again after every run, whatever the script reported.
        rig.link(rig.paths.linkTarget);
        rig.model->fixCLISymlink();
        QCOMPARE(rig.scripts.sources.last(), "do shell script \"rm -f '" + rig.paths.linkPath +
                                                 "' && ln -s '" + rig.paths.linkTarget + "' '" +
                                                 rig.paths.linkPath +
                                                 "'\" with administrator privileges");
        QCOMPARE(rig.model->cliStatus(), CLISymlinkStatus::ok);
    }

    void instructionLinkOpensThroughTheWorkspace() {
        SetupRig rig;
        const QUrl url(QString::fromLatin1(kLoginItemsSettingsLink));
        rig.model->openLink(url);
        QCOMPARE(rig.workspace.opened, QList<QUrl>{url});
    }
};

int runRepairTests(int argc, char** argv) {
    RepairTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_repairs.moc"
