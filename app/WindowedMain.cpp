#include "app/WindowedMain.h"

#include "agent/NotificationHandler.h"
#include "app/AppDelegate.h"
#include "app/UrlReceiver.h"
#include "platform/AppReopen.h"
#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/SingleInstance.h"
#include "platform/TerminationSignals.h"
#include "platform/Worker.h"
#include "prompts/AppState.h"
#include "prompts/PromptAttention.h"
#include "prompts/PromptDecider.h"
#include "setup/DaemonClient.h"
#include "setup/ServiceMonitor.h"
#include "setup/ServiceRepairs.h"
#include "shared/Identifiers.h"
#include "window/MainWindow.h"
#include "window/MainWindowPresence.h"
#include "window/qml/QuickViews.h"

#include <QGuiApplication>
#include <QPointer>
#include <QScopeGuard>
#include <cstdio>

namespace zor {

namespace {

// The window on the system's services; the setup screen's monitor and repairs go with it.
std::unique_ptr<MainWindow> makeMainWindow(AppState& appState) {
    NotificationHandler& agent = NotificationHandler::shared();
    auto* monitor = new ServiceMonitor(
        systemClock(), platformServiceManagement(), platformFilterManager(),
        platformAdministratorScriptRunner(), DaemonClient::shared(),
        [&agent] { return agent.getBuildNumber(); },
        CliLinkPaths{.linkTarget = platformCliLinkTarget()});
    auto* repairs = new ServiceRepairs(*monitor, systemClock(), platformServiceManagement(),
                                       platformSystemExtensionManager(), platformFilterManager(),
                                       platformAdministratorScriptRunner(), platformWorkspace());
    auto window = std::make_unique<MainWindow>(appState, MainWindowServices{*monitor, *repairs});
    // The repairs go first: they act on the monitor.
    repairs->setParent(window.get());
    monitor->setParent(window.get());
    return window;
}

// From a terminal without a display, as over ssh, a start can still hand its
// links to the running app; it cannot open a window of its own.
int handOverWithoutDisplay(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    switch (platformSingleInstance().handOver(app.arguments().mid(1))) {
    case SingleInstance::Role::handedOver:
        return 0;
    case SingleInstance::Role::notHandedOver:
        return 1;
    case SingleInstance::Role::running:
        break;
    }
    logger(LogCategory::app)
        .error("Zor cannot open its window: there is no display (DISPLAY and WAYLAND_DISPLAY "
               "are not set)");
    // To whoever started it, as well as to the log.
    std::fputs("Zor cannot open its window: there is no display (DISPLAY and WAYLAND_DISPLAY are "
               "not set)\n",
               stderr);
    return 1;
}

} // namespace

int runWindowedApplication(int argc, char** argv) {
    if (!platformHasDisplay(argc, argv))
        return handOverWithoutDisplay(argc, argv);
    QGuiApplication app(argc, argv);
    // What the window hands to deleteLater() as it goes is deleted before the
    // application, as the event loop would have: no loop runs after it.
    const auto deleteHandedOver =
        qScopeGuard([] { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); });
    // The application opens no window of its own, and keeps running when none is open.
    app.setQuitOnLastWindowClosed(false);
    // Docks and notification servers know the app by its desktop entry.
    QGuiApplication::setDesktopFileName(QString::fromLatin1(kAppBundleId));

    // Links given at start; anything else among the arguments is ignored by the delegate.
    const QStringList arguments = app.arguments().mid(1);
    QPointer<AppDelegate> running;
    const auto role = platformSingleInstance().start(arguments, [&running](const QStringList& a) {
        if (running)
            running->handleLaterStart(a);
    });
    if (role == SingleInstance::Role::handedOver)
        return 0;
    // The user has been told why the running app did not take the arguments.
    if (role == SingleInstance::Role::notHandedOver)
        return 1;
    // Every way to end the app quits it: the Quit action and its keys, the
    // system's own Quit on macOS, and the system's requests. Quitting ends the
    // agent link (below), and the instance socket goes with the application.
    platformTerminationSignals().watch(&QCoreApplication::quit);

    readFontsAhead();
    useDesktopControlsStyle();
    useSoftwareDrawingIf(platformPrefersSoftwareDrawing());
    AppDelegate delegate({NotificationHandler::shared(), platformAppActivation(), &makeMainWindow});
    running = &delegate;
    UrlReceiver urlReceiver(delegate, systemClock());
    // The pending count and the news of new prompts; a click on a notice is
    // one more link to the app, and its Deny goes the way of the window's.
    MainWindowPresence windowPresence;
    PromptAttention attention(
        *delegate.appState()->promptStore(),
        {systemClock(), platformIconBadge(), platformUserNotifications(), platformAnnouncer(),
         windowPresence},
        {.openLink = [&delegate](const QString& link) { delegate.openUrls({link}); },
         .decide =
             [&delegate](const QUuid& id, PromptDecider::Decision decision) {
                 MainWindow* window = delegate.mainWindow();
                 return window && window->promptDecider().decide(id, decision);
             }});
    platformAppReopen().setHandler([&running](bool hasVisibleWindows) {
        if (running)
            running->applicationShouldHandleReopen(hasVisibleWindows);
    });
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate,
                     &AppDelegate::applicationWillTerminate);
    // Launch has finished once the event loop runs.
    QMetaObject::invokeMethod(
        &delegate,
        [&delegate, arguments] {
            delegate.applicationDidFinishLaunching();
            delegate.openUrls(arguments);
        },
        Qt::QueuedConnection);
    const int status = app.exec();
    // Probes still on workers may take a while yet: a start meanwhile runs anew.
    platformSingleInstance().stop();
    finishWorkerCalls();
    return status;
}

} // namespace zor
