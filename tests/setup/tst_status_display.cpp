#include "SetupTests.h"
#include "setup/StepDisplay.h"

#include <QMetaEnum>
#include <QRegularExpression>
#include <QTest>

using namespace zor;

namespace {

const QString loginItemsLink = QString::fromLatin1(kLoginItemsSettingsLink);
const QString fullDiskAccessLink = QString::fromLatin1(kFullDiskAccessSettingsLink);
const QRegularExpression linkTarget(QStringLiteral("\\]\\(([^)]*)\\)"));

// The rules every status's display follows, whatever its words.
template <typename Status> void checkRules() {
    const QMetaEnum cases = QMetaEnum::fromType<Status>();
    for (int i = 0; i < cases.keyCount(); ++i) {
        const auto status = Status(cases.value(i));
        const StepDisplay d = display(status);
        const QByteArray name = QByteArray(cases.name()) + '.' + cases.key(i);
        QVERIFY2(!d.label.isEmpty(), name);
        QCOMPARE(d.isChecking, status == Status::checking);
        QCOMPARE(d.isOK, status == Status::ok);
        if (status == Status::checking) {
            QCOMPARE(d.label, QStringLiteral("Checking\u2026"));
            QCOMPARE(d.color, StatusColor::gray);
            QCOMPARE(d.button, ButtonState::inProgress());
        } else if (status == Status::ok) {
            QCOMPARE(d.color, StatusColor::green);
            QCOMPARE(d.button, ButtonState::ok());
        } else {
            QVERIFY2(d.color != StatusColor::gray && d.color != StatusColor::green, name);
            QVERIFY2(d.button.kind == ButtonKind::cta || d.button.kind == ButtonKind::notice, name);
            QVERIFY2(!d.button.label.isEmpty(), name);
            QVERIFY2(d.hasInstruction() && d.isInstructionMarkdown(), name);
            // Links lead only into System Settings.
            for (const auto& match : linkTarget.globalMatch(d.instructionText()))
                QVERIFY2(match.captured(1) == loginItemsLink ||
                             match.captured(1) == fullDiskAccessLink,
                         name);
        }
        QCOMPARE(d.hasInstruction(), status != Status::checking && status != Status::ok);
    }
}

} // namespace

class StatusDisplayTest : public QObject {
    Q_OBJECT

private slots:
    void everyStatusFollowsTheDisplayRules() {
        checkRules<DaemonStatus>();
        checkRules<AgentStatus>();
        checkRules<NEStatus>();
        checkRules<CLISymlinkStatus>();
    }

    // The words and buttons that tell the user what to do next.
    void displaysThatNameTheirRemedy_data() {
        QTest::addColumn<StepDisplay>("actual");
        QTest::addColumn<QString>("label");
        QTest::addColumn<StatusColor>("color");
        QTest::addColumn<ButtonState>("button");
        QTest::addColumn<QString>("instructionPart");

        using C = StatusColor;
        const auto cta = [](const char* label) { return ButtonState::cta(label); };
        const QString outdated = " is running an older version. Restart to apply the update.";
        QTest::newRow("daemon outdated") << display(DaemonStatus::staleVersion) << "Outdated"
                                         << C::orange << cta("Restart") << "Daemon" + outdated;
        QTest::newRow("agent outdated") << display(AgentStatus::staleVersion) << "Outdated"
                                        << C::orange << cta("Restart") << "Agent" + outdated;
        QTest::newRow("extension outdated")
            << display(NEStatus::staleVersion) << "Outdated" << C::orange << cta("Restart")
            << "Network extension" + outdated;
        QTest::newRow("daemon awaiting approval")
            << display(DaemonStatus::needAuthForDaemonService) << "Requires Approval" << C::yellow
            << cta("Approve") << "(" + loginItemsLink + ")";
        QTest::newRow("daemon without disk access")
            << display(DaemonStatus::needAuthForFullDiskAccess) << "Full Disk Access Required"
            << C::yellow << cta("Approve") << "(" + fullDiskAccessLink + ")";
        QTest::newRow("agent down") << display(AgentStatus::cannotConnect) << "Not Running"
                                    << C::red << cta("Register") << "register";
        QTest::newRow("extension waits on the daemon")
            << display(NEStatus::cannotConnectToDaemon) << "Waiting on Daemon" << C::red
            << ButtonState::notice("Waiting") << "Fix daemon first.";
        QTest::newRow("filter off") << display(NEStatus::needAuthForNetworkFilter)
                                    << "Filter Disabled" << C::orange << cta("Enable") << "";
        QTest::newRow("reboot") << display(NEStatus::needSystemReboot) << "Reboot Required"
                                << C::orange << ButtonState::notice("Reboot Required") << "";
        QTest::newRow("link missing") << display(CLISymlinkStatus::missing) << "Not Linked"
                                      << C::orange << cta("Add Link") << "'Add Link'";
        QTest::newRow("file at the link")
            << display(CLISymlinkStatus::notASymlink) << "Not a Symlink" << C::red << cta("Relink")
            << "/usr/local/bin/zor";
    }

    void displaysThatNameTheirRemedy() {
        QFETCH(StepDisplay, actual);
        QFETCH(QString, instructionPart);
        QTEST(actual.label, "label");
        QTEST(actual.color, "color");
        QTEST(actual.button, "button");
        QVERIFY2(actual.instructionText().contains(instructionPart),
                 qPrintable(actual.instructionText()));
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
