#include "DarkPalette.h"
#include "LogCapture.h"
#include "PromptsScene.h"
#include "SetupScene.h"
#include "ShownText.h"
#include "platform/WindowChrome.h"
#include "platform/portable/LiveRegion.h"
#include "prompts/AppState.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "window/MainSplitViewController.h"
#include "window/MainWindow.h"
#include "window/qml/ColorContrast.h"
#include "window/qml/FocusRing.h"
#include "window/qml/PromptGlyph.h"
#include "window/qml/QuickViews.h"
#include "window/qml/SetupTheme.h"

#include <QImage>
#include <QPainter>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

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
// to its end at once. Each time the detail pane is back, the user widens it by
// 40. While `isStoppedHalfway` is set, an animation stops halfway instead, as
// when the tab changes again before it ends.
struct SplitRig {
    static constexpr QRectF launchFrame{100, 80, 900, 600};
    static constexpr qreal sidebar = 339;

    AppState appState;
    MainSplitViewController controller{appState};
    QList<Animation> animations;
    bool isStoppedHalfway = false;
    QRectF frame = launchFrame;
    qreal detail = 560;

    SplitRig() {
        controller.setDividerThickness(1);
        controller.reportWindowFrame(frame);
        controller.reportPaneWidths(sidebar, detail);
        QObject::connect(&controller, &MainSplitViewController::animationRequested,
                         [this](const QRectF& target, bool isCollapsing, int duration) {
                             animations.append({target, isCollapsing, duration});
                             const qreal widening = isCollapsing || isStoppedHalfway ? 0 : 40;
                             const qreal share = isStoppedHalfway ? 0.5 : 1;
                             const qreal targetDetail =
                                 isCollapsing ? 0 : target.width() - sidebar - 1 + widening;
                             frame.setWidth(frame.width() +
                                            (target.width() + widening - frame.width()) * share);
                             detail += (targetDetail - detail) * share;
                             controller.reportWindowFrame(frame);
                             controller.reportPaneWidths(sidebar, detail);
                             if (!isStoppedHalfway)
                                 controller.finishAnimation();
                         });
    }
};

QQuickItem* findItem(QQuickWindow* window, const char* objectName) {
    return window->findChild<QQuickItem*>(QString::fromLatin1(objectName));
}

using qml::ColorContrast;
using qml::SetupTheme;

// The colour that covers most of `area` of the picture: a background.
QColor dominantColour(const QImage& image, const QRect& area) {
    QHash<QRgb, int> counts;
    const QRect inside = area.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x)
            ++counts[image.pixel(x, y)];
    QRgb best = 0;
    int most = -1;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        if (it.value() > most) {
            most = it.value();
            best = it.key();
        }
    return QColor::fromRgb(best);
}

// The item's area on screen, cut to every clipping item around it.
QRectF shownArea(QQuickItem* item) {
    QRectF area = item->mapRectToScene(item->boundingRect());
    for (QQuickItem* up = item->parentItem(); up; up = up->parentItem())
        if (up->clip())
            area &= up->mapRectToScene(up->boundingRect());
    return area;
}

struct Shown {
    qreal opacity = 1;
    bool isEnabled = true;
};
Shown howShown(QQuickItem* item) {
    Shown shown;
    for (QQuickItem* up = item; up; up = up->parentItem()) {
        shown.opacity *= up->opacity();
        shown.isEnabled = shown.isEnabled && up->isEnabled();
    }
    return shown;
}

// Every text on screen against what is drawn behind it: 4.5:1, 3:1 for large
// text and for closed controls; lines, focus rings and field outlines 3:1
// against what they lie on. The colours are those the views use, as drawn.
QStringList contrastFailures(QQuickWindow* window) {
    const QImage image = window->grabWindow().convertToFormat(QImage::Format_RGB32);
    QStringList failures;
    QList<QQuickItem*> pending{window->contentItem()};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeLast();
        if (!item->isVisible() || item->opacity() == 0)
            continue;
        pending.append(item->childItems());
        const QRect area = shownArea(item).toAlignedRect();
        if (area.width() < 1 || area.height() < 1)
            continue;
        const Shown shown = howShown(item);
        const QString name = item->objectName();
        const bool isText = item->inherits("QQuickText") || item->inherits("QQuickTextEdit");
        if (isText && !item->property("text").toString().trimmed().isEmpty()) {
            const QFont font = item->property("font").value<QFont>();
            const bool isLarge = font.pixelSize() >= 24 || (font.bold() && font.pixelSize() >= 19);
            const double needed =
                isLarge || !shown.isEnabled ? ColorContrast::kMark : ColorContrast::kText;
            const QColor background = dominantColour(image, area.adjusted(-1, -1, 1, 1));
            QColor colour = item->property("color").value<QColor>();
            colour.setAlphaF(colour.alphaF() * float(shown.opacity));
            const double ratio = ColorContrast::ratio(colour, background);
            if (ratio < needed)
                failures << QStringLiteral("\"%1\" %2 on %3: %4")
                                .arg(item->property("text").toString().left(40),
                                     colour.name(QColor::HexArgb), background.name())
                                .arg(ratio, 0, 'f', 2);
        } else if (name.endsWith(QLatin1String("Separator")) ||
                   name.endsWith(QLatin1String("FocusRing")) ||
                   name.endsWith(QLatin1String("Outline"))) {
            const bool isRing = !name.endsWith(QLatin1String("Separator"));
            // A ring drawn as a Rectangle's border, or as a ring of its colour.
            const auto* border = item->property("border").value<QObject*>();
            QColor colour = (isRing && border ? border : item)->property("color").value<QColor>();
            colour.setAlphaF(colour.alphaF() * float(shown.opacity));
            // Beside the line, or inside the ring.
            const QRect beside = isRing ? area.adjusted(6, 6, -6, -6)
                                 : area.height() <= 2
                                     ? QRect(area.left(), area.top() - 4, area.width(), 3)
                                     : QRect(area.left() - 4, area.top(), 3, area.height());
            const QColor background = dominantColour(image, beside);
            const double ratio = ColorContrast::ratio(colour, background);
            if (ratio < ColorContrast::kMark)
                failures << QStringLiteral("%1 %2 on %3: %4")
                                .arg(name, colour.name(QColor::HexArgb), background.name())
                                .arg(ratio, 0, 'f', 2);
        }
    }
    return failures;
}

// The real window, opened where a first report with something to repair
// puts it: on the setup tab, the sidebar alone.
struct WindowOnSetup {
    SetupScene scene;
    AppState appState;
    std::unique_ptr<MainWindow> mainWindow;
    QQuickWindow* window = nullptr;
    QQuickItem* sidebar = nullptr;
    QQuickItem* detail = nullptr;

    [[nodiscard]] bool open() {
        scene.makeAgentOutdated();
        mainWindow = std::make_unique<MainWindow>(
            appState,
            MainWindowServices{.serviceMonitor = *scene.monitor, .serviceRepairs = *scene.repairs});
        window = mainWindow->window();
        mainWindow->show();
        sidebar = window->findChild<QQuickItem*>("sidebar");
        detail = window->findChild<QQuickItem*>("detailPane");
        return QTest::qWaitForWindowActive(window) &&
               QTest::qWaitFor([this] { return appState.selectedTab() == AppTab::setup; }) &&
               QTest::qWaitFor([this] { return split().isDetailCollapsed() && isSettled(); });
    }
    MainSplitViewController& split() { return mainWindow->splitViewController(); }
    // The window's width, the sidebar's and the detail pane's.
    QList<qreal> widths() const {
        return {qreal(window->width()), sidebar->width(), detail->width()};
    }
    // Until its animation has ended, the window is still being resized.
    bool isSettled() {
        return split().isDetailCollapsed() ? !detail->isVisible() : !split().canDetailCollapse();
    }
    // The controller follows the tab in a later turn.
    [[nodiscard]] bool select(AppTab tab) {
        appState.setSelectedTab(tab);
        QCoreApplication::processEvents();
        return QTest::qWaitFor([this] { return isSettled(); });
    }
};

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
    // As the app starts: the first window's text is laid out while a worker
    // reads the fonts.
    void initTestCase() {
        readFontsAhead();
        useDesktopControlsStyle();
    }

    // Every screen, light and dark: the prompt list with a highlighted row, a
    // row being decided and rows of ended sessions; the sessions tab, its
    // entries with the keyboard and their focus ring; an empty list, with the
    // keyboard in the search field; the setup screen with a banner, a link and
    // red statuses, and with services this system does not have.
    // The system may also turn dark while the setup screen shows.
    void everyTextReads_data() {
        QTest::addColumn<bool>("isDark");
        QTest::addColumn<QString>("screen");
        QTest::addColumn<bool>("turnsDark");
        for (const bool isDark : {false, true})
            for (const char* screen : {"policies", "sessions", "empty", "setup", "unsupported"})
                QTest::addRow("%s, %s", screen, isDark ? "dark" : "light")
                    << isDark << screen << false;
        QTest::newRow("setup, turning dark") << false << "setup" << true;
    }
    void everyTextReads() {
        QFETCH(bool, isDark);
        QFETCH(QString, screen);
        QFETCH(bool, turnsDark);
        const QPalette lightPalette = QGuiApplication::palette();
        if (isDark)
            QGuiApplication::setPalette(darkPalette());
        const auto restore =
            qScopeGuard([&lightPalette] { QGuiApplication::setPalette(lightPalette); });
        SetupScene setup;
        if (screen == "setup")
            setup.makeDaemonUnreachable(ServiceStatus::requiresApproval);
        else if (screen == "unsupported")
            setup.makeUnsupported();
        PromptsScene prompts;
        if (screen != "empty")
            prompts.addSamplePrompts();
        MainWindow mainWindow(prompts.appState, {.serviceMonitor = *setup.monitor,
                                                 .serviceRepairs = *setup.repairs,
                                                 .notificationHandler = prompts.handler,
                                                 .clipboard = prompts.clipboard});
        mainWindow.show();
        QQuickWindow* window = mainWindow.window();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        QVERIFY(setup.settle());
        QTRY_VERIFY(prompts.appState.hasPickedInitialTab());
        PromptStore& store = *prompts.appState.promptStore();
        if (screen == "empty") {
            // The keyboard in the search field, so that its outline takes the ring's colour.
            findItem(window, "promptSearch")->forceActiveFocus();
        } else if (screen == "sessions") {
            prompts.appState.setSelectedTab(AppTab::sessions);
            store.setFilter(PromptFilter::session(store.uniqueSessionIds().at(1)));
            // The keyboard on the entries, so that their ring shows.
            findItem(window, "sidebarEntries")->forceActiveFocus();
        } else if (screen == "policies") {
            // The policy with the most prompts: all five kinds and an ended session.
            const QStringList paths = store.uniquePolicyPaths();
            store.setFilter(PromptFilter::policy(*std::max_element(
                paths.cbegin(), paths.cend(), [&store](const QString& a, const QString& b) {
                    return store.promptCountForPolicy(a) < store.promptCountForPolicy(b);
                })));
            auto* list = findItem(window, "promptList");
            auto* listModel = list->property("model").value<PromptListModel*>();
            auto* decider =
                findItem(window, "promptsView")->property("decider").value<PromptDecider*>();
            decider->decide(listModel->promptAt(3)->id, PromptDecider::Decision::allowAlways);
            store.setHighlightedPromptId(listModel->promptAt(4)->id);
            list->forceActiveFocus();
        }
        if (screen == "unsupported")
            prompts.appState.setSelectedTab(AppTab::setup);
        QTRY_COMPARE(window->width(), screen == "setup" || screen == "unsupported" ? 340 : 761);
        // All that the first frames leave for later is made, the setup screen
        // last: what the check grabs draws every text there is.
        QTRY_VERIFY(window->property("isSetupDue").toBool());
        if (turnsDark) {
            window->grabWindow(); // the light screen drawn first
            QGuiApplication::setPalette(darkPalette());
        }
        const QStringList failures = contrastFailures(window);
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join(QStringLiteral("\n"))));
    }

    // Each glyph, drawn four times its 24-unit grid: its lines and fills in
    // its colour, what it cuts out of them clear, and the file's folded
    // corner in a lighter shade. Points are on the grid.
    void glyphsDrawTheirShapes_data() {
        QTest::addColumn<qml::PromptGlyph::Shape>("shape");
        QTest::addColumn<QList<QPointF>>("drawn");
        QTest::addColumn<QList<QPointF>>("clear");
        using Shape = qml::PromptGlyph::Shape;
        using Points = QList<QPointF>;
        QTest::newRow("file") << Shape::file << Points{{8, 15}, {17, 12}}
                              << Points{{14, 7.5}, {22, 12}};
        QTest::newRow("network") << Shape::network << Points{{12, 12}, {2.5, 12}, {12, 7}}
                                 << Points{{15, 10}, {22.5, 3}};
        QTest::newRow("exec") << Shape::exec << Points{{10, 12}, {2, 12}, {14.5, 15.5}}
                              << Points{{17, 8}, {12, 1.5}};
        QTest::newRow("signal") << Shape::signal << Points{{6, 19}, {12, 5}}
                                << Points{{12, 11}, {12, 17.5}, {3, 5}};
        QTest::newRow("device") << Shape::device << Points{{12, 12}, {9, 4}, {20, 15}}
                                << Points{{8, 12}, {3, 3}};
        QTest::newRow("filter") << Shape::filter << Points{{2, 12}, {12, 12}, {12, 15.5}}
                                << Points{{12, 5}, {12, 10.2}};
        QTest::newRow("app") << Shape::app << Points{{4, 8}, {12, 12}, {20, 8}}
                             << Points{{12, 5}, {1, 1}};
    }

    void glyphsDrawTheirShapes() {
        QFETCH(qml::PromptGlyph::Shape, shape);
        QFETCH(QList<QPointF>, drawn);
        QFETCH(QList<QPointF>, clear);
        const QColor color(0x1e, 0x6f, 0xd9);
        constexpr int scale = 4;
        qml::PromptGlyph glyph;
        glyph.setSize({24 * scale, 24 * scale});
        glyph.setShape(shape);
        glyph.setColor(color);
        QImage image(24 * scale, 24 * scale, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            glyph.paint(&painter);
        }
        const auto at = [&](QPointF point) { return image.pixelColor((point * scale).toPoint()); };
        for (const QPointF& point : drawn)
            QVERIFY2(at(point) == color, qPrintable(QStringLiteral("%1,%2 is %3")
                                                        .arg(point.x())
                                                        .arg(point.y())
                                                        .arg(at(point).name(QColor::HexArgb))));
        for (const QPointF& point : clear)
            QVERIFY2(at(point).alpha() == 0,
                     qPrintable(QStringLiteral("%1,%2 is drawn").arg(point.x()).arg(point.y())));
        if (shape == qml::PromptGlyph::Shape::file) {
            // Its channels come back rounded from the pixel's premultiplied ones.
            const QColor fold = at({15.5, 6});
            QVERIFY(qAbs(fold.red() - color.red()) <= 2 &&
                    qAbs(fold.green() - color.green()) <= 2 &&
                    qAbs(fold.blue() - color.blue()) <= 2);
            QVERIFY(qAbs(fold.alphaF() - 0.55) < 0.02);
        }
    }

    // The theme follows the application's palette as it changes. In either,
    // a row's colours read on its three backgrounds, and the decisions' texts
    // on their fills.
    void themeFollowsThePalette() {
        const QPalette lightPalette = QGuiApplication::palette();
        const auto restore =
            qScopeGuard([&lightPalette] { QGuiApplication::setPalette(lightPalette); });
        SetupTheme theme;
        QSignalSpy changes(&theme, &SetupTheme::changed);
        QSignalSpy systemChanges(theme.system(), &qml::SystemColors::changed);
        for (const QPalette& palette : {darkPalette(), lightPalette}) {
            QGuiApplication::setPalette(palette);
            QVERIFY(!changes.isEmpty() && !systemChanges.isEmpty());
            changes.clear();
            systemChanges.clear();
            const QColor window = palette.color(QPalette::Active, QPalette::Window);
            QCOMPARE(theme.isDark(), window.lightnessF() < 0.5);
            QCOMPARE(theme.windowBackground(), window);
            QCOMPARE(theme.system()->base(), palette.color(QPalette::Active, QPalette::Base));
            const QColor rows[] = {palette.color(QPalette::Active, QPalette::Base),
                                   theme.rowHighlight(), theme.rowSelection()};
            for (const QColor& row : rows) {
                QVERIFY(ColorContrast::ratio(theme.rowSecondaryText(), row) >=
                        ColorContrast::kText);
                for (const QColor& mark :
                     {theme.rowSeparator(), theme.rowGlyph(), theme.rowHighlightMark(),
                      theme.allowOutline(), theme.denyOutline()})
                    QVERIFY(ColorContrast::ratio(mark, row) >= ColorContrast::kMark);
            }
            QVERIFY(ColorContrast::ratio(theme.allowFillText(), theme.allowFill()) >=
                    ColorContrast::kText);
            QVERIFY(ColorContrast::ratio(theme.denyFillText(), theme.denyFill()) >=
                    ColorContrast::kText);
        }
        QVERIFY(!theme.isDark());
    }

    // The style's controls, all made after the first frame, take the system's
    // palette, dark from launch, and follow it as it changes.
    void controlsFollowTheSystemPalette() {
        const QPalette lightPalette = QGuiApplication::palette();
        const auto restore =
            qScopeGuard([&lightPalette] { QGuiApplication::setPalette(lightPalette); });
        QGuiApplication::setPalette(darkPalette());
        SetupScene setup;
        PromptsScene prompts;
        MainWindow mainWindow(prompts.appState, {.serviceMonitor = *setup.monitor,
                                                 .serviceRepairs = *setup.repairs,
                                                 .notificationHandler = prompts.handler,
                                                 .clipboard = prompts.clipboard});
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowExposed(mainWindow.window()));
        QVERIFY(setup.settle());
        QQuickItem* button = nullptr;
        QTRY_VERIFY((button = findItem(mainWindow.window(), "refreshButton")));
        const auto* controlPalette = button->property("palette").value<QObject*>();
        QVERIFY(controlPalette);
        // One made on the window itself, which cannot be used, looks it.
        QQmlComponent component(qmlEngine(mainWindow.window()));
        component.setData("import QtQuick.Controls\nButton { text: \"Closed\"; enabled: false }",
                          {});
        std::unique_ptr<QObject> made(component.create());
        auto* closed = qobject_cast<QQuickItem*>(made.get());
        QVERIFY2(closed, qPrintable(component.errorString()));
        closed->setParentItem(mainWindow.window()->contentItem());
        const auto* closedPalette = closed->property("palette").value<QObject*>();
        for (const QPalette& palette : {darkPalette(), lightPalette}) {
            QGuiApplication::setPalette(palette);
            for (const auto& [name, role] :
                 {std::pair{"window", QPalette::Window}, std::pair{"button", QPalette::Button},
                  std::pair{"buttonText", QPalette::ButtonText},
                  std::pair{"highlight", QPalette::Highlight}, std::pair{"mid", QPalette::Mid}})
                QCOMPARE(controlPalette->property(name).value<QColor>(),
                         palette.color(QPalette::Active, role));
            for (const auto& [name, role] : {std::pair{"button", QPalette::Button},
                                             std::pair{"buttonText", QPalette::ButtonText}})
                QCOMPARE(closedPalette->property(name).value<QColor>(),
                         palette.color(QPalette::Disabled, role));
        }
    }

    // A lazy menu makes its menu on the first call, with its properties, over
    // itself, and keeps it for the next; a file that fails makes a warning
    // and no menu.
    void lazyMenuMakesItsMenuOnce() {
        QTemporaryDir directory;
        QFile file(directory.filePath("TestMenu.qml"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("import QtQuick.Controls\n"
                   "Menu { required property string label; objectName: \"made\";"
                   " MenuItem { text: label } }\n");
        file.close();
        QQmlEngine engine;
        prepareZorEngine(engine);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nimport Zor\n"
                          "Window { width: 500; height: 400; visible: true\n"
                          " property alias lazy: lazy\n"
                          " LazyMenu { id: lazy; width: 40; height: 20;"
                          " menuProperties: ({label: \"Copy\"}) }\n"
                          " LazyMenu { objectName: \"broken\"; menu: \"Missing.qml\" } }\n",
                          QUrl::fromLocalFile(directory.filePath("Scene.qml")));
        std::unique_ptr<QObject> window(component.createWithInitialProperties({}));
        QVERIFY2(window, qPrintable(component.errorString()));
        auto* lazy = window->property("lazy").value<QQuickItem*>();
        lazy->setProperty("menu", QUrl::fromLocalFile(file.fileName()));
        const auto made = [lazy] { return lazy->findChildren<QObject*>("made"); };
        QVERIFY(made().isEmpty());

        QMetaObject::invokeMethod(lazy, "open");
        QCOMPARE(made().size(), 1);
        QObject* menu = made().first();
        QTRY_VERIFY(menu->property("opened").toBool());
        QCOMPARE(menu->property("parent").value<QQuickItem*>(), lazy);
        QCOMPARE(menu->property("label").toString(), "Copy");
        QMetaObject::invokeMethod(menu, "close");
        QTRY_VERIFY(!menu->property("opened").toBool());

        QMetaObject::invokeMethod(lazy, "popup", Q_ARG(QQuickItem*, lazy->parentItem()),
                                  Q_ARG(qreal, 50), Q_ARG(qreal, 60));
        QCOMPARE(made(), QList<QObject*>{menu});
        QTRY_VERIFY(menu->property("opened").toBool());
        QCOMPARE(menu->property("x").toReal(), 50);
        QCOMPARE(menu->property("y").toReal(), 60);

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("Missing\\.qml"));
        QMetaObject::invokeMethod(window->findChild<QQuickItem*>("broken"), "open");
    }

    // A focus ring lies around its control, its gap and thickness out from
    // the control's edges as the control's size changes, and shows only while
    // asked to, in a colour that reaches the marks' contrast against what the
    // control lies on and against its face.
    void focusRingFollowsItsControl() {
        QQmlEngine engine;
        prepareZorEngine(engine);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nimport Zor\n"
                          "Rectangle { width: 80; height: 30; color: \"#777777\"\n"
                          " FocusRing { isShown: false; gap: 3; outside: \"#ffffff\";"
                          " inside: parent.color } }\n",
                          QUrl());
        std::unique_ptr<QObject> control(component.create());
        QVERIFY2(control, qPrintable(component.errorString()));
        auto* ring = control->findChild<qml::FocusRing*>();
        QVERIFY(ring);
        QVERIFY(!ring->isVisible());
        const qreal out = 3 + ring->thickness();
        QCOMPARE(QRectF(ring->position(), ring->size()),
                 QRectF(-out, -out, 80 + 2 * out, 30 + 2 * out));
        control->setProperty("height", 50);
        QCOMPARE(ring->height(), 50 + 2 * out);
        ring->setShown(true);
        QVERIFY(ring->isVisible());
        QVERIFY(ColorContrast::ratio(ring->color(), Qt::white) >= ColorContrast::kMark);
        QVERIFY(ColorContrast::ratio(ring->color(), QColor(0x77, 0x77, 0x77)) >=
                ColorContrast::kMark);
    }

    // A control that takes the focus in the turn that moves it, before the
    // layout has placed it anew, comes into sight where the layout puts it.
    void focusComesIntoSightWhereTheLayoutPutsIt() {
        QQmlEngine engine;
        prepareZorEngine(engine);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nimport QtQuick.Controls\nimport QtQuick.Layouts\n"
                          "import Zor\n"
                          "Window { width: 200; height: 200; visible: true\n"
                          " property real spacerHeight: 40\n"
                          " ScrollView { objectName: \"scroller\"; anchors.fill: parent;"
                          " FocusInView.isKept: true\n"
                          "  ColumnLayout { width: 180; spacing: 0\n"
                          "   Rectangle { Layout.preferredHeight: spacerHeight;"
                          " Layout.fillWidth: true }\n"
                          "   Rectangle { objectName: \"control\"; activeFocusOnTab: true;"
                          " Layout.preferredHeight: 30; Layout.fillWidth: true } } } }\n",
                          QUrl());
        std::unique_ptr<QObject> root(component.create());
        QVERIFY2(root, qPrintable(component.errorString()));
        auto* window = qobject_cast<QQuickWindow*>(root.get());
        QVERIFY(QTest::qWaitForWindowExposed(window));
        auto* scroller = window->findChild<QQuickItem*>("scroller");
        auto* flickable = scroller->property("contentItem").value<QQuickItem*>();
        auto* control = window->findChild<QQuickItem*>("control");
        const auto isInSight = [flickable, control] {
            const QRectF shown = control->mapRectToItem(flickable, control->boundingRect());
            return shown.top() >= 0 && shown.bottom() <= flickable->height();
        };
        QTRY_COMPARE(control->y(), 40);

        root->setProperty("spacerHeight", 400);
        control->forceActiveFocus(Qt::TabFocusReason);
        QTRY_COMPARE(control->y(), 400);
        QTRY_VERIFY(isInSight());
    }

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

    void splitFollowsTheTabMidAnimation_data() {
        // One tab a turn; `halfway` says whether its animation stops halfway,
        // as the next tab comes, or plays to its end.
        QTest::addColumn<QList<AppTab>>("tabs");
        QTest::addColumn<QList<bool>>("halfway");
        QTest::addColumn<QList<qreal>>("animatedWidths");

        using Tabs = QList<AppTab>;
        QTest::newRow("a prompt tab while the pane folds away")
            << Tabs{AppTab::setup, AppTab::policies} << QList<bool>{true, false}
            << QList<qreal>{339, 900};
        QTest::newRow("setup while the pane comes back")
            << Tabs{AppTab::setup, AppTab::policies, AppTab::setup, AppTab::sessions}
            << QList<bool>{false, true, false, false} << QList<qreal>{339, 900, 339, 900};
        QTest::newRow("back and forth, every animation cut short")
            << Tabs{AppTab::setup, AppTab::policies, AppTab::setup, AppTab::policies}
            << QList<bool>{true, true, true, false} << QList<qreal>{339, 900, 339, 900};
    }

    // The window and the pane end as wide as if each animation had played to its end.
    void splitFollowsTheTabMidAnimation() {
        QFETCH(QList<AppTab>, tabs);
        QFETCH(QList<bool>, halfway);
        QFETCH(QList<qreal>, animatedWidths);

        SplitRig rig;
        for (qsizetype i = 0; i < tabs.size(); ++i) {
            rig.isStoppedHalfway = halfway[i];
            rig.appState.setSelectedTab(tabs[i]);
            QCoreApplication::processEvents();
        }

        QList<qreal> widths;
        for (const Animation& animation : rig.animations)
            widths << animation.target.width();
        QCOMPARE(widths, animatedWidths);
        QCOMPARE(rig.controller.savedDetailWidth(), 560);
        QCOMPARE(rig.controller.isDetailCollapsed(), false);
        QCoreApplication::processEvents();
        QCOMPARE(rig.controller.canDetailCollapse(), false);
    }

    // Setup chosen just as the pane's return ends, its last frame handled
    // before the choice is: the pane folds away, and stays free to, so that
    // the window may be as narrow as the sidebar.
    void setupChosenAsThePanesReturnEnds() {
        SplitRig rig;
        rig.appState.setSelectedTab(AppTab::setup);
        QCoreApplication::processEvents();
        rig.isStoppedHalfway = true;
        rig.appState.setSelectedTab(AppTab::policies);
        QCoreApplication::processEvents();

        rig.appState.setSelectedTab(AppTab::setup);
        rig.controller.finishAnimation();
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QVERIFY(rig.controller.isDetailCollapsed());
        QVERIFY(rig.controller.canDetailCollapse());
        QCOMPARE(rig.controller.windowMinimumWidth(), rig.controller.sidebarMinimumWidth());
    }

    // A sidebar widened on the setup tab keeps its width when the detail pane
    // comes back beside it, as a sidebar that holds its width does on macOS.
    void sidebarKeepsTheWidthGivenOnSetup() {
        WindowOnSetup rig;
        QVERIFY(rig.open());
        QQuickWindow* window = rig.window;
        const QQuickItem* sidebar = rig.sidebar;
        QCOMPARE(window->width(), 340);
        // On a screen wider than the test's.
        rig.split().setScreenArea([] { return QRectF(0, 0, 3000, 2000); });

        window->setWidth(600);
        QTRY_COMPARE(sidebar->width(), 600);
        QVERIFY(rig.select(AppTab::policies));
        QCOMPARE(rig.widths(), (QList<qreal>{600 + 1 + 420, 600, 420}));

        // Narrowed by its divider, folded to, widened on setup to where it was
        // before the drag, and back.
        const int y = window->height() / 2;
        QTest::mousePress(window, Qt::LeftButton, {}, {600, y});
        for (int x = 590; x >= 500; x -= 10)
            QTest::mouseMove(window, {x, y});
        QTest::mouseRelease(window, Qt::LeftButton, {}, {500, y});
        QTRY_COMPARE(sidebar->width(), 500);
        QVERIFY(rig.select(AppTab::setup));
        QCOMPARE(window->width(), 500);
        window->setWidth(600);
        QTRY_COMPARE(sidebar->width(), 600);
        QVERIFY(rig.select(AppTab::sessions));
        QCOMPARE(rig.widths(), (QList<qreal>{600 + 1 + 520, 600, 520}));
    }

    // A sidebar as wide as the screen on setup gives way when the pane comes
    // back: the window stays on the screen, the pane at its minimum, and the
    // window can still be narrowed to both minimums.
    void sidebarGivesWayToThePaneWithinTheScreen() {
        WindowOnSetup rig;
        QVERIFY(rig.open());
        const QRect screen = rig.window->screen()->availableGeometry();
        // As wide as the screen leaves it, from where it stands.
        const qreal fullWidth = screen.right() + 1 - rig.window->x();
        rig.window->setWidth(int(fullWidth));
        QTRY_COMPARE(rig.sidebar->width(), fullWidth);
        QVERIFY(rig.select(AppTab::policies));
        QTRY_COMPARE(rig.widths(), (QList<qreal>{fullWidth, fullWidth - 421, 420}));
        QCOMPARE(rig.window->minimumWidth(), 761);

        rig.window->setWidth(761);
        QTRY_COMPARE(rig.widths(), (QList<qreal>{761, 340, 420}));
    }

    // The keyboard never stays on a pane the tab hides: there its keys would
    // act unseen, a Space on a setup button or a Delete on the prompt list.
    void focusNeverStaysOnAHiddenPane() {
        WindowOnSetup rig;
        QVERIFY(rig.open());
        QVERIFY(rig.scene.settle());
        QQuickWindow* window = rig.window;
        const auto isFocusShown = [window] {
            const QQuickItem* focused = window->activeFocusItem();
            return !focused || focused->isVisible();
        };

        // A link to a prompt that has gone, from a notification, shows the list.
        findItem(window, "refreshButton")->forceActiveFocus(Qt::TabFocusReason);
        rig.appState.navigateToPrompt(QUuid::createUuid());
        QTRY_VERIFY(rig.isSettled() && !rig.split().isDetailCollapsed());
        QVERIFY(isFocusShown());
        LogCapture log;
        QTest::keyClick(window, Qt::Key_Space);
        QVERIFY(!log.contains("User clicked Refresh button"));

        rig.appState.promptStore()->addPrompt("s", "/work/.zor/policy.yml",
                                              FileDenial{"/tmp/a", "write", "vim"});
        QQuickItem* list = findItem(window, "promptList");
        QTRY_VERIFY(list->isVisible());
        list->forceActiveFocus(Qt::TabFocusReason);
        QVERIFY(rig.select(AppTab::setup));
        QVERIFY(rig.split().isDetailCollapsed());
        QVERIFY(isFocusShown());
    }

    // A button that hides once pressed, as Register does while its service
    // is checked again, leaves the keys in its pane, on a control whose keys
    // do no harm: never on a tab, where a second Space would leave the screen.
    void aButtonThatHidesLeavesTheKeysInItsPane() {
        WindowOnSetup rig;
        QVERIFY(rig.open());
        rig.scene.makeDaemonUnreachable(ServiceStatus::notRegistered);
        rig.scene.monitor->refresh();
        QVERIFY(rig.scene.settle());
        QQuickItem* daemonBox = findItem(rig.window, "daemonStepBox");
        QQuickItem* registerButton = daemonBox->findChild<QQuickItem*>("actionButton");
        QVERIFY(registerButton);
        QVERIFY(registerButton->isVisible());
        registerButton->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(rig.window, Qt::Key_Space);
        QTRY_VERIFY(!registerButton->isVisible());
        QCOMPARE(rig.window->activeFocusItem(), findItem(rig.window, "refreshButton"));
        QTest::keyClick(rig.window, Qt::Key_Space);
        QVERIFY(rig.select(AppTab::setup));
        QCOMPARE(rig.appState.selectedTab(), AppTab::setup);
    }

    // A link that comes while Setup is shown brings its prompt wholly into
    // view once the list is back: rows above it wrap anew as the pane widens.
    void aLinkFromSetupShowsItsPromptWhole() {
        WindowOnSetup rig;
        QVERIFY(rig.open());
        PromptStore& store = *rig.appState.promptStore();
        QUuid oldest;
        for (int n = 0; n < 20; ++n) {
            const QUuid id = QUuid::createUuid();
            if (n == 0)
                oldest = id;
            store.addPrompt(id, "s", "/work/.zor/policy.yml",
                            ExecDenial{"/usr/bin/tool" + QString::number(n),
                                       QStringList(8 + n % 5, "--a-long-argument"), "sh"},
                            false);
        }
        rig.appState.navigateToPrompt(oldest);
        QTRY_VERIFY(rig.isSettled() && !rig.split().isDetailCollapsed());
        QQuickItem* list = findItem(rig.window, "promptList");
        // The list's rows hang off its content item.
        const auto rowInView = [&]() -> std::optional<QRectF> {
            const auto rows = list->property("contentItem").value<QQuickItem*>()->childItems();
            for (QQuickItem* row : rows)
                if (row->isVisible() &&
                    row->property("promptId").toString() == oldest.toString(QUuid::WithoutBraces))
                    return row->mapRectToItem(list, row->boundingRect());
            return std::nullopt;
        };
        // The layout settles in the frames after the animation's last.
        for (int frame = 0; frame < 3; ++frame)
            rig.window->grabWindow();
        const std::optional<QRectF> shown = rowInView();
        QVERIFY(shown);
        QVERIFY2(shown->top() >= -0.5 && shown->bottom() <= list->height() + 0.5,
                 qPrintable(QStringLiteral("the row spans %1 to %2 of %3")
                                .arg(shown->top())
                                .arg(shown->bottom())
                                .arg(list->height())));
    }

    // Prompts there at launch show in the frame after the first: the setup
    // screen, slower to make than a frame, is begun only once that frame is
    // out, unless its own tab is the one shown.
    void theSetupScreenWaitsForTheListsFirstFrame_data() {
        QTest::addColumn<AppTab>("tab");
        QTest::newRow("on the policies tab") << AppTab::policies;
        QTest::newRow("on the setup tab") << AppTab::setup;
    }
    void theSetupScreenWaitsForTheListsFirstFrame() {
        QFETCH(AppTab, tab);
        SetupScene setup;
        PromptsScene prompts;
        prompts.addSamplePrompts();
        prompts.appState.setSelectedTab(tab);
        MainWindow mainWindow(prompts.appState, {.serviceMonitor = *setup.monitor,
                                                 .serviceRepairs = *setup.repairs,
                                                 .notificationHandler = prompts.handler,
                                                 .clipboard = prompts.clipboard});
        QQuickWindow* window = mainWindow.window();
        const QObject* setupLoader = window->findChild<QObject*>("setupLoader");
        QVERIFY(setupLoader);
        // Whether the setup loader had begun (its status no longer Null) as
        // the first frame that shows the list went out.
        std::optional<bool> isSetupBegunAtListFrame;
        connect(window, &QQuickWindow::frameSwapped, this, [&] {
            if (!isSetupBegunAtListFrame && window->findChild<QQuickItem*>("promptList"))
                isSetupBegunAtListFrame = setupLoader->property("status").toInt() != 0;
        });
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        QTRY_VERIFY(setupLoader->property("item").value<QObject*>());
        QVERIFY(setup.settle());
        QVERIFY(isSetupBegunAtListFrame);
        QCOMPARE(*isSetupBegunAtListFrame, tab == AppTab::setup);
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
        QCOMPARE(window->size(), QSize(761, 500));

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
        QQuickItem* setupLoader = findItem(window, "setupLoader");
        QCOMPARE(setupLoader->opacity(), 0);
        QVERIFY(!setupLoader->isVisible());
        const int queries = scene.agentQueryCount();
        QVERIFY(scene.monitor->isPollPending());
        scene.clock.advance(1s);
        QTRY_VERIFY(scene.agentQueryCount() > queries);

        QVERIFY(mainWindow.isInFront());
        window->showMinimized();
        QVERIFY(!mainWindow.isInFront());
        mainWindow.bringBack();
        QTRY_VERIFY(mainWindow.isInFront());
        // Shown, but behind another application's window that has the keyboard.
        {
            QWindow other;
            other.resize(200, 200);
            other.show();
            other.requestActivate();
            QVERIFY(QTest::qWaitForWindowActive(&other));
            QVERIFY(window->isVisible());
            QVERIFY(!mainWindow.isInFront());
        }
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
