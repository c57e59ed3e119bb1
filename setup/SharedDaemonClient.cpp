#include "platform/Platform.h"
#include "setup/DaemonClient.h"

namespace zor {

// Lives with the platform code: only it knows which connection is the system's.
DaemonClient& DaemonClient::shared() {
    static DaemonClient client(platformDaemonConnection());
    return client;
}

} // namespace zor
