#include "SetupTests.h"
#include "setup/StepDisplay.h"

#include <QMetaEnum>
#include <QTest>

using namespace zor;

namespace {

QString loginItemsLink() {
    return QStringLiteral("[Settings \u2192 General \u2192 Login Items & Extensions](") +
           QString::fromLatin1(kLoginItemsSettingsLink) + u')';
}

QString fullDiskAccessLink() {
    return QStringLiteral("[Settings \u2192 Privacy & Security \u2192 Full Disk Access](") +
           QString::fromLatin1(kFullDiskAccessSettingsLink) + u')';
}

const QString brokenBuild =
    QStringLiteral("This Zor build is broken; please report the bug and update if possible.");

// Every display of one enumeration, case by case.
template <typename Status> QList<StepDisplay> allDisplays() {
    QList<StepDisplay> out;
    const QMetaEnum meta = QMetaEnum::fromType<Status>();
    for (int i = 0; i < meta.keyCount(); ++i)
        out.append(display(Status(meta.value(i))));
    return out;
}

} // namespace

class StatusDisplayTest : public QObject {
    Q_OBJECT

private slots:
    void displayTable_data() {
        QTest::addColumn<StepDisplay>("actual");
        QTest::addColumn<QString>("label");
        QTest::addColumn<StatusColor>("color");
        QTest::addColumn<QString>("instruction"); // null: none
        QTest::addColumn<ButtonState>("button");

        using C = StatusColor;
        const auto cta = [](const char* label) { return ButtonState::cta(label); };
        const auto notice = [](const char* label) { return ButtonState::notice(label); };
        const QString none;
        const QString checking = QStringLiteral("Checking\u2026");
        const auto row = [](const char* name, const StepDisplay& actual, const QString& label,
                            C color, const QString& instruction, const ButtonState& button) {
            QTest::newRow(name) << actual << label << color << instruction << button;
        };

        row("daemon checking", display(DaemonStatus::checking), checking, C::gray, none,
            ButtonState::inProgress());
        row("daemon ok", display(DaemonStatus::ok), "Running", C::green, none, ButtonState::ok());
        row("daemon staleVersion", display(DaemonStatus::staleVersion), "Outdated", C::orange,
            "Daemon is running an older version. Restart to apply the update.", cta("Restart"));
        row("daemon cannotConnect", display(DaemonStatus::cannotConnect), "Not Running", C::red,
            "Cannot connect to daemon. Click 'Enable' and approve in " + loginItemsLink() + ".",
            cta("Approve"));
        row("daemon needAuthForDaemonService", display(DaemonStatus::needAuthForDaemonService),
            "Requires Approval", C::yellow, "Approve the daemon in " + loginItemsLink() + ".",
            cta("Approve"));
        row("daemon needAuthForFullDiskAccess", display(DaemonStatus::needAuthForFullDiskAccess),
            "Full Disk Access Required", C::yellow,
            "Grant Full Disk Access to Zor in " + fullDiskAccessLink() + ".", cta("Approve"));
        row("daemon esInvalidArgument", display(DaemonStatus::esInvalidArgument),
            "ES Invalid Argument (Zor Bug)", C::red, brokenBuild, cta("Try Again"));
        row("daemon esInternalError", display(DaemonStatus::esInternalError), "ES Internal Error",
            C::red,
            "The macOS Endpoint Security has run into an internal error; please report a bug and "
            "update your build if possible.",
            cta("Try Again"));
        row("daemon esNotEntitled", display(DaemonStatus::esNotEntitled),
            "ES Not Entitled (Zor Bug)", C::red, brokenBuild, cta("Try Again"));
        row("daemon esNotPrivileged", display(DaemonStatus::esNotPrivileged),
            "ES Not Privileged (Zor Bug)", C::red, brokenBuild, cta("Try Again"));
        row("daemon esTooManyClients", display(DaemonStatus::esTooManyClients),
            "ES Too Many Clients (Zor Bug)", C::red, brokenBuild, cta("Try Again"));

        row("agent checking", display(AgentStatus::checking), checking, C::gray, none,
            ButtonState::inProgress());
        row("agent ok", display(AgentStatus::ok), "Running", C::green, none, ButtonState::ok());
        row("agent staleVersion", display(AgentStatus::staleVersion), "Outdated", C::orange,
            "Agent is running an older version. Restart to apply the update.", cta("Restart"));
        row("agent cannotConnect", display(AgentStatus::cannotConnect), "Not Running", C::red,
            "Cannot connect to agent. Please register the notification agent.", cta("Register"));

        row("ne checking", display(NEStatus::checking), checking, C::gray, none,
            ButtonState::inProgress());
        row("ne ok", display(NEStatus::ok), "Running", C::green, none, ButtonState::ok());
        row("ne staleVersion", display(NEStatus::staleVersion), "Outdated", C::orange,
            "Network extension is running an older version. Restart to apply the update.",
            cta("Restart"));
        row("ne cannotConnect", display(NEStatus::cannotConnect), "Not Responding", C::red,
            "The network filter is enabled but the extension process is not responding. Reboot "
            "if a previous version is pending removal, or click 'Enable' to reinstall.",
            cta("Enable"));
        row("ne cannotConnectToDaemon", display(NEStatus::cannotConnectToDaemon),
            "Waiting on Daemon", C::red,
            "Cannot check network extension status because the daemon is not running. Fix daemon "
            "first.",
            notice("Waiting"));
        row("ne needSystemReboot", display(NEStatus::needSystemReboot), "Reboot Required",
            C::orange, "Reboot to complete the network extension update.",
            notice("Reboot Required"));
        row("ne needAuthForNetworkExtension", display(NEStatus::needAuthForNetworkExtension),
            "Requires Approval", C::yellow,
            "Approve the network extension in " + loginItemsLink() + ".", cta("Approve"));
        row("ne needAuthForNetworkFilter", display(NEStatus::needAuthForNetworkFilter),
            "Filter Disabled", C::orange,
            "Click 'Approve', toggle on ZorNetworkExtension in System Settings, and click 'Allow' "
            "when prompted to filter network content.",
            cta("Enable"));
        row("ne cannotLoadPreferences", display(NEStatus::cannotLoadPreferences),
            "Configuration Error", C::red,
            "Failed to load network filter preferences. Click 'Enable' to reinstall the "
            "extension.",
            cta("Enable"));

        row("link checking", display(CLISymlinkStatus::checking), checking, C::gray, none,
            ButtonState::inProgress());
        row("link ok", display(CLISymlinkStatus::ok), "Linked", C::green, none, ButtonState::ok());
        row("link missing", display(CLISymlinkStatus::missing), "Not Linked", C::orange,
            "The zor command is not available. Click 'Add Link' to create the symlink.",
            cta("Add Link"));
        row("link wrongTarget", display(CLISymlinkStatus::wrongTarget), "Wrong Target", C::red,
            "The symlink points to the wrong location. Click 'Relink' to fix it.", cta("Relink"));
        row("link notASymlink", display(CLISymlinkStatus::notASymlink), "Not a Symlink", C::red,
            "A non-symlink file exists at /usr/local/bin/zor. Click 'Relink' to replace it.",
            cta("Relink"));
    }

    void displayTable() {
        QFETCH(StepDisplay, actual);
        QFETCH(QString, label);
        QFETCH(StatusColor, color);
        QFETCH(QString, instruction);
        QFETCH(ButtonState, button);

        QCOMPARE(actual.label, label);
        QCOMPARE(actual.color, color);
        QCOMPARE(actual.instruction.has_value(), !instruction.isNull());
        QCOMPARE(actual.instructionText(), instruction);
        QCOMPARE(actual.button.kind, button.kind);
        QCOMPARE(actual.button.label, button.label);
        QCOMPARE(actual.isOK, color == StatusColor::green);
        QCOMPARE(actual.isChecking, button.kind == ButtonKind::inProgress);
    }

    // Guards cases added to an enumeration later: each must come with a display.
    void onlyOkIsHealthyAndOnlyCheckingIsChecking() {
        QList<StepDisplay> displays;
        displays << allDisplays<DaemonStatus>() << allDisplays<AgentStatus>()
                 << allDisplays<NEStatus>() << allDisplays<CLISymlinkStatus>();
        QCOMPARE(displays.size(), 11 + 4 + 9 + 5);
        for (const StepDisplay& d : displays) {
            QVERIFY(!d.label.isEmpty());
            QCOMPARE(d.isOK, d.button.kind == ButtonKind::ok);
            QCOMPARE(d.isChecking, d.button.kind == ButtonKind::inProgress);
            QVERIFY(!(d.isOK && d.isChecking));
        }
        QCOMPARE(std::count_if(displays.begin(), displays.end(),
                               [](const StepDisplay& d) { return d.isOK; }),
                 4);
    }

    void onlyTheTwoWaitingStatesAreNotices() {
        QList<NEStatus> notices;
        const QMetaEnum meta = QMetaEnum::fromType<NEStatus>();
        for (int i = 0; i < meta.keyCount(); ++i)
            if (display(NEStatus(meta.value(i))).button.kind == ButtonKind::notice)
                notices.append(NEStatus(meta.value(i)));
        QCOMPARE(notices,
                 (QList<NEStatus>{NEStatus::cannotConnectToDaemon, NEStatus::needSystemReboot}));
    }

    void descriptionsAreCaseNames() {
        QCOMPARE(description(DaemonStatus::needAuthForFullDiskAccess),
                 QStringLiteral("needAuthForFullDiskAccess"));
        QCOMPARE(description(DaemonStatus::esTooManyClients), QStringLiteral("esTooManyClients"));
        QCOMPARE(description(AgentStatus::staleVersion), QStringLiteral("staleVersion"));
        QCOMPARE(description(NEStatus::cannotConnectToDaemon),
                 QStringLiteral("cannotConnectToDaemon"));
        QCOMPARE(description(CLISymlinkStatus::wrongTarget), QStringLiteral("wrongTarget"));
    }

    void predicates_data() {
        QTest::addColumn<DaemonStatus>("daemon");
        QTest::addColumn<AgentStatus>("agent");
        QTest::addColumn<NEStatus>("ne");
        QTest::addColumn<CLISymlinkStatus>("cli");
        QTest::addColumn<bool>("isAllHealthy");
        QTest::addColumn<bool>("isAnyOutdated");

        using D = DaemonStatus;
        using A = AgentStatus;
        using N = NEStatus;
        using L = CLISymlinkStatus;
        QTest::newRow("all ok") << D::ok << A::ok << N::ok << L::ok << true << false;
        QTest::newRow("link missing") << D::ok << A::ok << N::ok << L::missing << false << false;
        QTest::newRow("agent outdated")
            << D::ok << A::staleVersion << N::ok << L::ok << false << true;
        QTest::newRow("daemon outdated")
            << D::staleVersion << A::ok << N::ok << L::ok << false << true;
        QTest::newRow("extension outdated")
            << D::ok << A::ok << N::staleVersion << L::ok << false << true;
        QTest::newRow("still checking") << D::checking << A::ok << N::ok << L::ok << false << false;
        QTest::newRow("extension waiting")
            << D::cannotConnect << A::ok << N::cannotConnectToDaemon << L::ok << false << false;
    }

    void predicates() {
        QFETCH(DaemonStatus, daemon);
        QFETCH(AgentStatus, agent);
        QFETCH(NEStatus, ne);
        QFETCH(CLISymlinkStatus, cli);
        QTEST(isAllHealthy(daemon, agent, ne, cli), "isAllHealthy");
        QTEST(isAnyOutdated(daemon, agent, ne), "isAnyOutdated");
    }
};

int runStatusDisplayTests(int argc, char** argv) {
    StatusDisplayTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_status_display.moc"
