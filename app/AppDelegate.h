#pragma once

#include <QObject>
#include <QStringList>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

namespace zor {

class AppActivation;
class AppState;
class MainWindow;
class NotificationHandler;

// Builds the main window for the app state; the window owns whatever it needs
// that outlives it, such as the setup screen's model.
using MainWindowFactory = std::function<std::unique_ptr<MainWindow>(AppState&)>;

struct AppDelegateServices {
    NotificationHandler& notificationHandler;
    AppActivation& activation;
    MainWindowFactory makeMainWindow;
};

// The windowed application's delegate: owns the app state and the main
// window, starts the agent link when launch finishes and ends it when the
// application terminates, brings the window back on reopen, and answers the
// app's zor://prompt/ links. Main thread only.
class AppDelegate final : public QObject {
    Q_OBJECT

public:
    explicit AppDelegate(AppDelegateServices services, QObject* parent = nullptr);
    ~AppDelegate() override;

    AppState* appState() const { return state; }
    MainWindow* mainWindow() const { return window.get(); }

    void applicationDidFinishLaunching();
    // Always true: the app handles reopening itself.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    // Each text in order; only zor://prompt/<UUID> links do anything.
    void openUrls(const QStringList& urls);
    void applicationWillTerminate();

    // Another start of the app handed over its arguments: its links to
    // prompts, or without one, the wish to see the window.
    void handleLaterStart(const QStringList& arguments);

private:
    // As openUrls(); whether a link was taken.
    bool openPromptLinks(const QStringList& urls);
    void navigateToPrompt(const QUuid& id);
    // The app in front, with its main window, closed or minimised as it may be.
    void activateApp();

    NotificationHandler& notificationHandler;
    AppActivation& activation;
    MainWindowFactory makeMainWindow;
    AppState* const state;
    std::unique_ptr<MainWindow> window;
    // Links the system handed over before launch had finished: followed once
    // the agent link has started, so that they wait for its first sync.
    std::optional<QList<QUuid>> linksBeforeLaunch = QList<QUuid>();
    bool hasTerminated = false;
};

} // namespace zor
