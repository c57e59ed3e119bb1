#include "SetupScene.h"
#include "app/AppState.h"
#include "platform/WindowChrome.h"
#include "platform/portable/LiveRegion.h"
#include "window/MainSplitViewController.h"
#include "window/MainWindow.h"
#include "window/qml/QuickViews.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

struct Animation {
    QRectF target;
    bool isCollapsing;
    int duration;
};

// Stands for the view: reports a window and panes, and plays every animation
// to its end at once. Each time the detail pane is back, the user widens it by 40.
struct SplitRig {
    static constexpr QRectF launchFrame{100, 80, 900, 600};
    static constexpr qreal sidebar = 339;

    AppState appState;
    MainSplitViewController controller{appState};
    QList<Animation> animations;

    SplitRig() {
        controller.setDividerThickness(1);
        controller.reportWindowFrame(launchFrame);
        controller.reportPaneWidths(sidebar, 560);
        QObject::connect(&controller, &MainSplitViewController::animationRequested,
                         [this](const QRectF& target, bool isCollapsing, int duration) {
                             animations.append({target, isCollapsing, duration});
                             const qreal widening = isCollapsing ? 0 : 40;
                             controller.reportWindowFrame(target.adjusted(0, 0, widening, 0));
                             controller.reportPaneWidths(
                                 isCollapsing ? target.width() : sidebar,
                                 isCollapsing ? 0 : target.width() - sidebar - 1 + widening);
                             controller.finishAnimation();
                         });
    }
};

QQuickItem* findItem(QQuickWindow* window, const char* objectName) {
    return window->findChild<QQuickItem*>(QString::fromLatin1(objectName));
}

// What the Accessible attached property of `item` holds.
QObject* accessibleOf(const QQuickItem* item) {
    for (QObject* child : item->children())
        if (child->property("role").isValid())
            return child;
    return nullptr;
}

void click(QQuickWindow* window, const QQuickItem* item) {
    QTest::mouseClick(window, Qt::LeftButton, {},
                      item->mapToScene({item->width() / 2, item->height() / 2}).toPoint());
}

class FakeWindowChrome final : public WindowChrome {
public:
    explicit FakeWindowChrome(bool hasMenuBar)
        : hasMenuBar(hasMenuBar) {}
    void styleMainWindow(QWindow&) override {}
    qreal tabRowLeadingPadding() const override { return 20; }
    bool hasSystemMenuBar() const override { return hasMenuBar; }

private:
    bool hasMenuBar;
};

} // namespace

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    void splitFollowsTheTab_data() {
        // Each list of tabs is selected in one turn of the event loop, then
        // the loop runs; the next list follows.
        QTest::addColumn<QList<QList<AppTab>>>("turns");
        QTest::addColumn<QList<qreal>>("animatedWidths");
        QTest::addColumn<bool>("isCollapsed");

        using Turns = QList<QList<AppTab>>;
        QTest::newRow("setup shrinks the window to the sidebar")
            << Turns{{AppTab::setup}} << QList<qreal>{339} << true;
        QTest::newRow("back to a prompt tab adds the width the pane last had and the divider")
            << Turns{{AppTab::setup}, {AppTab::policies}, {AppTab::setup}, {AppTab::sessions}}
            << QList<qreal>{339, 900, 339, 940} << false;
        QTest::newRow("setup chosen again before the update animates once")
            << Turns{{AppTab::setup, AppTab::sessions, AppTab::setup}} << QList<qreal>{339} << true;
        QTest::newRow("setup after setup animates once")
            << Turns{{AppTab::setup}, {AppTab::setup}} << QList<qreal>{339} << true;
        QTest::newRow("between the prompt tabs nothing changes")
            << Turns{{AppTab::sessions}, {AppTab::policies}} << QList<qreal>{} << false;
    }

    void splitFollowsTheTab() {
        QFETCH(QList<QList<AppTab>>, turns);
        QFETCH(QList<qreal>, animatedWidths);
        QFETCH(bool, isCollapsed);

        SplitRig rig;
        for (const QList<AppTab>& turn : turns) {
            const qsizetype before = rig.animations.size();
            for (AppTab tab : turn)
                rig.appState.setSelectedTab(tab);
            // Never inside the change itself.
            QCOMPARE(rig.animations.size(), before);
            QCoreApplication::processEvents();
        }

        QList<qreal> widths;
        for (const Animation& animation : rig.animations) {
            widths << animation.target.width();
            QCOMPARE(animation.isCollapsing, animation.target.width() == SplitRig::sidebar);
            QCOMPARE(animation.target.topLeft(), SplitRig::launchFrame.topLeft());
            QCOMPARE(animation.target.height(), SplitRig::launchFrame.height());
            QCOMPARE(animation.duration, 250);
        }
        QCOMPARE(widths, animatedWidths);
        QCOMPARE(rig.controller.isDetailCollapsed(), isCollapsed);
        // Until the animation that brings the pane back has ended, the pane may
        // be narrower than its minimum.
        QCOMPARE(rig.controller.canDetailCollapse(), !rig.animations.isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(rig.controller.canDetailCollapse(), isCollapsed);
    }

    void tabsSetupScreenPresenceAndAlerts() {
        SetupScene scene;
        // The outdated agent is asked again on every poll.
        scene.makeAgentOutdated();
        AppState appState;
        LiveRegion liveRegion;
        MainWindow mainWindow(appState, {.serviceMonitor = *scene.monitor,
                                         .serviceRepairs = *scene.repairs,
                                         .liveRegion = &liveRegion});
        QQuickWindow* window = mainWindow.window();
        QCOMPARE(window->title(), "Zor");
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QCOMPARE(window->size(), QSize(700, 500));

        // The screen's first report, though nobody sees the screen, picks setup.
        QTRY_COMPARE(appState.selectedTab(), AppTab::setup);
        QTRY_COMPARE(window->width(), 340);
        QVERIFY(scene.settle());
        QVERIFY(scene.monitor->isPollPending());
        // Nothing on the screen reaches past the sidebar's width.
        QQuickItem* setupView = findItem(window, "setupView");
        QVERIFY(setupView->isVisible());
        for (const QQuickItem* item : setupView->findChildren<QQuickItem*>()) {
            if (item->isVisible() && item->width() > 0)
                QVERIFY2(item->mapToItem(setupView, {item->width(), 0}).x() <= setupView->width(),
                         qPrintable(item->objectName()));
        }

        // In the order of AppTab.
        const char* const tabNames[] = {"policiesTab", "sessionsTab", "setupTab"};
        for (int clicked : {1, 0, 2, 0}) {
            QQuickItem* tab = findItem(window, tabNames[clicked]);
            QTest::mouseClick(window, Qt::LeftButton, {},
                              tab->mapToScene({tab->width() / 2, tab->height() / 2}).toPoint());
            QCOMPARE(appState.selectedTab(), AppTab(clicked));
            for (int i = 0; i < 3; ++i)
                QCOMPARE(findItem(window, tabNames[i])->property("isSelected").toBool(),
                         i == clicked);
        }

        // On a prompt tab the hidden screen keeps polling.
        QCOMPARE(setupView->opacity(), 0);
        const int queries = scene.agentQueryCount();
        QVERIFY(scene.monitor->isPollPending());
        scene.clock.advance(1s);
        QTRY_VERIFY(scene.agentQueryCount() > queries);

        QVERIFY(mainWindow.isInFront());
        window->showMinimized();
        QVERIFY(!mainWindow.isInFront());
        mainWindow.bringBack();
        QTRY_VERIFY(mainWindow.isInFront());
        window->hide();
        QVERIFY(!mainWindow.isInFront());

        // An alert whose name is the announcement, and a repeat goes through a change.
        QObject* accessible = accessibleOf(findItem(window, "liveRegion"));
        QVERIFY(accessible);
        QCOMPARE(accessible->property("role").toInt(), int(QAccessible::AlertMessage));
        const QMetaObject* type = accessible->metaObject();
        QSignalSpy names(accessible, type->property(type->indexOfProperty("name")).notifySignal());
        liveRegion.announce("Write File: /a");
        liveRegion.announce("Write File: /a");
        QCOMPARE(accessible->property("name").toString(), "Write File: /a");
        QCOMPARE(names.size(), 3);
    }

    void quitByKeysAndTheMainMenu_data() {
        QTest::addColumn<bool>("hasSystemMenuBar");
        QTest::newRow("the tab row holds the menu") << false;
        QTest::newRow("the system's menu bar holds it") << true;
    }

    // Both ask the app to quit, once.
    void quitByKeysAndTheMainMenu() {
        QFETCH(bool, hasSystemMenuBar);
        SetupScene scene;
        AppState appState;
        FakeWindowChrome chrome(hasSystemMenuBar);
        int quits = 0;
        MainWindow mainWindow(appState, {.serviceMonitor = *scene.monitor,
                                         .serviceRepairs = *scene.repairs,
                                         .windowChrome = chrome,
                                         .quit = [&quits] { ++quits; }});
        QQuickWindow* window = mainWindow.window();
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowActive(window));

        QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier);
        QTRY_COMPARE(quits, 1);

        QQuickItem* button = findItem(window, "mainMenuButton");
        QCOMPARE(button->isVisible(), !hasSystemMenuBar);
        if (hasSystemMenuBar)
            return;
        const QObject* accessible = accessibleOf(button);
        QVERIFY(accessible);
        QCOMPARE(accessible->property("name").toString(), "Main menu");
        // Beside the tabs, within the sidebar at its narrowest.
        const QQuickItem* setupTab = findItem(window, "setupTab");
        const QRectF buttonFrame = button->mapRectToScene(button->boundingRect());
        QVERIFY(buttonFrame.left() >= setupTab->mapRectToScene(setupTab->boundingRect()).right());
        QVERIFY(buttonFrame.right() <= 340);

        click(window, button);
        QTRY_VERIFY(window->findChild<QObject*>("mainMenu")->property("opened").toBool());
        QQuickItem* quitItem = findItem(window, "quitMenuItem");
        QCOMPARE(quitItem->property("text").toString(), "Quit Zor");
        QCOMPARE(findItem(window, "quitKeys")->property("text").toString(),
                 QKeySequence(Qt::CTRL | Qt::Key_Q).toString(QKeySequence::NativeText));
        click(window, quitItem);
        QTRY_COMPARE(quits, 2);
    }
};

QTEST_MAIN(WindowTest)
#include "tst_window.moc"
