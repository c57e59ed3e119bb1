#include "LogCapture.h"
#include "SetupScene.h"
#include "shared/BuildNumber.h"
#include "window/qml/QuickViews.h"

#include <QMetaEnum>
#include <QQuickItem>
#include <QQuickView>
#include <QScopeGuard>
#include <QSemaphore>
#include <QTest>
#include <QThreadPool>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

enum class Scenario {
    healthy,
    agentOutdated,
    daemonUnreachable,
    daemonAwaitingApproval,
    linkMissing,
    filterDisabled
};

void arrange(SetupScene& scene, Scenario scenario) {
    switch (scenario) {
    case Scenario::healthy:
        scene.makeAllHealthy();
        break;
    case Scenario::agentOutdated:
        scene.makeAgentOutdated();
        break;
    case Scenario::daemonUnreachable:
        scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        break;
    case Scenario::daemonAwaitingApproval:
        scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
        break;
    case Scenario::linkMissing:
        scene.makeAllHealthy();
        scene.removeLink();
        break;
    case Scenario::filterDisabled:
        scene.makeAllHealthy();
        scene.filter.enabled = false;
        break;
    }
}

// What the repairs have asked of the fakes so far; probes are left out.
QStringList repairsRun(const SetupScene& scene) {
    QStringList done;
    for (const QString& operation : scene.services.operations())
        if (!operation.endsWith(".status"))
            done << operation;
    for (qsizetype i = 0; i < scene.scripts.sources.size(); ++i)
        done << QStringLiteral("script");
    for (const QString& extension : scene.extensions.bundleIdentifiers)
        done << QStringLiteral("activate ") + extension;
    return done;
}

const QStringList boxes = {"cliStepBox", "daemonStepBox", "agentStepBox", "neStepBox"};

// What a box's action area shows: "" for nothing, "cta:<label>", "notice:<label>" or "progress".
QString actionArea(const SetupScene& scene, const QString& box) {
    const auto shown = [&](const char* name) {
        const QQuickItem* item = scene.inBox(box, QString::fromLatin1(name));
        return item && item->isVisible();
    };
    const auto text = [&](const char* name) {
        return scene.inBox(box, QString::fromLatin1(name))->property("text").toString();
    };
    QStringList parts;
    if (shown("actionButton"))
        parts << QStringLiteral("cta:") + text("actionButton");
    if (shown("noticeLabel"))
        parts << QStringLiteral("notice:") + text("noticeLabel");
    if (shown("progressIndicator"))
        parts << QStringLiteral("progress");
    return parts.join(u',');
}

// A point of `text` that lies on a link, searched line by line.
std::optional<QPointF> linkPoint(QQuickItem* text, QString* link) {
    for (qreal y = 1; y < text->height(); y += 2) {
        for (qreal x = 1; x < text->width(); x += 2) {
            QString found;
            QMetaObject::invokeMethod(text, "linkAt", Q_RETURN_ARG(QString, found), Q_ARG(qreal, x),
                                      Q_ARG(qreal, y));
            if (!found.isEmpty()) {
                *link = found;
                return QPointF(x, y);
            }
        }
    }
    return std::nullopt;
}

} // namespace

class SetupViewTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    void screenShowsEachStep_data() {
        QTest::addColumn<Scenario>("scenario");
        QTest::addColumn<QStringList>("statusLabels"); // link, daemon, agent, extension
        QTest::addColumn<QStringList>("actionAreas");
        QTest::addColumn<bool>("hasBanner");

        QTest::newRow("all healthy")
            << Scenario::healthy << QStringList{"Linked", "Running", "Running", "Running"}
            << QStringList{"", "", "", ""} << false;
        QTest::newRow("agent outdated")
            << Scenario::agentOutdated << QStringList{"Linked", "Running", "Outdated", "Running"}
            << QStringList{"", "", "cta:Restart", ""} << true;
        QTest::newRow("daemon unreachable")
            << Scenario::daemonUnreachable
            << QStringList{"Linked", "Not Running", "Running", "Waiting on Daemon"}
            << QStringList{"", "cta:Approve", "", "notice:Waiting"} << false;
        QTest::newRow("daemon awaiting approval")
            << Scenario::daemonAwaitingApproval
            << QStringList{"Linked", "Requires Approval", "Running", "Waiting on Daemon"}
            << QStringList{"", "cta:Approve", "", "notice:Waiting"} << false;
        QTest::newRow("link missing")
            << Scenario::linkMissing << QStringList{"Not Linked", "Running", "Running", "Running"}
            << QStringList{"cta:Add Link", "", "", ""} << false;
        QTest::newRow("filter disabled")
            << Scenario::filterDisabled
            << QStringList{"Linked", "Running", "Running", "Filter Disabled"}
            << QStringList{"", "", "", "cta:Enable"} << false;
    }

    void screenShowsEachStep() {
        QFETCH(Scenario, scenario);
        QFETCH(QStringList, statusLabels);
        QFETCH(QStringList, actionAreas);
        QFETCH(bool, hasBanner);

        SetupScene scene;
        arrange(scene, scenario);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        const QStringList labels = {"CLI Symlink", "Sandbox Daemon", "Notification Agent",
                                    "Network Extension"};
        const QStringList descriptions = {"Makes the zor command available in your terminal",
                                          "Enforces file and process sandboxing",
                                          "Delivers notifications", "Enforces network sandboxing"};
        for (qsizetype i = 0; i < boxes.size(); ++i) {
            const QString& box = boxes[i];
            QCOMPARE(scene.inBox(box, "stepLabel")->property("text").toString(), labels[i]);
            QCOMPARE(scene.inBox(box, "stepDescription")->property("text").toString(),
                     descriptions[i]);
            QCOMPARE(scene.inBox(box, "statusLabel")->property("text").toString(), statusLabels[i]);
            QCOMPARE(actionArea(scene, box), actionAreas[i]);
            const bool isHealthy = statusLabels[i] == "Linked" || statusLabels[i] == "Running";
            QCOMPARE(scene.inBox(box, "okMark")->isVisible(), isHealthy);
            QCOMPARE(scene.inBox(box, "problemMark")->isVisible(), !isHealthy);
            QCOMPARE(scene.inBox(box, "instruction")->isVisible(), !isHealthy);
        }

        QCOMPARE(scene.isShown("outdatedBanner"), hasBanner);
        if (hasBanner) {
            QCOMPARE(scene.text("bannerTitle"), "Services Outdated");
            QCOMPARE(scene.text("bannerText"), "Background services are running an older "
                                               "version of Zor. Restart to apply the update.");
        }
        QCOMPARE(scene.text("restartButton"), "Restart Services");
        QCOMPARE(scene.text("stopButton"), "Stop All Services");
        QCOMPARE(scene.text("refreshButton"), "Refresh");
        QVERIFY(!scene.isShown("restartError"));
        QVERIFY(!scene.isShown("stopError"));
        QCOMPARE(scene.model->isPollPending(), scenario != Scenario::healthy);
    }

    void checkingStepShowsProgress() {
        SetupScene scene;
        scene.makeAllHealthy();
        QSemaphore daemonAnswers;
        scene.daemonConnection.onGetStatus = [&] { daemonAnswers.acquire(); };
        // Should a check fail, the blocked probe still ends before the semaphore goes.
        const auto unblock = qScopeGuard([&] {
            daemonAnswers.release();
            QThreadPool::globalInstance()->waitForDone();
        });
        QVERIFY(scene.show(640));

        QCOMPARE(scene.inBox("daemonStepBox", "statusLabel")->property("text").toString(),
                 "Checking\u2026");
        QCOMPARE(actionArea(scene, "daemonStepBox"), "progress");
        QVERIFY(scene.inBox("daemonStepBox", "checkingIndicator")->isVisible());
        QVERIFY(!scene.inBox("daemonStepBox", "okMark")->isVisible());
        QVERIFY(!scene.inBox("daemonStepBox", "problemMark")->isVisible());

        daemonAnswers.release();
        QVERIFY(scene.settle());
        QCOMPARE(actionArea(scene, "daemonStepBox"), "");
        QVERIFY(scene.inBox("daemonStepBox", "okMark")->isVisible());
    }

    void eachStepButtonRunsItsOwnRepair_data() {
        QTest::addColumn<Scenario>("scenario");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QStringList>("repairs");

        const QString extension = QStringLiteral("activate ") + kNetworkExtensionBundleId;
        QTest::newRow("link") << Scenario::linkMissing << "cliStepBox" << QStringList{"script"};
        QTest::newRow("daemon") << Scenario::daemonUnreachable << "daemonStepBox"
                                << QStringList{"daemon.register"};
        // An outdated agent is repaired by restarting everything.
        QTest::newRow("agent") << Scenario::agentOutdated << "agentStepBox"
                               << QStringList{"daemon.unregisterAsync", "agent.unregisterAsync",
                                              extension};
        QTest::newRow("extension")
            << Scenario::filterDisabled << "neStepBox" << QStringList{extension};
    }

    void eachStepButtonRunsItsOwnRepair() {
        QFETCH(Scenario, scenario);
        QFETCH(QString, box);
        QFETCH(QStringList, repairs);

        SetupScene scene;
        arrange(scene, scenario);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        QCOMPARE(repairsRun(scene), QStringList());

        scene.click(scene.inBox(box, "actionButton"));
        QTRY_COMPARE(repairsRun(scene), repairs);
    }

    void noticeIsNotClickable() {
        SetupScene scene;
        arrange(scene, Scenario::daemonUnreachable);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        QQuickItem* notice = scene.inBox("neStepBox", "noticeLabel");
        QVERIFY(notice->isVisible());
        QCOMPARE(notice->metaObject()->indexOfSignal("clicked()"), -1);
        scene.click(notice);
        QVERIFY(scene.extensions.bundleIdentifiers.isEmpty());
        QCOMPARE(scene.services.count("daemon.register"), 0);
    }

    void instructionLinkOpensItsTarget() {
        SetupScene scene;
        arrange(scene, Scenario::daemonAwaitingApproval);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        scene.grab(); // lays the new texts out
        QQuickItem* instruction = scene.inBox("daemonStepBox", "instruction");
        QCOMPARE(instruction->property("textFormat").toInt(), int(Qt::MarkdownText));
        QString link;
        const std::optional<QPointF> point = linkPoint(instruction, &link);
        QVERIFY(point);
        QCOMPARE(link, QString::fromLatin1(kLoginItemsSettingsLink));

        const QPointF inWindow = instruction->mapToScene(*point);
        QTest::mouseClick(scene.view.get(), Qt::LeftButton, {}, inWindow.toPoint());
        QCOMPARE(scene.workspace.opened, QList<QUrl>{QUrl(kLoginItemsSettingsLink)});
        QCOMPARE(scene.services.count("daemon.register"), 0);
    }

    void refreshProbesAgain() {
        LogCapture log;
        SetupScene scene;
        scene.makeAllHealthy();
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        const int probes = scene.daemonConnection.statusCalls;

        scene.click(scene.item("refreshButton"));
        QTRY_COMPARE(scene.daemonConnection.statusCalls, probes + 1);
        QVERIFY(scene.settle());
        QCOMPARE(scene.daemonConnection.statusCalls, probes + 1);
        QVERIFY(log.contains("User clicked Refresh button"));
    }

    void restartShowsProgressUntilTheFlowEnds() {
        SetupScene scene;
        scene.makeAgentOutdated();
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        // The banner's button starts the same flow as "Restart Services".
        scene.click(scene.item("bannerRestartButton"));
        QCOMPARE(scene.text("restartButton"), "Restarting...");
        QVERIFY(scene.item("restartButton")->isEnabled());

        // The flow waits for the extension's replacement, then on virtual time.
        QTRY_VERIFY(scene.extensions.lastDelegate());
        const auto delegate = scene.extensions.lastDelegate();
        QCOMPARE(scene.services.count("agent.unregisterAsync"), 1);
        delegate->requestDidFinish(RequestResult::completed);
        scene.setAgentBuildNumber(zorBuildNumber());
        scene.clock.advance(1s);
        QCOMPARE(scene.text("restartButton"), "Restarting...");
        scene.clock.advance(2s);
        QCOMPARE(scene.text("restartButton"), "Restart Services");
        QVERIFY(scene.settle());
        QVERIFY(!scene.isShown("outdatedBanner"));
        QVERIFY(!scene.isShown("restartError"));
    }

    void stopShowsProgressUntilTheFlowEnds() {
        SetupScene scene;
        scene.makeAllHealthy();
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        scene.click(scene.item("stopButton"));
        QCOMPARE(scene.text("stopButton"), "Stopping...");
        QVERIFY(scene.item("stopButton")->isEnabled());
        scene.clock.advance(1s);
        QCOMPARE(scene.text("stopButton"), "Stop All Services");
    }

    void flowErrorShowsBelowTheButtons_data() {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("idleLabel");
        QTest::addColumn<QString>("errorLabel");
        QTest::addColumn<QString>("otherErrorLabel");

        QTest::newRow("restart") << "restartButton"
                                 << "Restart Services"
                                 << "restartError"
                                 << "stopError";
        QTest::newRow("stop") << "stopButton"
                              << "Stop All Services"
                              << "stopError"
                              << "restartError";
    }

    void flowErrorShowsBelowTheButtons() {
        QFETCH(QString, button);
        QFETCH(QString, idleLabel);
        QFETCH(QString, errorLabel);
        QFETCH(QString, otherErrorLabel);

        SetupScene scene;
        scene.makeAllHealthy();
        // Both flows begin by taking the daemon out.
        scene.services.daemonUnregisterResult = PlatformError{"The daemon refused to stop"};
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        scene.click(scene.item(button));
        QTRY_COMPARE(scene.text(button), idleLabel);
        QVERIFY(scene.isShown(errorLabel));
        QCOMPARE(scene.text(errorLabel), "The daemon refused to stop");
        QVERIFY(!scene.isShown(otherErrorLabel));
        QVERIFY(scene.settle());

        // Starting the flow again clears its error.
        scene.services.daemonUnregisterResult.reset();
        scene.click(scene.item(button));
        QVERIFY(!scene.isShown(errorLabel));
    }

    void instructionMarkdownRule_data() {
        QTest::addColumn<QString>("instruction");
        QTest::addColumn<bool>("isMarkdown");

        QTest::newRow("empty") << "" << true;
        QTest::newRow("plain sentence")
            << "Reboot to complete the network extension update." << true;
        QTest::newRow("quotes and a path")
            << "A non-symlink file exists at /usr/local/bin/zor. Click 'Relink' to replace it."
            << true;
        QTest::newRow("prose parentheses") << "Reboot (if asked) and retry." << true;
        QTest::newRow("emphasis stays inline") << "Be *careful* with `zor`." << true;
        QTest::newRow("number, not a list") << "3.5 seconds passed." << true;
        QTest::newRow("minus sign, not a list") << "-1 is not a code." << true;
        QTest::newRow("escaped brackets") << "Type \\[this\\] as is." << true;
        QTest::newRow("settings link")
            << "Approve the daemon in [Settings \u2192 General \u2192 Login Items & "
               "Extensions](x-apple.systempreferences:com.apple.LoginItems-Settings.extension)."
            << true;
        QTest::newRow("link with a query")
            << "Grant access in [Full Disk Access](x-apple.systempreferences:"
               "com.apple.preference.security?Privacy_AllFiles)."
            << true;
        QTest::newRow("two links")
            << "See [one](https://example.com/a) and [two](https://example.com/b)." << true;

        QTest::newRow("stray closing bracket") << "a ] b" << false;
        QTest::newRow("unclosed bracket") << "see [Settings" << false;
        QTest::newRow("brackets without target") << "[Settings] only" << false;
        QTest::newRow("empty link text") << "[](https://example.com)" << false;
        QTest::newRow("space before target") << "[a] (https://example.com)" << false;
        QTest::newRow("unclosed target") << "[a](https://example.com" << false;
        QTest::newRow("empty target") << "[a]()" << false;
        QTest::newRow("relative target") << "[a](settings)" << false;
        QTest::newRow("space in target") << "[a](https://example.com/a b)" << false;
        QTest::newRow("nested brackets") << "[a [b]](https://example.com)" << false;
        QTest::newRow("escaped closing bracket leaves link open")
            << "[a\\](https://example.com)" << false;
        QTest::newRow("heading") << "# Title" << false;
        QTest::newRow("bullet") << "- item" << false;
        QTest::newRow("numbered item") << "1. first" << false;
        QTest::newRow("quote") << "> quoted" << false;
        QTest::newRow("indented code") << "    code" << false;
        QTest::newRow("fence") << "```" << false;
        QTest::newRow("rule") << "* * *" << false;
        QTest::newRow("block on a later line") << "First line\n## Second" << false;
    }

    void instructionMarkdownRule() {
        QFETCH(QString, instruction);
        QFETCH(bool, isMarkdown);
        StepDisplay step;
        step.instruction = instruction;
        QCOMPARE(step.isInstructionMarkdown(), isMarkdown);
    }

    // Every instruction the screen can show renders as Markdown, links included.
    void everyShownInstructionIsMarkdown() {
        int withInstruction = 0;
        const auto all = [&](auto first) {
            using Status = decltype(first);
            const QMetaEnum meta = QMetaEnum::fromType<Status>();
            for (int i = 0; i < meta.keyCount(); ++i) {
                const StepDisplay step = display(Status(meta.value(i)));
                withInstruction += step.hasInstruction() ? 1 : 0;
                QVERIFY2(!step.hasInstruction() || step.isInstructionMarkdown(),
                         qPrintable(step.instructionText()));
            }
        };
        all(DaemonStatus::checking);
        all(AgentStatus::checking);
        all(NEStatus::checking);
        all(CLISymlinkStatus::checking);
        QCOMPARE(withInstruction, 9 + 2 + 7 + 3);
    }
};

QTEST_MAIN(SetupViewTest)
#include "tst_setup_view.moc"
