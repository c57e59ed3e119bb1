#pragma once

#include <QPointer>

namespace zor {

class MainWindow;

// Finds the main window for code that has no app delegate at hand. Holds it
// weakly: the app delegate owns it.
class WindowManager final {
public:
    // Created on first use; main thread only.
    static WindowManager& shared();

    MainWindow* mainWindow() const;
    void setMainWindow(MainWindow* window);

private:
    WindowManager() = default;

    QPointer<MainWindow> window;
};

} // namespace zor
