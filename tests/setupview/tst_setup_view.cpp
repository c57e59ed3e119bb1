#include "DarkPalette.h"
#include "LogCapture.h"
#include "SetupScene.h"
#include "ShownText.h"
#include "shared/BuildNumber.h"
#include "window/qml/ColorContrast.h"
#include "window/qml/QuickViews.h"
#include "window/qml/SetupTheme.h"

#include <QAccessible>
#include <QColor>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <QScopeGuard>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

const QStringList boxes = {"cliStepBox", "daemonStepBox", "agentStepBox", "neStepBox"};

// What a box shows beside its labels, as "<item>:<text>": its mark, whose glyph is
// the text of its child, then what its action area holds.
QString shown(const SetupScene& scene, const QString& box) {
    QStringList parts;
    for (const QString name : {"okMark", "problemMark", "unsupportedMark", "actionButton",
                               "noticeLabel", "progressIndicator"}) {
        const QQuickItem* item = scene.inBox(box, name);
        const QQuickItem* text = name.endsWith("Mark") ? item->childItems().value(0) : item;
        if (item->isVisible())
            parts << name + u':' + text->property("text").toString();
    }
    return parts.join(u',');
}

// `item` and every item below it that is shown.
QList<QQuickItem*> shownItems(QQuickItem* item) {
    QList<QQuickItem*> items;
    if (!item->isVisible() || item->opacity() == 0)
        return items;
    items.append(item);
    for (QQuickItem* child : item->childItems())
        items.append(shownItems(child));
    return items;
}

// The widest line of `text` when it wraps only between words: wider than the text
// where a word does not fit on a line, which other wrapping would have to cut.
qreal widestWordWrappedLine(QQuickItem* text) {
    if (text->property("textFormat").toInt() != Qt::MarkdownText) {
        const QVariant wrapMode = text->property("wrapMode");
        text->setProperty("wrapMode", int(QTextOption::WordWrap));
        const qreal widest = text->property("contentWidth").toReal();
        text->setProperty("wrapMode", wrapMode);
        return widest;
    }
    // The item reports no lines of its own for Markdown: lay it out in a document
    // as the item does.
    QTextDocument document;
    document.setDocumentMargin(0);
    document.setDefaultFont(text->property("font").value<QFont>());
    QTextOption option = document.defaultTextOption();
    option.setWrapMode(QTextOption::WordWrap);
    document.setDefaultTextOption(option);
    document.setMarkdown(text->property("text").toString());
    document.setTextWidth(text->width());
    document.size(); // lays it out
    qreal widest = 0;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
        for (int i = 0; i < block.layout()->lineCount(); ++i)
            widest = qMax(widest, block.layout()->lineAt(i).naturalTextWidth());
    return widest;
}

// Every text shows whole and wraps only between words.
void checkTextsKeepTheirWords(QQuickItem* screen) {
    for (QQuickItem* text : shownItems(screen)) {
        if (!text->inherits("QQuickText"))
            continue;
        const QByteArray name = text->objectName().toUtf8() + ": " +
                                text->property("text").toString().left(40).toUtf8();
        QVERIFY2(!text->property("truncated").toBool(), name);
        QVERIFY2(widestWordWrappedLine(text) <= text->width() + 0.5, name);
    }
}

// Every button of the screen can be brought fully into view: the screen-wide ones
// are in view, a step's can be scrolled to, and none is cut at a side.
void checkButtonsReachable(QQuickItem* screen, QQuickItem* scroller) {
    auto* flickable = scroller->property("contentItem").value<QQuickItem*>();
    auto* content = flickable->property("contentItem").value<QQuickItem*>();
    const qreal contentHeight = flickable->property("contentHeight").toReal();
    const qreal lastY = qMax(0.0, contentHeight - flickable->height());
    for (QQuickItem* button : shownItems(screen)) {
        if (!button->inherits("QQuickAbstractButton"))
            continue;
        const QByteArray name = button->objectName().toUtf8();
        const QRectF bounds(0, 0, button->width(), button->height());
        if (flickable->isAncestorOf(button)) {
            const QRectF inContent = button->mapRectToItem(content, bounds);
            QVERIFY2(inContent.top() >= 0 && inContent.bottom() <= contentHeight, name);
            flickable->setProperty("contentY",
                                   qBound(0.0, inContent.bottom() - flickable->height(), lastY));
            QVERIFY2(QRectF(0, 0, flickable->width(), flickable->height())
                         .contains(button->mapRectToItem(flickable, bounds)),
                     name);
        } else {
            QVERIFY2(QRectF(0, 0, screen->width(), screen->height())
                         .contains(button->mapRectToItem(screen, bounds)),
                     name);
        }
    }
    flickable->setProperty("contentY", 0);
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

    // Between them, the rows show every kind of box: healthy, with a button, with a
    // notice, and not available on this system.
    void screenShowsEachStep_data() {
        QTest::addColumn<QString>("system");
        QTest::addColumn<QStringList>("statusLabels"); // link, daemon, agent, extension
        QTest::addColumn<QStringList>("shownParts");

        const QString ok = "okMark:\u2713";
        const QString unsupported = "unsupportedMark:";
        QTest::newRow("agent outdated")
            << "agent outdated" << QStringList{"Linked", "Running", "Outdated", "Running"}
            << QStringList{ok, ok, "problemMark:!,actionButton:Restart", ok};
        QTest::newRow("daemon unreachable")
            << "daemon unreachable"
            << QStringList{"Linked", "Not Running", "Running", "Waiting on Daemon"}
            << QStringList{ok, "problemMark:!,actionButton:Approve", ok,
                           "problemMark:!,noticeLabel:Waiting"};
        QTest::newRow("unsupported")
            << "unsupported"
            << QStringList{"Not Available", "Not Available", "Running", "Not Available"}
            << QStringList{unsupported, unsupported, ok, unsupported};
    }

    void screenShowsEachStep() {
        QFETCH(QString, system);
        QFETCH(QStringList, statusLabels);
        QFETCH(QStringList, shownParts);
        SetupScene scene;
        if (system == "agent outdated")
            scene.makeAgentOutdated();
        if (system == "daemon unreachable")
            scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        if (system == "unsupported")
            scene.makeUnsupported(zorBuildNumber());
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());

        for (qsizetype i = 0; i < boxes.size(); ++i) {
            QCOMPARE(scene.inBox(boxes[i], "statusLabel")->property("text").toString(),
                     statusLabels[i]);
            QCOMPARE(shown(scene, boxes[i]), shownParts[i]);
            QCOMPARE(scene.inBox(boxes[i], "instruction")->isVisible(),
                     !shownParts[i].startsWith("okMark"));
        }
        QCOMPARE(scene.item("outdatedBanner")->isVisible(), system == "agent outdated");
    }

    // Where the system has no service manager, the screen-wide flows could only
    // fail: they are closed, and say why where the pointer rests. Nothing on the
    // screen is in the colour of a failure.
    void unsupportedScreenOffersNothingThatCannotWork() {
        SetupScene scene;
        scene.makeUnsupported();
        QVERIFY(scene.show(340, 500));
        QVERIFY(scene.settle());
        LogCapture log;

        QQuickItem* restart = scene.item("restartButton");
        QVERIFY(!restart->isEnabled());
        QVERIFY(!scene.item("stopButton")->isEnabled());
        QVERIFY(scene.item("refreshButton")->isEnabled());
        scene.click(restart);
        QVERIFY(log.messages().filter("User clicked").isEmpty());
        QVERIFY(!scene.repairs->isRestarting());

        const QString reason = "Not available on this system: it has no service manager.";
        // Assistive tools, which cannot tell a closed button, read why it is.
        for (const char* name : {"restartButton", "stopButton"}) {
            const QObject* accessible = accessibleOf(scene.item(name));
            QVERIFY(accessible);
            QCOMPARE(accessible->property("description").toString(), reason);
        }
        QVERIFY(!isTextShown(scene.view->contentItem(), reason));
        const QPointF centre = restart->mapToScene({restart->width() / 2, restart->height() / 2});
        QTest::mouseMove(scene.view.get(), centre.toPoint() + QPoint(1, 0));
        QTest::mouseMove(scene.view.get(), centre.toPoint());
        QTRY_VERIFY(isTextShown(scene.view->contentItem(), reason));

        const QColor red = QColor("#e5352b");
        for (const QString& box : boxes) {
            QVERIFY(!scene.inBox(box, "actionButton")->isVisible());
            QVERIFY(scene.inBox(box, "statusLabel")->property("color").value<QColor>() != red);
        }

        // A development agent of another build: outdated, but its restart is
        // the user's to do, not the screen's.
        scene.setAgentBuildNumber(zorBuildNumber() + "-dev");
        scene.monitor->refresh();
        QVERIFY(scene.settle());
        QCOMPARE(scene.monitor->agentStatus(), AgentStatus::staleVersion);
        QVERIFY(scene.item("outdatedBanner")->isVisible());
        QVERIFY(!scene.item("bannerRestartButton")->isVisible());
        QVERIFY(!scene.inBox("agentStepBox", "actionButton")->isVisible());
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

    void eachButtonSaysWhatItActsOn_data() {
        QTest::addColumn<QString>("system");
        QTest::addColumn<QStringList>("buttons"); // "<box>:<the button's text>"
        QTest::newRow("daemon and extension awaiting approval")
            << "approval" << QStringList{"daemonStepBox:Approve", "neStepBox:Approve"};
        QTest::newRow("everything outdated")
            << "outdated"
            << QStringList{"daemonStepBox:Restart", "agentStepBox:Restart", "neStepBox:Restart",
                           "outdatedBanner:Restart"};
    }

    // Buttons of one text act on different services: each says to assistive
    // tools which one, and each step's mark says whose status it shows. The
    // buttons keep their texts on the screen.
    void eachButtonSaysWhatItActsOn() {
        QFETCH(QString, system);
        QFETCH(QStringList, buttons);
        SetupScene scene;
        if (system == "approval") {
            scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
            QVERIFY(scene.show(640));
            QVERIFY(scene.settle());
            scene.repairs->fixNetworkExtension();
            scene.extensions.lastDelegate()->requestNeedsUserApproval();
        } else {
            scene.makeAllHealthy();
            {
                QMutexLocker lock(&scene.daemonConnection.mutex);
                scene.daemonConnection.status = DaemonStatusRecord{0, "1.0", "1"};
                scene.daemonConnection.extensionBuildNumber = "1";
            }
            scene.setAgentBuildNumber("1");
            QVERIFY(scene.show(640));
        }
        QVERIFY(scene.settle());

        QStringList shownButtons;
        QStringList names;
        for (const QString& box : boxes + QStringList{"outdatedBanner"}) {
            const bool isBanner = box == "outdatedBanner";
            QQuickItem* button =
                isBanner ? scene.item("bannerRestartButton") : scene.inBox(box, "actionButton");
            if (!button->isVisible())
                continue;
            const QString text = button->property("text").toString();
            shownButtons << box + u':' + text;
            const QObject* accessible = accessibleOf(button);
            QVERIFY(accessible);
            const QString name = accessible->property("name").toString();
            names << name;
            // What it does, then on what.
            const QString label = isBanner
                                      ? "Outdated Services"
                                      : scene.inBox(box, "stepLabel")->property("text").toString();
            QVERIFY2(name.startsWith(text) && name.contains(label), qPrintable(name));
            if (isBanner)
                continue;
            const QString status = scene.inBox(box, "statusLabel")->property("text").toString();
            const QString mark =
                accessibleOf(scene.inBox(box, "statusIcon"))->property("name").toString();
            QVERIFY2(mark.contains(label) && mark.contains(status), qPrintable(mark));
        }
        QCOMPARE(shownButtons, buttons);
        // No two alike, nor like a screen-wide button's.
        names << "Restart Services"
              << "Stop All Services"
              << "Refresh";
        QCOMPARE(QSet<QString>(names.begin(), names.end()).size(), names.size());
    }

    // At the screen's smallest, 340 x 500, and taller: every action reachable, no
    // word broken, and a scroll bar exactly while there is more than fits.
    void everythingReachableAtTheSmallestSize_data() {
        QTest::addColumn<QString>("system");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("isOverflowing");
        QTest::newRow("all healthy") << "all healthy" << 500 << false;
        QTest::newRow("unsupported") << "unsupported" << 500 << true;
        QTest::newRow("everything to repair") << "everything to repair" << 500 << true;
        QTest::newRow("everything to repair, tall") << "everything to repair" << 1200 << false;
    }

    void everythingReachableAtTheSmallestSize() {
        QFETCH(QString, system);
        QFETCH(int, height);
        SetupScene scene;
        if (system == "unsupported")
            scene.makeUnsupported();
        if (system == "everything to repair") {
            // The banner, three instructions, both buttons' rows and an error below them.
            scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
            scene.setAgentBuildNumber("1");
            scene.removeLink();
            scene.services.daemonUnregisterResult =
                PlatformError{"The operation couldn't be completed because the daemon refused"};
        }
        QVERIFY(scene.show(340, height));
        QVERIFY(scene.settle());
        if (system == "everything to repair") {
            scene.click(scene.item("stopButton"));
            QVERIFY(scene.settle());
            QVERIFY(scene.item("stopError")->isVisible());
        }
        scene.grab(); // lays the texts out

        QQuickItem* screen = scene.view->rootObject();
        QQuickItem* scroller = scene.item("setupScroller");
        checkTextsKeepTheirWords(screen);
        checkButtonsReachable(screen, scroller);
        QQuickItem* bar = nullptr;
        for (QQuickItem* child : scroller->childItems())
            if (child->inherits("QQuickScrollBar") &&
                child->property("orientation").toInt() == Qt::Vertical)
                bar = child;
        QVERIFY(bar);
        QTEST(bar->isVisible(), "isOverflowing");
    }

    void longFlowErrorsLeaveTheStepsInView_data() {
        // The screen's height: in the window, the tab row takes 62 of it, and
        // the screen there has none of the 20 it starts with here.
        QTest::addColumn<int>("height");
        QTest::newRow("the tab's in a 500 high window") << 500 - 62 + 20;
        QTest::newRow("the tab's in a 300 high window, the smallest") << 300 - 62 + 20;
        QTest::newRow("340 x 500") << 500;
        QTest::newRow("340 x 300") << 300;
    }

    // A service manager's errors run to many lines. Both shown, the steps
    // keep room for a box at least, both errors stay whole in the window, and
    // each holds all of its text, to scroll and to copy.
    void longFlowErrorsLeaveTheStepsInView() {
        QFETCH(int, height);
        const QString error =
            "The operation couldn’t be completed. (SMAppServiceErrorDomain error 1 - "
            "Operation not permitted.) Underlying error: Error Domain=NSPOSIXErrorDomain "
            "Code=1 \"Operation not permitted\" UserInfo={NSFilePath=/Library/LaunchDaemons/"
            "com.example.zor.daemon.plist, NSLocalizedFailureReason=The service could not be "
            "unregistered because launchd reported that the job is still running under the "
            "label com.example.zor.daemon in the system domain; bootout returned 5 "
            "(Input/output error) after 3 attempts; see /var/log/com.apple.xpc.launchd/"
            "launchd.log for details.}";
        SetupScene scene;
        scene.services.daemonUnregisterResult = PlatformError{error};
        QVERIFY(scene.show(340, height));
        QVERIFY(scene.settle());
        scene.click(scene.item("stopButton"));
        QVERIFY(scene.settle());
        scene.click(scene.item("restartButton"));
        QVERIFY(scene.settle());
        scene.grab(); // lays the errors out

        const qreal viewHeight = scene.view->height();
        const QQuickItem* scroller = scene.item("setupScroller");
        for (const QString& box : boxes) {
            const qreal boxHeight = scene.item(box)->height();
            QVERIFY2(scroller->height() >= boxHeight,
                     qPrintable(QStringLiteral("the steps have %1 of the %2 a box takes")
                                    .arg(scroller->height())
                                    .arg(boxHeight)));
        }
        for (const char* name : {"restartError", "stopError"}) {
            const QQuickItem* shown = scene.item(name);
            QVERIFY2(shown->isVisible(), name);
            QCOMPARE(shown->property("text").toString(), error);
            const QRectF bounds = shown->mapRectToScene(shown->boundingRect());
            QVERIFY2(bounds.top() >= scroller->mapRectToScene(scroller->boundingRect()).bottom() &&
                         bounds.bottom() <= viewHeight,
                     qPrintable(QStringLiteral("%1 from %2 to %3 of %4")
                                    .arg(name)
                                    .arg(bounds.top())
                                    .arg(bounds.bottom())
                                    .arg(viewHeight)));
        }
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

    // Keys alone reach every action, in the order the screen is read: Tab
    // goes round the banner, each step's link and repair and the screen-wide
    // buttons, and Shift+Tab back, each in sight in turn with a ring around
    // it, on the smallest screen too. Space presses a button, Enter follows a
    // link.
    void everyActionByKeys() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        scene.setAgentBuildNumber("1");
        scene.removeLink();
        QVERIFY(scene.show(340, 500));
        QVERIFY(scene.settle());
        LogCapture log;
        auto* scroller = scene.item("setupScroller")->property("contentItem").value<QQuickItem*>();
        const auto isInSight = [scroller](QQuickItem* item) {
            const QRectF shown = item->mapRectToItem(scroller, item->boundingRect());
            return !scroller->isAncestorOf(item) ||
                   (shown.top() >= 0 && shown.bottom() <= scroller->height());
        };

        const QList<QQuickItem*> stops = {scene.item("bannerRestartButton"),
                                          scene.inBox("cliStepBox", "actionButton"),
                                          scene.inBox("daemonStepBox", "instruction"),
                                          scene.inBox("daemonStepBox", "actionButton"),
                                          scene.inBox("agentStepBox", "actionButton"),
                                          scene.item("restartButton"),
                                          scene.item("stopButton"),
                                          scene.item("refreshButton")};
        const auto ringOf = [](QQuickItem* item) -> QQuickItem* {
            for (QQuickItem* child : item->childItems())
                if (child->objectName().endsWith("FocusRing") && child->isVisible())
                    return child;
            return nullptr;
        };
        for (const Qt::KeyboardModifiers modifiers : {Qt::NoModifier, Qt::ShiftModifier}) {
            QList<QQuickItem*> reached;
            for (int presses = 0; presses < 2 * stops.size(); ++presses) {
                QTest::keyClick(scene.view.get(), Qt::Key_Tab, modifiers);
                QQuickItem* focused = scene.view->activeFocusItem();
                QVERIFY(focused);
                if (!reached.isEmpty() && focused == reached.first())
                    break;
                QVERIFY2(ringOf(focused), qPrintable(focused->objectName()));
                QTRY_VERIFY2(isInSight(focused), qPrintable(focused->objectName()));
                reached.append(focused);
            }
            // Round once, in the screen's order either way.
            QList<QQuickItem*> expected = stops;
            if (modifiers == Qt::ShiftModifier)
                std::reverse(expected.begin(), expected.end());
            const qsizetype start = expected.indexOf(reached.value(0));
            QVERIFY(start >= 0);
            QCOMPARE(reached, expected.mid(start) + expected.first(start));
        }

        scene.inBox("daemonStepBox", "instruction")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(scene.view.get(), Qt::Key_Return);
        QCOMPARE(scene.workspace.opened, QList<QUrl>{QUrl(kLoginItemsSettingsLink)});
        for (const char* box : {"cliStepBox", "daemonStepBox", "agentStepBox"}) {
            scene.inBox(box, "actionButton")->forceActiveFocus(Qt::TabFocusReason);
            QTest::keyClick(scene.view.get(), Qt::Key_Space);
        }
        scene.item("refreshButton")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(scene.view.get(), Qt::Key_Space);
        QCOMPARE(log.messages().filter("User clicked"),
                 (QStringList{"User clicked Fix CLI Symlink button (status: missing)",
                              "User clicked Fix Sandbox Daemon button (status: cannotConnect)",
                              "User clicked Fix Notification Agent button (status: staleVersion)",
                              "User clicked Restart Services button", // from the outdated agent's
                              "User clicked Refresh button"}));
    }

    // The system turns dark with problems on the screen: each status's text and
    // mark take the dark palette's shade at once, as the rest of the screen does.
    void statusColoursFollowAPaletteChange() {
        const QPalette light = QGuiApplication::palette();
        const auto restore = qScopeGuard([&light] { QGuiApplication::setPalette(light); });
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        QGuiApplication::setPalette(darkPalette());
        const qml::SetupTheme* theme = qml::SetupTheme::of(*scene.view->engine());
        QVERIFY(theme->isDark());

        const auto colorOf = [&scene](const char* box, const char* item) {
            return scene.inBox(box, item)->property("color").value<QColor>();
        };
        const auto tintOf = [&scene](const char* box) {
            return scene.inBox(box, "statusIcon")->property("tint").value<QColor>();
        };
        QCOMPARE(colorOf("daemonStepBox", "statusLabel"), theme->statusColor(StatusColor::yellow));
        QCOMPARE(tintOf("daemonStepBox"), theme->statusColor(StatusColor::yellow));
        QCOMPARE(colorOf("neStepBox", "statusLabel"), theme->statusColor(StatusColor::red));
        QCOMPARE(tintOf("neStepBox"), theme->statusColor(StatusColor::red));
        QCOMPARE(colorOf("cliStepBox", "statusLabel"), theme->statusColor(StatusColor::green));
        QCOMPARE(colorOf("cliStepBox", "okMark"), theme->statusColor(StatusColor::green));
        // The tick on the mark reads on its new shade.
        const QQuickItem* tick = scene.inBox("cliStepBox", "okMark")->childItems().value(0);
        QCOMPARE(tick->property("color").value<QColor>(),
                 qml::ColorContrast::textOn(theme->statusColor(StatusColor::green)));
    }

    // The daemon's instruction had its link when the user Tabbed to it; a poll
    // finds an error whose instruction has none. The keys leave the plain
    // text, and a key pressed there follows no link.
    void anInstructionThatLosesItsLinkLetsTheKeysGo() {
        SetupScene scene;
        scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
        QVERIFY(scene.show(640));
        QVERIFY(scene.settle());
        QQuickItem* text = scene.inBox("daemonStepBox", "instruction");
        QVERIFY(text->activeFocusOnTab());
        text->forceActiveFocus(Qt::TabFocusReason);
        QVERIFY(text->hasActiveFocus());

        {
            QMutexLocker lock(&scene.daemonConnection.mutex);
            scene.daemonConnection.status = DaemonStatusRecord{2, "1.0", zorBuildNumber()};
        }
        scene.runFor(1s);
        QCOMPARE(scene.monitor->daemonStatus(), DaemonStatus::esInternalError);
        QVERIFY(text->isVisible());
        QVERIFY(!text->hasActiveFocus());
        QVERIFY(!scene.inBox("daemonStepBox", "linkFocusRing")->isVisible());
        // On the screen's home, as from a control that hides; Tab passes the text by.
        QCOMPARE(scene.view->activeFocusItem(), scene.item("refreshButton"));
        QVERIFY(!text->activeFocusOnTab());
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(scene.view.get(), key);
        QCOMPARE(scene.workspace.opened, QList<QUrl>());
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
        // Told at once to assistive tools, as the group's outcome is.
        const QObject* alert = accessibleOf(error);
        QVERIFY(alert);
        QCOMPARE(alert->property("role").toInt(), int(QAccessible::AlertMessage));
        QCOMPARE(alert->property("name").toString(), "The daemon refused to stop");
        QCOMPARE(button->property("text").toString(), labels[1]);
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
