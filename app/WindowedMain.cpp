#include "app/WindowedMain.h"

#include <QGuiApplication>

namespace zor {

int runWindowedApplication(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    // The application opens no window of its own, and keeps running when none is open.
    app.setQuitOnLastWindowClosed(false);
    return app.exec();
}

} // namespace zor
