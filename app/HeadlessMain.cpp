#include "app/HeadlessMain.h"

#include "app/HeadlessRegistration.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <QCoreApplication>

namespace zor {

void runHeadlessRegistration(int argc, char** argv) {
    // No GUI objects in this mode: an event loop is all the callbacks need,
    // one that serves the system's main queue too, where the extension's
    // request answers.
    platformPrepareLoopWithoutWindows();
    QCoreApplication app(argc, argv);
    HeadlessRegistration registration({platformServiceManagement(),
                                       platformSystemExtensionManager(), platformFilterManager(),
                                       platformConsole(), platformFileManager(), systemClock()},
                                      CliLinkPaths{.linkTarget = platformCliLinkTarget()},
                                      QCoreApplication::applicationFilePath());
    registration.start();
    // Every way out is the console's exit from a callback; the system may also
    // never answer, and then the process waits.
    app.exec();
    qFatal("unreachable");
    Q_UNREACHABLE();
}

} // namespace zor
