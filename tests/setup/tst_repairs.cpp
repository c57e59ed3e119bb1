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

    void registrationTimes_data() {
        QTest::addColumn<QString>("service");
        QTest::addColumn<ServiceStatus>("registration");
        QTest::addColumn<int>("failures"); // registrations that fail
        QTest::addColumn<QList<Millis>>("times");

        using S = ServiceStatus;
        QTest::newRow("daemon registered: again half a second after its unregistration")
            << "daemon" << S::enabled << 0 << QList{Millis(500)};
        QTest::newRow("daemon not registered: at once")
            << "daemon" << S::notRegistered << 1 << QList{Millis(0)};
        QTest::newRow("agent registered: again half a second after its unregistration")
            << "agent" << S::enabled << 0 << QList{Millis(500)};
        QTest::newRow("agent: once when that succeeds")
            << "agent" << S::notRegistered << 0 << QList{Millis(0)};
        QTest::newRow("agent: a retry 2 s later")
            << "agent" << S::notRegistered << 1 << QList{Millis(0), Millis(2000)};
        QTest::newRow("agent: no third try")
            << "agent" << S::notRegistered << 2 << QList{Millis(0), Millis(2000)};
    }

    // The service is probed again 2 s after its last registration.
    void registrationTimes() {
        QFETCH(QString, service);
        QFETCH(ServiceStatus, registration);
        QFETCH(int, failures);
        QFETCH(QList<Millis>, times);
        const bool isDaemon = service == "daemon";
        SetupScene scene;
        if (isDaemon) {
            scene.makeDaemonUnreachable(registration);
        } else {
            scene.setAgentBuildNumber(std::nullopt);
            scene.services.agentStatus = registration;
        }
        QVERIFY(scene.appearAndSettle());
        scene.model->disappear(); // no poll in the way
        auto& results =
            isDaemon ? scene.services.daemonRegisterResults : scene.services.agentRegisterResults;
        results.assign(failures, failure("not yet"));

        const Millis start = scene.clock.now();
        isDaemon ? scene.model->fixDaemon() : scene.model->fixAgent();
        QVERIFY((isDaemon ? scene.model->daemonStep() : scene.model->agentStep()).isChecking);
        scene.clock.advance(times.last());
        for (Millis& time : times)
            time += start;
        QCOMPARE(timesOf(scene.services, service + ".register"), times);
        QCOMPARE(scene.services.count(service + ".unregisterAsync"),
                 registration == ServiceStatus::notRegistered ? 0 : 1);
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(2s)));
        scene.clock.advance(2s);
        QVERIFY(scene.waitForReports(2));
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
        QCOMPARE(scene.clock.nextTimerIn(), std::optional(Millis(2s)));
        scene.clock.advance(2s);
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
