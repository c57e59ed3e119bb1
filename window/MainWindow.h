#pragma once

#include "agent/NotificationHandler.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QObject>
#include <QQuickWindow>
#include <functional>
#include <memory>

class QQmlEngine;

namespace zor {

class AppState;
class Clipboard;
class LiveRegion;
class MainSplitViewController;
class PromptDecider;
class ServiceMonitor;
class ServiceRepairs;
class Workspace;
class WindowChrome;
namespace qml {
class FocusKeeper;
} // namespace qml

// What the window's views act on.
struct MainWindowServices {
    // The setup screen.
    ServiceMonitor& serviceMonitor;
    ServiceRepairs& serviceRepairs;
    WindowChrome& windowChrome = platformWindowChrome();
    // Decisions and dismissals go to the agent through it.
    NotificationHandler& notificationHandler = NotificationHandler::shared();
    Clipboard& clipboard = platformClipboard();
    // The sidebar's context menu reveals and opens files and runs the
    // audit-log script, which starts the command-line tool.
    Workspace& workspace = platformWorkspace();
    QString commandLineToolPath = platformCommandLineToolPath();
    // Where the audit-log script is written.
    std::function<QString()> temporaryDirectory = &platformTemporaryDirectory;
    // Announcements go through an alert in the window, where there is no
    // system call for them; none otherwise.
    LiveRegion* liveRegion = platformLiveRegion();
    // The window's Quit action and its keys end the app through it, later in
    // the event loop.
    std::function<void()> quit = &QCoreApplication::quit;
};

// The app's one window: the tab sidebar beside the detail pane. It lives as
// long as this object; closing it only hides it.
class MainWindow final : public QObject {
    Q_OBJECT

public:
    MainWindow(AppState& appState, MainWindowServices services, QObject* parent = nullptr);
    ~MainWindow() override;

    // Exists from construction on, not yet shown.
    QQuickWindow* window() const { return quickWindow.get(); }
    MainSplitViewController& splitViewController() { return *splitController; }
    // Takes the decisions on prompts for the window's views and for whatever
    // else decides, such as a notification's button.
    PromptDecider& promptDecider() { return *decider; }

    // At launch: 700 x 500, centred on its screen, shown, key and in front.
    void show();
    // On reopen: shown again, restored if minimised, in front and active.
    void bringBack();
    // Shown, not minimised, and active.
    bool isInFront() const;

private:
    std::unique_ptr<QQmlEngine> engine;
    MainSplitViewController* const splitController;
    PromptDecider* decider = nullptr;
    // Goes before the engine that runs its bindings.
    std::unique_ptr<QQuickWindow> quickWindow;
    // Goes before the window, whose items hide as they go.
    std::unique_ptr<qml::FocusKeeper> focusKeeper;
};

} // namespace zor
