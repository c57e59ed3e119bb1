#include "SetupTests.h"
#include "setup/StepDisplay.h"

#include <QMetaEnum>
#include <QTest>

using namespace zor;

namespace {

const QString loginItems = QStringLiteral("[Settings \u2192 General \u2192 Login Items & "
                                          "Extensions](") +
                           QString::fromLatin1(kLoginItemsSettingsLink) + u')';
const QString brokenBuild =
    QStringLiteral("This Zor build is broken; please report the bug and update if possible.");

int rowCount = 0;

template <typename Status>
void row(Status status, const QString& label, StatusColor color, const QString& instruction,
         const ButtonState& button) {
    ++rowCount;
    QTest::addRow("%s %s", QMetaEnum::fromType<Status>().enumName(),
                  qPrintable(description(status)))
        << display(status) << label << color << instruction << button;
}

template <typename Status> int caseCount() {
    return QMetaEnum::fromType<Status>().keyCount();
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
        using D = DaemonStatus;
        using A = AgentStatus;
        using N = NEStatus;
        using L = CLISymlinkStatus;
        const auto cta = [](const char* label) { return ButtonState::cta(label); };
        const auto notice = [](const char* label) { return ButtonState::notice(label); };
        const QString none;
        const QString checking = QStringLiteral("Checking\u2026");
        const ButtonState busy = ButtonState::inProgress();
        const ButtonState ok = ButtonState::ok();
        const QString outdated = " is running an older version. Restart to apply the update.";
        rowCount = 0;

        row(D::checking, checking, C::gray, none, busy);
        row(D::ok, "Running", C::green, none, ok);
        row(D::staleVersion, "Outdated", C::orange, "Daemon" + outdated, cta("Restart"));
        row(D::cannotConnect, "Not Running", C::red,
            "Cannot connect to daemon. Click 'Enable' and approve in " + loginItems + ".",
            cta("Approve"));
        row(D::needAuthForDaemonService, "Requires Approval", C::yellow,
            "Approve the daemon in " + loginItems + ".", cta("Approve"));
        row(D::needAuthForFullDiskAccess, "Full Disk Access Required", C::yellow,
            "Grant Full Disk Access to Zor in [Settings \u2192 Privacy & Security \u2192 Full "
            "Disk Access](" +
                QString::fromLatin1(kFullDiskAccessSettingsLink) + ").",
            cta("Approve"));
        row(D::esInvalidArgument, "ES Invalid Argument (Zor Bug)", C::red, brokenBuild,
            cta("Try Again"));
        row(D::esInternalError, "ES Internal Error", C::red,
            "The macOS Endpoint Security has run into an internal error; please report a bug and "
            "update your build if possible.",
            cta("Try Again"));
        row(D::esNotEntitled, "ES Not Entitled (Zor Bug)", C::red, brokenBuild, cta("Try Again"));
        row(D::esNotPrivileged, "ES Not Privileged (Zor Bug)", C::red, brokenBuild,
            cta("Try Again"));
        row(D::esTooManyClients, "ES Too Many Clients (Zor Bug)", C::red, brokenBuild,
            cta("Try Again"));

        row(A::checking, checking, C::gray, none, busy);
        row(A::ok, "Running", C::green, none, ok);
        row(A::staleVersion, "Outdated", C::orange, "Agent" + outdated, cta("Restart"));
        row(A::cannotConnect, "Not Running", C::red,
            "Cannot connect to agent. Please register the notification agent.", cta("Register"));

        row(N::checking, checking, C::gray, none, busy);
        row(N::ok, "Running", C::green, none, ok);
        row(N::staleVersion, "Outdated", C::orange, "Network extension" + outdated, cta("Restart"));
        row(N::cannotConnect, "Not Responding", C::red,
            "The network filter is enabled but the extension process is not responding. Reboot "
            "if a previous version is pending removal, or click 'Enable' to reinstall.",
            cta("Enable"));
        row(N::cannotConnectToDaemon, "Waiting on Daemon", C::red,
            "Cannot check network extension status because the daemon is not running. Fix daemon "
            "first.",
            notice("Waiting"));
        row(N::needSystemReboot, "Reboot Required", C::orange,
            "Reboot to complete the network extension update.", notice("Reboot Required"));
        row(N::needAuthForNetworkExtension, "Requires Approval", C::yellow,
            "Approve the network extension in " + loginItems + ".", cta("Approve"));
        row(N::needAuthForNetworkFilter, "Filter Disabled", C::orange,
            "Click 'Approve', toggle on ZorNetworkExtension in System Settings, and click 'Allow' "
            "when prompted to filter network content.",
            cta("Enable"));
        row(N::cannotLoadPreferences, "Configuration Error", C::red,
            "Failed to load network filter preferences. Click 'Enable' to reinstall the "
            "extension.",
            cta("Enable"));

        row(L::checking, checking, C::gray, none, busy);
        row(L::ok, "Linked", C::green, none, ok);
        row(L::missing, "Not Linked", C::orange,
            "The zor command is not available. Click 'Add Link' to create the symlink.",
            cta("Add Link"));
        row(L::wrongTarget, "Wrong Target", C::red,
            "The symlink points to the wrong location. Click 'Relink' to fix it.", cta("Relink"));
        row(L::notASymlink, "Not a Symlink", C::red,
            "A non-symlink file exists at /usr/local/bin/zor. Click 'Relink' to replace it.",
            cta("Relink"));

        // A case added to an enumeration must come with its row.
        QCOMPARE(rowCount, caseCount<DaemonStatus>() + caseCount<AgentStatus>() +
                               caseCount<NEStatus>() + caseCount<CLISymlinkStatus>());
    }

    void displayTable() {
        QFETCH(StepDisplay, actual);
        QFETCH(QString, instruction);
        QFETCH(ButtonState, button);
        QTEST(actual.label, "label");
        QTEST(actual.color, "color");
        QCOMPARE(actual.hasInstruction(), !instruction.isNull());
        QCOMPARE(actual.instructionText(), instruction);
        QVERIFY(!actual.hasInstruction() || actual.isInstructionMarkdown());
        QCOMPARE(actual.button, button);
        QCOMPARE(actual.isOK, button.kind == ButtonKind::ok);
        QCOMPARE(actual.isChecking, button.kind == ButtonKind::inProgress);
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
        QTest::newRow("agent old") << D::ok << A::staleVersion << N::ok << L::ok << false << true;
        QTest::newRow("daemon old") << D::staleVersion << A::ok << N::ok << L::ok << false << true;
        QTest::newRow("ne old") << D::ok << A::ok << N::staleVersion << L::ok << false << true;
        QTest::newRow("checking") << D::checking << A::ok << N::ok << L::ok << false << false;
    }

    void predicates() {
        QFETCH(DaemonStatus, daemon);
        QFETCH(AgentStatus, agent);
        QFETCH(NEStatus, ne);
        QFETCH(CLISymlinkStatus, cli);
        QTEST(isAllHealthy(daemon, agent, ne, cli), "isAllHealthy");
        QTEST(isAnyOutdated(daemon, agent, ne), "isAnyOutdated");
    }

    // An instruction that is not inline Markdown with absolute links shows as plain text.
    void instructionMarkdownRule_data() {
        QTest::addColumn<QString>("instruction");
        QTest::addColumn<bool>("isMarkdown");

        QTest::newRow("plain") << "Reboot (if asked). Click 'Relink', 3.5 s, -1." << true;
        QTest::newRow("inline code and escapes") << "Be *careful*: `zor` \\[x\\]." << true;
        QTest::newRow("two links")
            << "See [one](https://example.com/a) and [two](x-apple.systempreferences:a?b)." << true;
        QTest::newRow("stray bracket") << "a ] b" << false;
        QTest::newRow("no target") << "[Settings] only" << false;
        QTest::newRow("relative target") << "[a](settings)" << false;
        QTest::newRow("space in target") << "[a](https://example.com/a b)" << false;
        QTest::newRow("nested") << "[a [b]](https://example.com)" << false;
        QTest::newRow("escaped close") << "[a\\](https://example.com)" << false;
        QTest::newRow("heading") << "# Title" << false;
        QTest::newRow("numbered") << "1. first" << false;
        QTest::newRow("block on a later line") << "First line\n    code" << false;
    }

    void instructionMarkdownRule() {
        StepDisplay step;
        QFETCH(QString, instruction);
        step.instruction = instruction;
        QTEST(step.isInstructionMarkdown(), "isMarkdown");
    }
};

int runStatusDisplayTests(int argc, char** argv) {
    StatusDisplayTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_status_display.moc"
