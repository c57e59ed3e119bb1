// Renders the setup screen and the main window offscreen, driven by a real
// setup monitor and repairs on fakes, into one PNG file per state, for review without a Mac.

#include "DarkPalette.h"
#include "PromptsScene.h"
#include "SetupScene.h"
#include "prompts/AppState.h"
#include "prompts/GroupDecision.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptsViewModel.h"
#include "shared/BuildNumber.h"
#include "window/MainSplitViewController.h"
#include "window/MainWindow.h"
#include "window/qml/QuickViews.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPalette>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <cstdio>
#include <functional>

using namespace zor;
using namespace zor::testing;

namespace {

enum class Appearance { light, dark };

// The setup tab's smallest window.
constexpr int kSetupMinimumHeight = 500;

struct SetupShot {
    const char* fileName;
    Appearance appearance;
    std::optional<int> height;                // none: as tall as the content
    std::function<void(SetupScene&)> arrange; // before the screen appears
    std::function<void(SetupScene&)> act;     // once the checks have settled
};

void focusAgentRepair(SetupScene& scene) {
    scene.inBox(QStringLiteral("agentStepBox"), QStringLiteral("actionButton"))
        ->forceActiveFocus(Qt::TabFocusReason);
}

const QList<SetupShot>& setupShots() {
    static const QList<SetupShot> all = {
        {"setup-01-all-healthy.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeAllHealthy(); },
         {}},
        {"setup-02-agent-outdated.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeAgentOutdated(); },
         {}},
        {"setup-03-daemon-unreachable.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeDaemonUnreachable(ServiceStatus::notRegistered); },
         {}},
        {"setup-04-daemon-awaiting-approval.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeDaemonUnreachable(ServiceStatus::requiresApproval); },
         {}},
        // The restart waits on the extension's replacement, which the fake never answers.
        {"setup-05-restarting.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeAllHealthy(); },
         [](SetupScene& s) { s.click(s.item(QStringLiteral("restartButton"))); }},
        {"setup-06-agent-outdated-dark.png",
         Appearance::dark,
         {},
         [](SetupScene& s) { s.makeAgentOutdated(); },
         {}},
        {"setup-07-daemon-awaiting-approval-dark.png",
         Appearance::dark,
         {},
         [](SetupScene& s) { s.makeDaemonUnreachable(ServiceStatus::requiresApproval); },
         {}},
        // As on Linux beside the development agent.
        {"setup-08-unsupported.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeUnsupported(zorBuildNumber()); },
         {}},
        {"setup-09-unsupported-340x500.png",
         Appearance::light,
         kSetupMinimumHeight,
         [](SetupScene& s) { s.makeUnsupported(zorBuildNumber()); },
         {}},
        {"setup-10-unsupported-dark.png",
         Appearance::dark,
         {},
         [](SetupScene& s) { s.makeUnsupported(); },
         {}},
        {"setup-11-unsupported-340x500-dark.png",
         Appearance::dark,
         kSetupMinimumHeight,
         [](SetupScene& s) { s.makeUnsupported(); },
         {}},
        // The longest screen: the banner and three instructions.
        {"setup-12-outdated-unreachable-340x500.png",
         Appearance::light,
         kSetupMinimumHeight,
         [](SetupScene& s) {
             s.makeDaemonUnreachable(ServiceStatus::requiresApproval);
             s.setAgentBuildNumber(QStringLiteral("1"));
             s.removeLink();
         },
         {}},
        {"setup-13-outdated-unreachable-340x500-dark.png",
         Appearance::dark,
         kSetupMinimumHeight,
         [](SetupScene& s) {
             s.makeDaemonUnreachable(ServiceStatus::requiresApproval);
             s.setAgentBuildNumber(QStringLiteral("1"));
             s.removeLink();
         },
         {}},
        // Tab's focus on the outdated agent's restart: the ring around it.
        {"setup-14-focus-on-repair.png",
         Appearance::light,
         {},
         [](SetupScene& s) { s.makeAgentOutdated(); },
         focusAgentRepair},
        {"setup-15-focus-on-repair-dark.png",
         Appearance::dark,
         {},
         [](SetupScene& s) { s.makeAgentOutdated(); },
         focusAgentRepair},
    };
    return all;
}

enum class Services { healthy, unhealthy, unsupported };

struct WindowShot {
    const char* fileName;
    Appearance appearance;
    Services services;
    std::optional<AppTab> tab; // selected once the window is up
};

const QList<WindowShot>& windowShots() {
    static const QList<WindowShot> all = {
        {"window-01-launch.png", Appearance::light, Services::healthy, {}},
        {"window-02-setup-unhealthy.png", Appearance::light, Services::unhealthy, {}},
        {"window-03-setup-unhealthy-dark.png", Appearance::dark, Services::unhealthy, {}},
        {"window-04-sessions.png", Appearance::light, Services::healthy, AppTab::sessions},
        // Opens on the prompts; the setup tab, chosen, at the window's smallest.
        {"window-05-unsupported.png", Appearance::light, Services::unsupported, {}},
        {"window-06-unsupported-setup.png", Appearance::light, Services::unsupported,
         AppTab::setup},
        {"window-07-unsupported-setup-dark.png", Appearance::dark, Services::unsupported,
         AppTab::setup},
    };
    return all;
}

// What the window shows once two frames a little apart show the same, so
// that nothing still moving is caught halfway.
QImage stillImage(QQuickWindow& window) {
    QImage last = window.grabWindow();
    for (int i = 0; i < 40; ++i) {
        QTest::qWait(50);
        QImage next = window.grabWindow();
        if (next == last)
            break;
        last = std::move(next);
    }
    return last;
}

bool save(const QImage& image, const char* fileName, const QDir& outDir) {
    const QString path = outDir.filePath(QString::fromLatin1(fileName));
    if (!image.save(path)) {
        std::fprintf(stderr, "zor-screenshots: cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

bool fail(const char* fileName, const char* what) {
    std::fprintf(stderr, "zor-screenshots: %s: %s\n", fileName, what);
    return false;
}

// The setup screen alone, as wide as the sidebar.
bool render(const SetupShot& shot, const QDir& outDir) {
    SetupScene scene;
    shot.arrange(scene);
    if (!scene.show(int(MainSplitViewController::sidebarWidth), shot.height))
        return fail(shot.fileName, "the screen did not load");
    if (!scene.settle())
        return fail(shot.fileName, "the checks did not finish");
    if (shot.act)
        shot.act(scene);
    return save(scene.grab(), shot.fileName, outDir);
}

// The main window as the app builds it, once its first checks and any
// resizing they cause are over.
bool render(const WindowShot& shot, const QDir& outDir) {
    SetupScene scene;
    if (shot.services == Services::unhealthy)
        scene.makeDaemonUnreachable(ServiceStatus::requiresApproval);
    if (shot.services == Services::unsupported)
        scene.makeUnsupported(zorBuildNumber());
    AppState appState;
    MainWindow mainWindow(appState, {*scene.monitor, *scene.repairs});
    mainWindow.show();
    QQuickWindow* window = mainWindow.window();
    if (!QTest::qWaitForWindowExposed(window))
        return fail(shot.fileName, "the window was not shown");
    if (!scene.settle() || !QTest::qWaitFor([&] { return appState.hasPickedInitialTab(); }))
        return fail(shot.fileName, "the checks did not finish");
    if (shot.tab)
        appState.setSelectedTab(*shot.tab);
    const int expectedWidth = appState.selectedTab() == AppTab::setup
                                  ? int(MainSplitViewController::sidebarWidth)
                                  : window->width();
    const auto* detail = window->findChild<QQuickItem*>(QStringLiteral("detailPane"));
    const bool isSettled = QTest::qWaitFor([&] {
        return window->width() == expectedWidth &&
               detail->isVisible() == !mainWindow.splitViewController().isDetailCollapsed();
    });
    if (!isSettled)
        return fail(shot.fileName, "the window did not reach its size");
    return save(stillImage(*window), shot.fileName, outDir);
}

struct PromptsShot {
    const char* fileName;
    Appearance appearance;
    std::function<void(PromptsScene&)> arrange; // before the window appears
    // Once it shows; none: the fourth row waits for the agent and the fifth is highlighted.
    std::function<void(PromptsScene&, PromptListModel&, PromptsViewModel&)> act = {};
    // What Tab has put the focus on, by its object name; none: nothing.
    const char* focused = nullptr;
    // Whether the pointer rests on the first policy's sidebar entry, its tool tip shown.
    bool isEntryHovered = false;
};

const QString kCliPolicy = QStringLiteral("/Users/alice/src/cli-tool/.zor/policy.yml");

// The policies tab on the cli-tool policy, whose prompts show all five kinds and an
// ended session in the first rows.
void arrangeCliPolicy(PromptsScene& scene) {
    scene.addSamplePrompts();
    scene.appState.promptStore()->setFilter(PromptFilter::policy(kCliPolicy));
}

// The sessions tab with one session's prompts shown, its entry selected.
void arrangeSessionFilter(PromptsScene& scene) {
    scene.addSamplePrompts();
    scene.appState.setSelectedTab(AppTab::sessions);
    scene.appState.promptStore()->setFilter(PromptFilter::session(QStringLiteral("cli-build-3")));
}

// The first three rows of the cli-tool policy selected together.
void selectThree(PromptsScene&, PromptListModel& list, PromptsViewModel& viewModel) {
    const auto idText = [&list](int row) {
        return list.promptAt(row)->id.toString(QUuid::WithoutBraces);
    };
    viewModel.clickPrompt(idText(0), PromptsViewModel::Click::only);
    viewModel.clickPrompt(idText(2), PromptsViewModel::Click::extend);
    viewModel.setListFocused(true);
}

void askForThree(PromptsScene& scene, PromptListModel& list, PromptsViewModel& viewModel) {
    selectThree(scene, list, viewModel);
    viewModel.decideSelection(GroupDecision::Action::denyAlways);
}

const QList<PromptsShot>& promptsShots() {
    static const QList<PromptsShot> all = {
        {"prompts-01-policies.png", Appearance::light, arrangeCliPolicy},
        {"prompts-02-no-pending-prompts.png", Appearance::light, [](PromptsScene&) {}},
        {"prompts-03-no-prompts-matching-filter.png", Appearance::light,
         [](PromptsScene& scene) {
             scene.addSamplePrompts();
             scene.appState.promptStore()->setFilter(PromptFilter::session("gone-6"));
         }},
        {"prompts-04-policies-dark.png", Appearance::dark, arrangeCliPolicy},
        {"prompts-05-sessions-filtered.png", Appearance::light, arrangeSessionFilter},
        {"prompts-06-sessions-filtered-dark.png", Appearance::dark, arrangeSessionFilter},
        {"prompts-07-search.png", Appearance::light,
         [](PromptsScene& scene) {
             scene.addSamplePrompts();
             scene.appState.promptStore()->setSearchText(QStringLiteral("cargo"));
         },
         [](PromptsScene&, PromptListModel&, PromptsViewModel&) {}, "promptSearch"},
        {"prompts-08-selection.png", Appearance::light, arrangeCliPolicy, selectThree},
        {"prompts-09-group-question.png", Appearance::light, arrangeCliPolicy, askForThree},
        {"prompts-10-selection-dark.png", Appearance::dark, arrangeCliPolicy, selectThree},
        {"prompts-11-group-question-dark.png", Appearance::dark, arrangeCliPolicy, askForThree},
        {"prompts-12-focus-on-sidebar.png", Appearance::light, arrangeCliPolicy,
         [](PromptsScene&, PromptListModel&, PromptsViewModel&) {}, "sidebarEntries"},
        {"prompts-13-focus-on-sidebar-dark.png", Appearance::dark, arrangeCliPolicy,
         [](PromptsScene&, PromptListModel&, PromptsViewModel&) {}, "sidebarEntries"},
        {"prompts-14-focus-on-list.png", Appearance::light, arrangeCliPolicy, {}, "promptList"},
        {"prompts-15-focus-on-list-dark.png", Appearance::dark, arrangeCliPolicy, {}, "promptList"},
        {"prompts-16-tool-tip.png", Appearance::light, arrangeCliPolicy, {}, nullptr, true},
        {"prompts-17-tool-tip-dark.png", Appearance::dark, arrangeCliPolicy, {}, nullptr, true},
    };
    return all;
}

// The main window with the prompts on a fake agent. When the list shows five
// rows or more, its fourth waits for the agent's answer to "Always" and its
// fifth is highlighted.
bool render(const PromptsShot& shot, const QDir& outDir) {
    SetupScene setup;
    PromptsScene prompts;
    shot.arrange(prompts);
    MainWindow mainWindow(prompts.appState, {*setup.monitor, *setup.repairs, platformWindowChrome(),
                                             prompts.handler, prompts.clipboard});
    mainWindow.show();
    QQuickWindow* window = mainWindow.window();
    if (!QTest::qWaitForWindowExposed(window))
        return fail(shot.fileName, "the window was not shown");
    if (!setup.settle() || !QTest::qWaitFor([&] { return prompts.appState.hasPickedInitialTab(); }))
        return fail(shot.fileName, "the checks did not finish");
    auto* view = window->findChild<QQuickItem*>(QStringLiteral("promptsView"));
    if (!view)
        return fail(shot.fileName, "the prompt list did not load");
    auto* listModel = view->property("listModel").value<PromptListModel*>();
    auto* viewModel = view->property("viewModel").value<PromptsViewModel*>();
    if (shot.act) {
        shot.act(prompts, *listModel, *viewModel);
    } else if (listModel->rowCount() >= 5) {
        view->property("decider").value<PromptDecider*>()->decide(
            listModel->promptAt(3)->id, PromptDecider::Decision::allowAlways);
        prompts.appState.promptStore()->setHighlightedPromptId(listModel->promptAt(4)->id);
        viewModel->setListFocused(true);
    }
    if (shot.focused) {
        auto* focused = window->findChild<QQuickItem*>(QString::fromLatin1(shot.focused));
        if (!focused)
            return fail(shot.fileName, "nothing to focus");
        focused->forceActiveFocus(Qt::TabFocusReason);
    }
    if (shot.isEntryHovered) {
        auto* entries = window->findChild<QQuickItem*>(QStringLiteral("sidebarEntries"));
        QQuickItem* entry = nullptr;
        if (entries)
            QMetaObject::invokeMethod(entries, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, entry),
                                      Q_ARG(int, 1));
        if (!entry)
            return fail(shot.fileName, "no policy entry to hover");
        QTest::mouseMove(window,
                         entry->mapToScene({entry->width() / 2, entry->height() / 2}).toPoint());
        QTest::qWait(800); // the tool tip's delay
    }
    QTest::qWait(100); // the row icons paint on a later frame
    return save(window->grabWindow(), shot.fileName, outDir);
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);

    QStringList args = QCoreApplication::arguments();
    // The controls take their colours from the palette the app starts with, as
    // they would from the system: each appearance is rendered by a process of its own.
    const bool isDarkRun = args.removeAll(QStringLiteral("--dark")) > 0;
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: zor-screenshots OUTDIR\n");
        return 2;
    }
    const Appearance appearance = isDarkRun ? Appearance::dark : Appearance::light;
    if (isDarkRun)
        QGuiApplication::setPalette(darkPalette());
    useDesktopControlsStyle();

    const QDir outDir(args[1]);
    if (!QDir().mkpath(outDir.path())) {
        std::fprintf(stderr, "zor-screenshots: cannot create %s\n", qPrintable(outDir.path()));
        return 1;
    }
    bool isComplete = true;
    for (const SetupShot& shot : setupShots()) {
        if (shot.appearance == appearance)
            isComplete = render(shot, outDir) && isComplete;
    }
    for (const WindowShot& shot : windowShots()) {
        if (shot.appearance == appearance)
            isComplete = render(shot, outDir) && isComplete;
    }
    for (const PromptsShot& shot : promptsShots()) {
        if (shot.appearance == appearance)
            isComplete = render(shot, outDir) && isComplete;
    }
    if (!isDarkRun) {
        std::fflush(stdout);
        const int darkStatus = QProcess::execute(QCoreApplication::applicationFilePath(),
                                                 {QStringLiteral("--dark"), args[1]});
        isComplete = darkStatus == 0 && isComplete;
    }
    return isComplete ? 0 : 1;
}
