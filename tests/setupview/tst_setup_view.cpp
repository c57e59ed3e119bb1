#include "LogCapture.h"
#include "SetupScene.h"
#include "window/qml/QuickViews.h"

#include <QColor>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

const QStringList boxes = {"cliStepBox", "daemonStepBox", "agentStepBox", "neStepBox"};

// What a box shows beside its labels, as "<item>:<text>": its mark, whose glyph is
// the text of its child, then what its action area holds.
QString shown(const SetupScene& scene, const QString& box) {
    QStringList parts;
    for (const QString name :
         {"okMark", "problemMark", "actionButton", "noticeLabel", "progressIndicator"}) {
        const QQuickItem* item = scene.inBox(box, name);
        const QQuickItem* text = name.endsWith("Mark") ? item->childItems().value(0) : item;
        if (item->isVisible())
            parts << name + u':' + text->property("text").toString();
    }
    return parts.join(u',');
}

// A point of `text` that lies on a link, searched line by line, in the scene.
std::optional<QPointF> linkPoint(QQuickItem* text) {
    QString link;
    for (qreal y = 1; y < text->height(); y += 2) {
        for (qreal x = 1; x < text->width(); x += 2) {
            QMetaObject::invokeMethod(text, "linkAt", Q_RETURN_ARG(QString, link), Q_ARG(qreal, x),
                                      Q_ARG(qreal, y));
            if (!link.isEmpty())
                return text->mapToScene(QPointF(x, y));
        }
    }
    return std::nullopt;
}

} // namespace

class SetupViewTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    // Between them, the rows show every kind of box: healthy, with a button, with a notice.
    void screenShowsEachStep_data() {
        QTest::addColumn<bool>("isAgentOutdated");     // else the daemon is unreachable
        QTest::addColumn<QStringList>("statusLabels"); // link, daemon, agent, extension
        QTest::addColumn<QStringList>("shownParts");

        const QString ok = "okMark:\u2713";
        QTest::newRow("agent outdated")
            << true << QStringList{"Linked", "Running", "Outdated", "Running"}
            << QStringList{ok, ok, "problemMark:!,actionButton:Restart", ok};
        QTest::newRow("daemon unreachable")
            << false << QStringList{"Linked", "Not Running", "Running", "Waiting on Daemon"}
            << QStringList{ok, "problemMark:!,actionButton:Approve", ok,
                           "problemMark:!,noticeLabel:Waiting"};
    }

    void screenShowsEachStep() {
        QFETCH(bool, isAgentOutdated);
        QFETCH(QStringList, statusLabels);
        QFETCH(QStringList, shownParts);
        SetupScene scene;
        if (isAgentOutdated)
            scene.makeAgentOutdated();
        else
            scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        for (qsizetype i = 0; i < boxes.size(); ++i) {
            QCOMPARE(scene.inBox(boxes[i], "statusLabel")->property("text").toString(),
                     statusLabels[i]);
            QCOMPARE(shown(scene, boxes[i]), shownParts[i]);
            QCOMPARE(scene.inBox(boxes[i], "instruction")->isVisible(),
                     shownParts[i].contains('!'));
        }
        QCOMPARE(scene.item("outdatedBanner")->isVisible(), isAgentOutdated);
    }

    // On a screen where three steps need a repair, every button logs its click first.
    void eachButtonCallsItsAction() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        scene.setAgentBuildNumber("1");
        scene.removeLink();
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        LogCapture log;

        for (const char* box : {"cliStepBox", "daemonStepBox", "agentStepBox"})
            scene.click(scene.inBox(box, "actionButton"));
        scene.click(scene.item("bannerRestartButton"));
        scene.click(scene.item("refreshButton"));
        QCOMPARE(log.messages().filter("User clicked"),
                 (QStringList{"User clicked Fix CLI Symlink button (status: missing)",
                              "User clicked Fix Sandbox Daemon button (status: cannotConnect)",
                              "User clicked Fix Notification Agent button (status: staleVersion)",
                              "User clicked Restart Services button", // from the outdated agent's
                              "User clicked Restart Services button", // from the banner's
                              "User clicked Refresh button"}));
    }

    void instructionLinkOpensItsTarget() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        scene.grab(); // lays the new texts out

        const std::optional<QPointF> point = linkPoint(scene.inBox("daemonStepBox", "instruction"));
        QVERIFY(point);
        QTest::mouseClick(scene.view.get(), Qt::LeftButton, {}, point->toPoint());
        QCOMPARE(scene.workspace.opened, QList<QUrl>{QUrl(kLoginItemsSettingsLink)});
        QCOMPARE(scene.services.count("daemon.register"), 0);
    }

    void flowShowsProgressThenAnyErrorInRedBelowTheButtons_data() {
        QTest::addColumn<QString>("flow");       // names its button and its error label
        QTest::addColumn<QStringList>("labels"); // the button's, busy then idle
        QTest::addColumn<Millis>("duration");
        QTest::newRow("restart") << "restart" << QStringList{"Restarting...", "Restart Services"}
                                 << Millis(3s);
        QTest::newRow("stop") << "stop" << QStringList{"Stopping...", "Stop All Services"}
                              << Millis(1s);
    }

    void flowShowsProgressThenAnyErrorInRedBelowTheButtons() {
        QFETCH(QString, flow);
        QFETCH(QStringList, labels);
        QFETCH(Millis, duration);
        SetupScene scene;
        scene.extensions.onSubmit = [](auto delegate) {
            delegate.lock()->requestDidFinish(RequestResult::completed);
        };
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        QQuickItem* button = scene.item(flow + "Button");
        QQuickItem* error = scene.item(flow + "Error");

        scene.click(button);
        QVERIFY(button->isEnabled());
        scene.clock.advance(duration - 1ms);
        QCOMPARE(button->property("text").toString(), labels[0]);
        scene.clock.advance(1ms);
        QCOMPARE(button->property("text").toString(), labels[1]);
        QVERIFY(scene.settle());

        // Both flows begin by taking the daemon out.
        scene.services.daemonUnregisterResult = PlatformError{"The daemon refused to stop"};
        scene.click(button);
        QCOMPARE(error->property("text").toString(), "The daemon refused to stop");
        QVERIFY(!scene.item(flow == "stop" ? "restartError" : "stopError")->isVisible());
        // Red, as dark as text on the window needs.
        const QColor red = error->property("color").value<QColor>();
        QVERIFY2(red.hslHue() <= 10 && red.hslSaturation() > 150, qPrintable(red.name()));
        scene.grab(); // lays the label out
        QVERIFY(error->mapToScene({0, 0}).y() >= button->mapToScene({0, button->height()}).y());

        // Starting the flow again clears its error.
        QVERIFY(scene.settle());
        scene.services.daemonUnregisterResult.reset();
        scene.click(button);
        QVERIFY(!error->isVisible());
    }
};

QTEST_MAIN(SetupViewTest)
#include "tst_setup_view.moc"
