#include "app/AppDelegate.h"

#include "agent/NotificationHandler.h"
#include "app/AppState.h"
#include "platform/Log.h"
#include "platform/MainThread.h"

namespace zor {

AppDelegate::AppDelegate(NotificationHandler& notificationHandler, QObject* parent)
    : QObject(parent)
    , notificationHandler(notificationHandler)
    , state(new AppState(this)) {
    requireMainThread("AppDelegate");
}

void AppDelegate::applicationDidFinishLaunching() {
    requireMainThread("AppDelegate::applicationDidFinishLaunching");
    // The link starts before any window exists.
    notificationHandler.setAppState(state);
    notificationHandler.connect();
    logger(LogCategory::app).info("Zor.app launched, connecting to ZorAgent");
}

void AppDelegate::applicationWillTerminate() {
    requireMainThread("AppDelegate::applicationWillTerminate");
    // No reconnect may start while the process ends.
    notificationHandler.disconnect();
}

} // namespace zor
