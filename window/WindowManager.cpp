#include "window/WindowManager.h"

#include "platform/MainThread.h"
#include "window/MainWindow.h"

namespace zor {

WindowManager& WindowManager::shared() {
    requireMainThread("WindowManager::shared");
    static WindowManager instance;
    return instance;
}

MainWindow* WindowManager::mainWindow() const {
    return window;
}

void WindowManager::setMainWindow(MainWindow* mainWindow) {
    window = mainWindow;
}

} // namespace zor
