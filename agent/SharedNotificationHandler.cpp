#include "agent/NotificationHandler.h"
#include "platform/Platform.h"

namespace zor {

// Lives with the platform code: only it knows which connector is the system's.
NotificationHandler& NotificationHandler::shared() {
    // Kept for the whole process and never destroyed: its connection is ended
    // at termination, before the application object goes.
    static NotificationHandler* const instance =
        new NotificationHandler(platformAgentConnector(), systemClock());
    return *instance;
}

} // namespace zor
