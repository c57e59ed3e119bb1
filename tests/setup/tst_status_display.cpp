#include "SetupTests.h"
#include "setup/StepDisplay.h"

#include <QMetaEnum>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

using namespace zor;

namespace {

const QStringList settingsLinks = {kLoginItemsSettingsLink, kFullDiskAccessSettingsLink};

// The screen shows an instruction as Markdown: it must read as written, its
// links leading only into System Settings. Assistive tools read it as it
// shows, and the keyboard follows the link it shows.
void checkInstruction(const StepDisplay& display, const QByteArray& name) {
    static const QRegularExpression link(QStringLiteral("\\[([^\\]]*)\\]\\([^)]*\\)"));
    const QString instruction = display.instructionText();
    QTextDocument document;
    document.setMarkdown(instruction);
    QVERIFY2(document.toPlainText() == QString(instruction).replace(link, QStringLiteral("\\1")),
             name);
    QCOMPARE(display.instructionPlainText(), document.toPlainText());
    QString shownLink;
    for (QTextBlock::iterator it = document.begin().begin(); !it.atEnd(); ++it)
        if (it.fragment().charFormat().isAnchor()) {
            shownLink = it.fragment().charFormat().anchorHref();
            QVERIFY2(settingsLinks.contains(shownLink), name);
        }
    QCOMPARE(display.instructionLink(), shownLink);
}

// The rules every status's display follows, whatever its words.
template <typename Status> void checkRules() {
    const QMetaEnum cases = QMetaEnum::fromType<Status>();
    for (int i = 0; i < cases.keyCount(); ++i) {
        const auto status = Status(cases.value(i));
        const StepDisplay d = display(status);
        const QByteArray name = QByteArray(cases.name()) + '.' + cases.key(i);
        if (status == Status::checking) {
            QCOMPARE(d, (StepDisplay{"Checking\u2026", StatusColor::gray, false, true, std::nullopt,
                                     ButtonState::inProgress()}));
        } else if (status == Status::ok) {
            QCOMPARE(d, (StepDisplay{d.label, StatusColor::green, true, false, std::nullopt,
                                     ButtonState::ok()}));
        } else if (status == Status::unsupported) {
            // Neutral, with nothing to click: not a failure the user could repair.
            QCOMPARE(d, (StepDisplay{"Not Available", StatusColor::secondary, false, false,
                                     d.instruction, ButtonState::none(), true}));
            QVERIFY2(d.instructionText().contains("this system", Qt::CaseInsensitive), name);
            checkInstruction(d, name);
        } else {
            QVERIFY2(!d.label.isEmpty() && !d.isOK && !d.isChecking && !d.isUnsupported, name);
            QVERIFY2(d.color != StatusColor::gray && d.color != StatusColor::green, name);
            QVERIFY2(!d.button.label.isEmpty(), name);
            // Only these two leave nothing to click.
            const bool isNotice =
                name == "NEStatus.cannotConnectToDaemon" || name == "NEStatus.needSystemReboot";
            QCOMPARE(d.button.kind, isNotice ? ButtonKind::notice : ButtonKind::cta);
            QVERIFY2(d.hasInstruction(), name);
            checkInstruction(d, name);
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

    // The button and the words that tell the user what to do next, one row per kind of remedy.
    void displaysThatNameTheirRemedy_data() {
        QTest::addColumn<StepDisplay>("actual");
        QTest::addColumn<ButtonState>("button");
        QTest::addColumn<QString>("instructionPart");

        const auto cta = [](const char* label) { return ButtonState::cta(label); };
        QTest::newRow("outdated")
            << display(DaemonStatus::staleVersion) << cta("Restart")
            << "Daemon is running an older version. Restart to apply the update.";
        QTest::newRow("daemon awaiting approval") << display(DaemonStatus::needAuthForDaemonService)
                                                  << cta("Approve") << "(" + settingsLinks[0] + ")";
        QTest::newRow("daemon without disk access")
            << display(DaemonStatus::needAuthForFullDiskAccess) << cta("Approve")
            << "(" + settingsLinks[1] + ")";
        QTest::newRow("agent down")
            << display(AgentStatus::cannotConnect) << cta("Register") << "register";
        QTest::newRow("extension waits on the daemon")
            << display(NEStatus::cannotConnectToDaemon) << ButtonState::notice("Waiting")
            << "Fix daemon first.";
        QTest::newRow("filter off")
            << display(NEStatus::needAuthForNetworkFilter) << cta("Enable") << "toggle on";
        QTest::newRow("reboot") << display(NEStatus::needSystemReboot)
                                << ButtonState::notice("Reboot Required") << "Reboot";
        QTest::newRow("link missing")
            << display(CLISymlinkStatus::missing) << cta("Add Link") << "'Add Link'";
        QTest::newRow("file at the link")
            << display(CLISymlinkStatus::notASymlink) << cta("Relink") << "/usr/local/bin/zor";
    }

    void displaysThatNameTheirRemedy() {
        QFETCH(StepDisplay, actual);
        QFETCH(QString, instructionPart);
        QTEST(actual.button, "button");
        QVERIFY2(actual.instructionText().contains(instructionPart),
                 qPrintable(actual.instructionText()));
    }

    // What the monitor reports, and so whether the app opens on setup: only
    // when there is something that the screen could repair.
    void nothingToRepair_data() {
        QTest::addColumn<DaemonStatus>("daemon");
        QTest::addColumn<AgentStatus>("agent");
        QTest::addColumn<NEStatus>("extension");
        QTest::addColumn<CLISymlinkStatus>("link");
        QTest::addColumn<bool>("isNothingToRepair");

        using D = DaemonStatus;
        using A = AgentStatus;
        using N = NEStatus;
        using L = CLISymlinkStatus;
        QTest::newRow("all healthy") << D::ok << A::ok << N::ok << L::ok << true;
        QTest::newRow("one still checking") << D::checking << A::ok << N::ok << L::ok << false;
        QTest::newRow("one failing") << D::ok << A::ok << N::cannotConnect << L::ok << false;
        QTest::newRow("all unsupported")
            << D::unsupported << A::unsupported << N::unsupported << L::unsupported << true;
        // An agent that runs where nothing could register it, beside the rest unsupported.
        QTest::newRow("unsupported and healthy")
            << D::unsupported << A::ok << N::unsupported << L::unsupported << true;
        // The user can act on the one that fails, so the app opens on setup; the
        // unsupported ones are shown as such beside it.
        QTest::newRow("unsupported and failing")
            << D::unsupported << A::unsupported << N::unsupported << L::missing << false;
        QTest::newRow("unsupported and outdated")
            << D::unsupported << A::staleVersion << N::unsupported << L::unsupported << false;
    }

    void nothingToRepair() {
        QFETCH(DaemonStatus, daemon);
        QFETCH(AgentStatus, agent);
        QFETCH(NEStatus, extension);
        QFETCH(CLISymlinkStatus, link);
        QTEST(isNothingToRepair(daemon, agent, extension, link), "isNothingToRepair");
    }

    void anyOutdated() {
        using D = DaemonStatus;
        using N = NEStatus;
        QVERIFY(isAnyOutdated(D::staleVersion, AgentStatus::ok, N::ok));
        QVERIFY(isAnyOutdated(D::ok, AgentStatus::ok, N::staleVersion));
    }
};

int runStatusDisplayTests(int argc, char** argv) {
    StatusDisplayTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_status_display.moc"
