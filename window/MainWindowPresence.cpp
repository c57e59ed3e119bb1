#include "window/MainWindowPresence.h"

#include "window/MainWindow.h"
#include "window/WindowManager.h"

namespace zor {

bool MainWindowPresence::isInFront() const {
    const MainWindow* window = WindowManager::shared().mainWindow();
    return window && window->isInFront();
}

} // namespace zor
