#include "app/AppDelegate.h"

#include "agent/NotificationHandler.h"
#include "platform/AppActivation.h"
#include "platform/Log.h"
#include "platform/MainThread.h"
#include "prompts/AppState.h"
#include "prompts/PromptUrl.h"
#include "window/MainWindow.h"
#include "window/WindowManager.h"

#include <algorithm>

namespace zor {

AppDelegate::AppDelegate(AppDelegateServices services, QObject* parent)
    : QObject(parent)
    , notificationHandler(services.notificationHandler)
    , activation(services.activation)
    , makeMainWindow(std::move(services.makeMainWindow))
    , state(new AppState(this)) {
    requireMainThread("AppDelegate");
}

// The window goes with the members, before the app state its views read.
AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    requireMainThread("AppDelegate::applicationDidFinishLaunching");
    // The link starts before any window exists.
    notificationHandler.setAppState(state);
    notificationHandler.connect();
    window = makeMainWindow(*state);
    WindowManager::shared().setMainWindow(window.get());
    window->show();
    logger(LogCategory::app).info("Zor.app launched, connecting to ZorAgent");
    const QList<QUuid> held = *std::exchange(linksBeforeLaunch, std::nullopt);
    for (const QUuid& id : held)
        navigateToPrompt(id);
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows) {
    requireMainThread("AppDelegate::applicationShouldHandleReopen");
    if (!hasVisibleWindows)
        activateApp();
    return true;
}

void AppDelegate::openUrls(const QStringList& urls) {
    requireMainThread("AppDelegate::openUrls");
    openPromptLinks(urls);
}

bool AppDelegate::openPromptLinks(const QStringList& urls) {
    bool hasOpened = false;
    for (const QString& url : urls) {
        // Said, since such a link is otherwise ignored without a word; its
        // text stays out of the log.
        if (url.size() > kMaxUrlLength)
            logger(LogCategory::app)
                .info("Ignored a link of %ld characters, over the limit of %ld",
                      {qint64(url.size()), qint64(kMaxUrlLength)});
        const std::optional<QUuid> promptId = promptIdFromUrl(url);
        if (!promptId)
            continue;
        if (linksBeforeLaunch)
            linksBeforeLaunch->append(*promptId);
        else
            navigateToPrompt(*promptId);
        hasOpened = true;
    }
    return hasOpened;
}

void AppDelegate::navigateToPrompt(const QUuid& id) {
    activateApp();
    state->navigateToPrompt(id);
}

void AppDelegate::applicationWillTerminate() {
    requireMainThread("AppDelegate::applicationWillTerminate");
    if (hasTerminated)
        return;
    hasTerminated = true;
    // No reconnect may start while the process ends, even one already
    // scheduled: the loop still runs while probes on workers finish.
    notificationHandler.disconnect();
    notificationHandler.stopReconnecting();
}

void AppDelegate::handleLaterStart(const QStringList& arguments) {
    requireMainThread("AppDelegate::handleLaterStart");
    // Starting the app again is how one asks for its window where there is no
    // Dock, and whether it is buried under others cannot be told from here.
    // Links are the system handing them over, as a web page may have one
    // opened: those that name no prompt do nothing, as on macOS.
    const bool hasLinks = std::any_of(arguments.cbegin(), arguments.cend(),
                                      [](const QString& argument) { return isLinkText(argument); });
    if (!openPromptLinks(arguments) && !hasLinks)
        applicationShouldHandleReopen(false);
}

void AppDelegate::activateApp() {
    activation.activateIgnoringOtherApps();
    // The system's activation shows no window that was closed or minimised.
    if (MainWindow* mainWindow = WindowManager::shared().mainWindow())
        mainWindow->bringBack();
}

} // namespace zor
