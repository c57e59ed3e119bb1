#include "SetupTests.h"
#include "setup/StepDisplay.h"

#include <QMetaEnum>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

using namespace zor;

namespace {

const QStringList settingsLinks = {QString::fromLatin1(kLoginItemsSettingsLink),
                                   QString::fromLatin1(kFullDiskAccessSettingsLink)};

// The screen shows an instruction as Markdown: it must read as written, its
// links leading only into System Settings.
void checkInstruction(const QString& instruction, const QByteArray& name) {
    static const QRegularExpression link(QStringLiteral("\\[([^\\]]*)\\]\\(([^)]*)\\)"));
    QString written = instruction;
    written.replace(link, QStringLiteral("\\1"));
    QTextDocument document;
    document.setMarkdown(instruction);
    QVERIFY2(document.toPlainText() == written, name);

    QStringList targets;
    for (QTextBlock::iterator it = document.begin().begin(); !it.atEnd(); ++it)
        if (it.fragment().charFormat().isAnchor())
            targets.append(it.fragment().charFormat().anchorHref());
    QStringList writtenTargets;
    for (const auto& match : link.globalMatch(instruction))
        writtenTargets.append(match.captured(2));
    QVERIFY2(targets == writtenTargets, name);
    for (const QString& target : targets)
        QVERIFY2(settingsLinks.contains(target), name);
}

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
        QCOMPARE(d.hasInstruction(), status != Status::checking && status != Status::ok);
        if (status == Status::checking) {
            QCOMPARE(d.label, QStringLiteral("Checking\u2026"));
            QCOMPARE(d.color, StatusColor::gray);
            QCOMPARE(d.button, ButtonState::inProgress());
        } else if (status == Status::ok) {
            QCOMPARE(d.color, StatusColor::green);
            QCOMPARE(d.button, ButtonState::ok());
        } else {
            QVERIFY2(d.color != StatusColor::gray && d.color != StatusColor::green, name);
            QVERIFY2(!d.button.label.isEmpty(), name);
            // Only these two leave nothing to click.
            const bool isNotice =
                name == "NEStatus.cannotConnectToDaemon" || name == "NEStatus.needSystemReboot";
            QCOMPARE(d.button.kind, isNotice ? ButtonKind::notice : ButtonKind::cta);
            checkInstruction(d.instructionText(), name);
        }
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
            << cta("Approve") << "(" + settingsLinks[0] + ")";
        QTest::newRow("daemon without disk access")
            << display(DaemonStatus::needAuthForFullDiskAccess) << "Full Disk Access Required"
            << C::yellow << cta("Approve") << "(" + settingsLinks[1] + ")";
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
};

int runStatusDisplayTests(int argc, char** argv) {
    StatusDisplayTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_status_display.moc"
