#include "app/WindowedMain.h"

#include "agent/NotificationHandler.h"
#include "app/AppDelegate.h"

#include <QGuiApplication>

namespace zor {

int runWindowedApplication(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    // The application opens no window of its own, and keeps running when none is open.
    app.setQuitOnLastWindowClosed(false);

    AppDelegate delegate(NotificationHandler::shared());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate,
                     &AppDelegate::applicationWillTerminate);
    // Launch has finished once the event loop runs.
    QMetaObject::invokeMethod(&delegate, &AppDelegate::applicationDidFinishLaunching,
                              Qt::QueuedConnection);
    return app.exec();
}

} // namespace zor
