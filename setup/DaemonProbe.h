#pragma once

#include "setup/ServiceStatus.h"

namespace zor {

class DaemonConnection;
class ServiceManagement;
struct DaemonStatusRecord;

// The status that the daemon's own report stands for; logs the Endpoint
// Security results that are not success.
DaemonStatus daemonStatusFor(const DaemonStatusRecord& record);

// Asks the daemon, and the service manager when the daemon does not answer;
// without a service manager nothing could start it, so it is unsupported.
// Blocks: run it on a worker.
DaemonStatus checkDaemon(DaemonConnection& connection, ServiceManagement& services);

} // namespace zor
