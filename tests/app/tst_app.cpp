#include "FakePlatform.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "app/HeadlessRegistration.h"
#include "app/LaunchMode.h"
#include "platform/portable/PortableFileManager.h"
#include "shared/Identifiers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace zor;
using namespace zor::testing;

using Errors = std::deque<std::optional<PlatformError>>;

Q_DECLARE_METATYPE(Errors)
Q_DECLARE_METATYPE(ServiceStatus)
Q_DECLARE_METATYPE(LaunchMode)
Q_DECLARE_METATYPE(std::optional<PlatformError>)

namespace {

PlatformError failure(const char* text) {
    return PlatformError{QString::fromUtf8(text), 1};
}

// One headless run against fakes, with the link placed in a temporary directory.
struct Run {
    VirtualClock clock;
    FakeServiceManagement services{&clock};
    FakeSystemExtensionManager extensions;
    FakeFilterManager filter;
    FakeConsole console;
    PortableFileManager files;
    QTemporaryDir root;
    CliLinkPaths paths{root.filePath("bin/zor"), root.filePath("bin"), root.filePath("zor-cli")};
    QString runningProgram = root.filePath("app/zor");
    std::unique_ptr<HeadlessRegistration> registration;

    // The tool the link points at is installed.
    Run() {
        if (!QFile(paths.linkTarget).open(QIODevice::WriteOnly))
            qFatal("Run: the tool could not be made");
    }

    void start() {
        registration = std::make_unique<HeadlessRegistration>(
            HeadlessRegistration::Services{services, extensions, filter, console, files, clock},
            paths, runningProgram);
        registration->start();
    }

    // Plays the system's part: the request that start() submitted.
    SystemExtensionRequestDelegate& request() {
        if (!extensions.lastDelegate())
            qFatal("no activation request is alive");
        return *extensions.lastDelegate();
    }

    void startAndActivate() {
        start();
        request().requestDidFinish(RequestResult::completed);
    }

    // "agent.register@1000": each call with the virtual time it came at.
    QStringList timedOperations() const {
        QStringList out;
        for (const auto& call : services.calls())
            out.append(
                QStringLiteral("%1.%2@%3").arg(call.service, call.operation).arg(call.at.count()));
        return out;
    }

    bool linkPointsAtTarget() const {
        const QFileInfo link(paths.linkPath);
        return link.isSymLink() && link.symLinkTarget() == paths.linkTarget;
    }
};

// "level: message" for each app line, as a reader without private access sees it.
QStringList redactedAppLog(const LogCapture& capture) {
    QStringList out;
    for (const LogRecord& record : capture.records())
        if (record.category == LogCategory::app)
            out.append(levelName(record.level) + QStringLiteral(": ") + record.redactedMessage());
    return out;
}

bool writeFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("old") == 3;
}

} // namespace

class AppTest : public QObject {
    Q_OBJECT

private slots:
    void launchModeNeedsTheWholeSwitch_data() {
        QTest::addColumn<QByteArrayList>("arguments");
        QTest::addColumn<LaunchMode>("mode");

        const auto headless = LaunchMode::headless;
        const auto windowed = LaunchMode::windowed;
        QTest::newRow("no arguments") << QByteArrayList{"zor"} << windowed;
        QTest::newRow("last of others")
            << QByteArrayList{"zor", "-v", "--register-services"} << headless;
        QTest::newRow("as the program path") << QByteArrayList{"--register-services"} << headless;
        QTest::newRow("near misses only")
            << QByteArrayList{"zor", "--register-services=1", "--Register-Services",
                              "--register-service", "x--register-services"}
            << windowed;
    }

    void launchModeNeedsTheWholeSwitch() {
        QFETCH(QByteArrayList, arguments);
        QFETCH(LaunchMode, mode);
        std::vector<const char*> argv;
        for (const QByteArray& argument : arguments)
            argv.push_back(argument.constData());
        argv.push_back(nullptr);
        QCOMPARE(chooseLaunchMode(int(arguments.size()), argv.data()), mode);
    }

    void servicesRegisterWithOneAgentRetry_data() {
        QTest::addColumn<ServiceStatus>("daemonStatus");
        QTest::addColumn<ServiceStatus>("agentStatus");
        QTest::addColumn<Errors>("daemonErrors");
        QTest::addColumn<Errors>("agentErrors");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<int>("exitStatus");

        const auto none = ServiceStatus::notRegistered;
        const QStringList retried = {"daemon.status@0",    "daemon.register@0",
                                     "agent.status@0",     "agent.register@0",
                                     "agent.unregister@0", "agent.register@1000"};
        QTest::newRow("agent fails once")
            << none << none << Errors{} << Errors{failure("first")}
            << QStringList{"Daemon: registered", "ZorAgent: retrying registration...",
                           "ZorAgent: registered"}
            << retried
            << QStringList{"info: Daemon registered successfully",
                           "error: Initial agent registration failed, retrying: first",
                           "info: ZorAgent registered successfully"}
            << 0;
        QTest::newRow("agent fails twice")
            << none << none << Errors{} << Errors{failure("first"), failure("second")}
            << QStringList{"Daemon: registered", "ZorAgent: retrying registration...",
                           "ZorAgent: failed - second"}
            << retried
            << QStringList{"info: Daemon registered successfully",
                           "error: Initial agent registration failed, retrying: first",
                           "error: Failed to register ZorAgent: second"}
            << 1;
        QTest::newRow("registered before, the daemon fails")
            << ServiceStatus::enabled << ServiceStatus::requiresApproval << Errors{failure("d")}
            << Errors{} << QStringList{"Daemon: failed - d", "ZorAgent: registered"}
            << QStringList{"daemon.status@0",  "daemon.unregister@0",  "daemon.register@500",
                           "agent.status@500", "agent.unregister@500", "agent.register@1000"}
            << QStringList{"error: Failed to register daemon: d",
                           "info: ZorAgent registered successfully"}
            << 1;
    }

    void servicesRegisterWithOneAgentRetry() {
        QFETCH(ServiceStatus, daemonStatus);
        QFETCH(ServiceStatus, agentStatus);
        QFETCH(Errors, daemonErrors);
        QFETCH(Errors, agentErrors);
        QFETCH(QStringList, lines);
        QFETCH(QStringList, log);
        QFETCH(int, exitStatus);

        LogCapture capture;
        Run run;
        run.services.daemonStatus = daemonStatus;
        run.services.agentStatus = agentStatus;
        run.services.daemonRegisterResults = daemonErrors;
        run.services.agentRegisterResults = agentErrors;
        // A failed preparatory unregistration changes nothing.
        run.services.daemonUnregisterResult = failure("not loaded");
        run.services.agentUnregisterResult = failure("not loaded");
        run.startAndActivate();
        QCOMPARE(run.extensions.bundleIdentifiers, QStringList{kNetworkExtensionBundleId});

        // The later steps run whatever happened to the services.
        QCOMPARE(run.console.lines,
                 (lines +
                  QStringList{"CLI symlink: created", "Network Extension: requesting activation...",
                              "Network Extension: activated/updated", "Network Filter: enabled"}));
        QTEST(run.timedOperations(), "operations");
        for (const auto& call : run.services.calls())
            QCOMPARE(call.plistName, call.service == "daemon" ? kDaemonPlistName : kAgentPlistName);
        QCOMPARE(run.console.exitStatuses, QList<int>{exitStatus});
        // Registration errors are public; the link path is not.
        QCOMPARE(redactedAppLog(capture),
                 (log + QStringList{"info: CLI symlink created at <private>",
                                    "info: Network filter enabled successfully"}));
        QVERIFY(capture.contains("CLI symlink created at " + run.paths.linkPath));
    }

    void linkStep_data() {
        QTest::addColumn<QString>("existing"); // what is in the way beforehand
        QTest::addColumn<QString>("error");    // empty when the link gets created

        QTest::newRow("nothing, no directory") << QString() << QString();
        QTest::newRow("a regular file") << "file" << QString();
        QTest::newRow("a link to a directory") << "link" << QString();
        QTest::newRow("a directory with files in it") << "directory" << QString();
        // The existence test follows links: a dangling one stays and blocks the new link.
        QTest::newRow("a dangling link") << "dangling"
                                         << "File exists";
        // Installed at the link's path, as under /usr/local on Linux, the app stays.
        QTest::newRow("this program") << "program"
                                      << "$link is this program itself";
        // A link to it goes as any link does: the program stays.
        QTest::newRow("a link to this program") << "link to program" << QString();
        // No app where the link would point: what is there keeps working, and
        // where nothing is, the link waits for the app.
        QTest::newRow("a regular file, the tool missing") << "file, no tool"
                                                          << "$target does not exist";
        QTest::newRow("nothing, the tool missing") << "no tool" << QString();
    }

    void linkStep() {
        QFETCH(QString, existing);
        QFETCH(QString, error);

        LogCapture capture;
        Run run;
        // The directory is created, with its parents, only when missing.
        run.paths.linkDirectory = run.root.filePath("usr/local/bin");
        run.paths.linkPath = run.paths.linkDirectory + "/zor";
        // Removing a link must leave what it points to alone.
        const QString elsewhere = run.root.filePath("elsewhere");
        QVERIFY(QDir().mkpath(elsewhere) && writeFile(elsewhere + "/keep"));
        if (!existing.isEmpty())
            QVERIFY(QDir().mkpath(run.paths.linkDirectory));
        if (existing.startsWith("file"))
            QVERIFY(writeFile(run.paths.linkPath));
        if (existing.endsWith("no tool"))
            QVERIFY(QFile::remove(run.paths.linkTarget));
        else if (existing == "link")
            QVERIFY(QFile::link(elsewhere, run.paths.linkPath));
        else if (existing == "directory")
            QVERIFY(QDir().mkpath(run.paths.linkPath) && writeFile(run.paths.linkPath + "/old"));
        else if (existing == "dangling")
            QVERIFY(QFile::link(run.root.filePath("gone"), run.paths.linkPath));
        if (existing == "program")
            run.runningProgram = run.paths.linkPath;
        if (existing.contains("program"))
            QVERIFY(QDir().mkpath(QFileInfo(run.runningProgram).path()) &&
                    writeFile(run.runningProgram));
        if (existing == "link to program")
            QVERIFY(QFile::link(run.runningProgram, run.paths.linkPath));
        const bool isKept = existing == "program" || existing == "file, no tool";
        error.replace("$link", run.paths.linkPath).replace("$target", run.paths.linkTarget);

        run.startAndActivate();

        QCOMPARE(run.console.lines.value(2),
                 error.isEmpty() ? QStringLiteral("CLI symlink: created")
                 : isKept        ? "CLI symlink: failed - " + error
                                 : "CLI symlink: failed - " + error + " (may need sudo)");
        if (existing == "program")
            QCOMPARE(QFileInfo(run.paths.linkPath).canonicalFilePath(),
                     QFileInfo(run.runningProgram).canonicalFilePath());
        if (existing.contains("program"))
            QVERIFY(QFileInfo(run.runningProgram).isFile());
        if (existing == "file, no tool")
            QVERIFY(QFileInfo(run.paths.linkPath).isFile() &&
                    !QFileInfo(run.paths.linkPath).isSymLink());
        QCOMPARE(run.linkPointsAtTarget(), error.isEmpty());
        QVERIFY(QFile::exists(elsewhere + "/keep"));
        if (!error.isEmpty())
            QVERIFY(capture.contains("Failed to create CLI symlink: " + error));
        // A missing link does not fail the run.
        QCOMPARE(run.console.lines.size(), 6);
        QCOMPARE(run.console.exitStatuses, QList<int>{0});
    }

    void extensionOutcomeEndsTheRun_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("isDaemonFailing");
        QTest::addColumn<QStringList>("lines");

        const QString approval = "Network Extension: requires approval in System Settings";
        const QString reboot = QString::fromUtf8(
            "Network Extension: replaced \u2014 reboot required to complete the update");
        const QStringList activated = {"Network Extension: activated/updated",
                                       "Network Filter: enabled"};
        const QString replacing = "Network Extension: replacing 41 with 42";
        QTest::newRow("approval") << "approval" << false << QStringList{approval};
        QTest::newRow("approval after a failure") << "approval" << true << QStringList{approval};
        QTest::newRow("reboot") << "reboot" << false << QStringList{reboot};
        QTest::newRow("failure")
            << "failure" << true
            << QStringList{"Network Extension: failed - Extension not found in App bundle"};
        QTest::newRow("unknown result") << "unknown" << false << activated;
        QTest::newRow("replaced") << "replace" << false << QStringList{replacing} + activated;
    }

    void extensionOutcomeEndsTheRun() {
        QFETCH(QString, answer);
        QFETCH(bool, isDaemonFailing);
        QFETCH(QStringList, lines);

        Run run;
        if (isDaemonFailing)
            run.services.daemonRegisterResults = {failure("denied")};
        run.start();
        QVERIFY(run.console.exitStatuses.isEmpty());
        const qsizetype before = run.console.lines.size();

        SystemExtensionRequestDelegate& request = run.request();
        if (answer == "replace") {
            QCOMPARE(request.actionForReplacingExtension({kNetworkExtensionBundleId, "41", "1.0"},
                                                         {kNetworkExtensionBundleId, "42", "1.1"}),
                     ReplacementAction::replace);
        }
        if (answer == "approval")
            request.requestNeedsUserApproval();
        else if (answer == "reboot")
            request.requestDidFinish(RequestResult::willCompleteAfterReboot);
        else if (answer == "failure")
            request.requestDidFail(failure("Extension not found in App bundle"));
        else
            request.requestDidFinish(answer == "unknown" ? RequestResult(7)
                                                         : RequestResult::completed);

        QCOMPARE(run.console.lines.mid(before), lines);
        // The extension's outcome never changes the exit status.
        QCOMPARE(run.console.exitStatuses, QList<int>{isDaemonFailing ? 1 : 0});
        // Only an activated extension goes on to the filter.
        QCOMPARE(run.filter.loadCount, lines.contains("Network Filter: enabled") ? 1 : 0);
    }

    void filterIsEnabledKeepingAnExistingConfiguration_data() {
        QTest::addColumn<bool>("hasConfiguration");
        QTest::addColumn<std::optional<PlatformError>>("loadError");
        QTest::addColumn<std::optional<PlatformError>>("saveError");
        QTest::addColumn<QString>("log");

        const std::optional<PlatformError> ok;
        const QString enabled = "info: Network filter enabled successfully";
        QTest::newRow("no configuration yet") << false << ok << ok << enabled;
        QTest::newRow("existing configuration") << true << ok << ok << enabled;
        QTest::newRow("load fails") << false << std::optional(failure("no permission")) << ok
                                    << "error: Failed to load filter preferences: no permission";
        QTest::newRow("save fails") << false << ok << std::optional(failure("IPC failed"))
                                    << "error: Failed to enable filter: IPC failed";
    }

    void filterIsEnabledKeepingAnExistingConfiguration() {
        QFETCH(bool, hasConfiguration);
        QFETCH(std::optional<PlatformError>, loadError);
        QFETCH(std::optional<PlatformError>, saveError);

        LogCapture capture;
        Run run;
        if (hasConfiguration) {
            run.filter.configuration = {.filterSockets = false, .filterPackets = true};
            run.filter.description = "Mine";
        }
        run.filter.loadError = loadError;
        run.filter.saveErrors = {saveError};
        run.startAndActivate();

        QCOMPARE(run.console.lines.mid(4),
                 (QStringList{"Network Extension: activated/updated",
                              loadError || saveError ? "Network Filter: failed to enable"
                                                     : "Network Filter: enabled"}));
        // The filter's outcome never changes the exit status.
        QCOMPARE(run.console.exitStatuses, QList<int>{0});
        const LogRecord last = capture.records().last();
        QTEST(levelName(last.level) + ": " + last.message(), "log");
        // Nothing changes unless the preferences load; a configuration that exists is kept.
        QCOMPARE(run.filter.savedEnabledStates, loadError ? QList<bool>{} : QList<bool>{true});
        QCOMPARE(run.filter.enabled, !loadError);
        QCOMPARE(run.filter.description, loadError ? "" : hasConfiguration ? "Mine" : "Zor");
        QCOMPARE(run.filter.configuration.has_value(), !loadError);
        if (run.filter.configuration) {
            QCOMPARE(run.filter.configuration->filterSockets, !hasConfiguration);
            QCOMPARE(run.filter.configuration->filterPackets, hasConfiguration);
        }
    }
};

QTEST_GUILESS_MAIN(AppTest)
#include "tst_app.moc"
