#include "platform/macos/DockReopen.h"

#include <QGuiApplication>
#include <QWindow>
#include <algorithm>

namespace zor {
namespace {

bool hasVisibleWindows() {
    const QWindowList windows = QGuiApplication::topLevelWindows();
    return std::any_of(windows.begin(), windows.end(), [](const QWindow* window) {
        return window->isVisible() && window->windowState() != Qt::WindowMinimized;
    });
}

} // namespace

void DockReopen::setHandler(Handler newHandler) {
    handler = std::move(newHandler);
    if (isConnected)
        return;
    isConnected = true;
    QObject::connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
                     [this](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive && handler)
                             handler(hasVisibleWindows());
                     });
}

} // namespace zor
