#pragma once

#include <QObject>

namespace zor {

class AppState;
class NotificationHandler;

// The windowed application's delegate: owns the app state, starts the agent
// link when launch finishes and ends it when the application terminates.
class AppDelegate final : public QObject {
    Q_OBJECT

public:
    explicit AppDelegate(NotificationHandler& notificationHandler, QObject* parent = nullptr);

    AppState* appState() const { return state; }

    void applicationDidFinishLaunching();
    void applicationWillTerminate();

private:
    NotificationHandler& notificationHandler;
    AppState* const state;
};

} // namespace zor
