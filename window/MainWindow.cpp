#include "window/MainWindow.h"

#include "agent/NotificationHandler.h"
#include "platform/MainThread.h"
#include "platform/WindowChrome.h"
#include "platform/portable/LiveRegion.h"
#include "prompts/AppState.h"
#include "prompts/GroupDecision.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"
#include "prompts/SidebarEntryActions.h"
#include "prompts/SidebarModels.h"
#include "setup/ServiceMonitor.h"
#include "setup/ServiceRepairs.h"
#include "window/MainSplitViewController.h"
#include "window/qml/FocusKeeper.h"
#include "window/qml/QuickViews.h"
#include "window/qml/SetupTheme.h"

#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QScreen>
#include <utility>

namespace zor {

namespace {

// Wide enough for both panes at their least.
constexpr QSize launchSize(int(MainSplitViewController::sidebarWidth) + 1 +
                               int(MainSplitViewController::detailWidth),
                           500);

// The system's colours the controls take, by their names in the window's palette.
constexpr std::pair<const char*, QPalette::ColorRole> paletteRoles[] = {
    {"window", QPalette::Window},
    {"windowText", QPalette::WindowText},
    {"base", QPalette::Base},
    {"alternateBase", QPalette::AlternateBase},
    {"text", QPalette::Text},
    {"button", QPalette::Button},
    {"buttonText", QPalette::ButtonText},
    {"light", QPalette::Light},
    {"midlight", QPalette::Midlight},
    {"mid", QPalette::Mid},
    {"dark", QPalette::Dark},
    {"shadow", QPalette::Shadow},
    {"highlight", QPalette::Highlight},
    {"highlightedText", QPalette::HighlightedText},
};

// The style's controls take the system's colours, and follow them as they
// change, light or dark: a control that can be used takes the active ones,
// whether its window has the keyboard or not, and one that cannot takes the
// disabled ones. Set once the first frame is out, which draws nothing of the
// style: each colour set passes through every item the window has, and bound
// in the window's file they cost that frame a twentieth of its time.
void followSystemPalette(QQmlEngine& engine, QQuickWindow& window) {
    const qml::SetupTheme* theme = qml::SetupTheme::of(engine);
    auto* palette = window.property("palette").value<QObject*>();
    auto* disabled = palette ? palette->property("disabled").value<QObject*>() : nullptr;
    if (!theme || !disabled)
        qFatal("MainWindow: the window has no palette to follow the system's");
    const qml::SystemColors* colors = theme->system();
    const auto apply = [colors, palette, disabled] {
        // Every group first, then the disabled one over it.
        for (const auto& [name, role] : paletteRoles)
            palette->setProperty(name, colors->color(QPalette::Active, role));
        for (const auto& [name, role] : paletteRoles)
            disabled->setProperty(name, colors->color(QPalette::Disabled, role));
    };
    apply();
    QObject::connect(colors, &qml::SystemColors::changed, palette, apply);
}

} // namespace

MainWindow::MainWindow(AppState& appState, MainWindowServices services, QObject* parent)
    : QObject(parent)
    , engine(std::make_unique<QQmlEngine>())
    , splitController(new MainSplitViewController(appState, this)) {
    requireMainThread("MainWindow");
    // The setup screen's first report picks the tab the window opens on: setup
    // only when there is something to repair there.
    services.serviceMonitor.setOnStatusChange(
        [state = QPointer<AppState>(&appState)](bool isNothingToRepair) {
            if (state)
                state->pickInitialTab(isNothingToRepair);
        });

    PromptStore& store = *appState.promptStore();
    auto* promptListModel = new PromptListModel(store, this);
    decider = new PromptDecider(store, *promptListModel, services.notificationHandler, this);
    auto* groupDecision = new GroupDecision(store, *decider, this);
    auto* promptsViewModel =
        new PromptsViewModel(store, *promptListModel, *decider, *groupDecision, this);
    auto* promptRowMenu = new PromptRowMenu(appState, services.clipboard, this);
    auto* sidebarModels = new SidebarModels(appState, this);
    auto* sidebarEntryActions = new SidebarEntryActions(
        services.workspace, services.clipboard, services.commandLineToolPath,
        services.temporaryDirectory, store, *groupDecision, this);

    prepareZorEngine(*engine);
    // Qt.quit() in the views. Later, so that no view goes while it handles the click or key.
    connect(engine.get(), &QQmlEngine::quit, this, std::move(services.quit), Qt::QueuedConnection);
    QQmlComponent component(engine.get(),
                            QUrl(QStringLiteral("qrc:/qt/qml/Zor/window/MainWindow.qml")));
    QObject* root = component.createWithInitialProperties(
        {{QStringLiteral("appState"), QVariant::fromValue(&appState)},
         {QStringLiteral("serviceMonitor"), QVariant::fromValue(&services.serviceMonitor)},
         {QStringLiteral("serviceRepairs"), QVariant::fromValue(&services.serviceRepairs)},
         {QStringLiteral("splitController"), QVariant::fromValue(splitController)},
         {QStringLiteral("tabRowLeadingPadding"), services.windowChrome.tabRowLeadingPadding()},
         {QStringLiteral("promptListModel"), QVariant::fromValue(promptListModel)},
         {QStringLiteral("promptDecider"), QVariant::fromValue(decider)},
         {QStringLiteral("groupDecision"), QVariant::fromValue(groupDecision)},
         {QStringLiteral("promptsViewModel"), QVariant::fromValue(promptsViewModel)},
         {QStringLiteral("promptRowMenu"), QVariant::fromValue(promptRowMenu)},
         {QStringLiteral("sidebarModels"), QVariant::fromValue(sidebarModels)},
         {QStringLiteral("sidebarEntryActions"), QVariant::fromValue(sidebarEntryActions)},
         {QStringLiteral("liveRegion"), QVariant::fromValue(services.liveRegion)},
         {QStringLiteral("hasMainMenu"), !services.windowChrome.hasSystemMenuBar()}});
    quickWindow.reset(qobject_cast<QQuickWindow*>(root));
    // The window's views are part of the app: without them it cannot run.
    if (!quickWindow)
        qFatal("MainWindow: %s", qPrintable(component.errorString()));
    // What the first frame does not show is made after it, once the frame is
    // out and the event loop turns: not while the frame is still being handed
    // on. So is the controls' palette, which that frame does not use either.
    // The setup screen takes longer to make than a frame lasts: unless its
    // tab is the one shown, it waits for the frame that shows the prompt list
    // made after the first, so that prompts there at launch show sooner.
    constexpr auto afterFrame = Qt::ConnectionType(Qt::SingleShotConnection | Qt::QueuedConnection);
    const auto makeSetupScreen = [this] { quickWindow->setProperty("isSetupDue", true); };
    connect(
        quickWindow.get(), &QQuickWindow::frameSwapped, this,
        [this, &appState, makeSetupScreen] {
            followSystemPalette(*engine, *quickWindow);
            quickWindow->setProperty("hasFirstFrame", true);
            if (appState.selectedTab() == AppTab::setup) {
                makeSetupScreen();
                return;
            }
            connect(quickWindow.get(), &QQuickWindow::frameSwapped, this, makeSetupScreen,
                    afterFrame);
            quickWindow->update();
        },
        afterFrame);
    focusKeeper = std::make_unique<qml::FocusKeeper>(*quickWindow);
    splitController->setScreenArea([window = quickWindow.get()] {
        const QScreen* screen = window->screen();
        return screen ? QRectF(screen->availableGeometry()) : QRectF();
    });
    services.windowChrome.styleMainWindow(*quickWindow);
}

MainWindow::~MainWindow() = default;

void MainWindow::show() {
    requireMainThread("MainWindow::show");
    QRect geometry(QPoint(), launchSize);
    if (const QScreen* screen = quickWindow->screen())
        geometry.moveCenter(screen->availableGeometry().center());
    quickWindow->setGeometry(geometry);
    quickWindow->show();
    quickWindow->raise();
    quickWindow->requestActivate();
}

void MainWindow::bringBack() {
    requireMainThread("MainWindow::bringBack");
    // Only the minimising is undone: a window minimised or closed while
    // maximised comes back maximised. show() would make it normal.
    if (const Qt::WindowStates states = quickWindow->windowStates(); states & Qt::WindowMinimized)
        quickWindow->setWindowStates(states & ~Qt::WindowMinimized);
    quickWindow->setVisible(true);
    quickWindow->raise();
    quickWindow->requestActivate();
}

bool MainWindow::isInFront() const {
    const QWindow::Visibility visibility = quickWindow->visibility();
    return quickWindow->isActive() && visibility != QWindow::Hidden &&
           visibility != QWindow::Minimized;
}

} // namespace zor
