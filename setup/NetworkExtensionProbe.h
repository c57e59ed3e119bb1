#pragma once

#include "setup/ServiceStatus.h"

#include <QCoroTask>

class QObject;

namespace zor {

class Clock;
class DaemonConnection;
class FilterManager;

// Checks the filter configuration, then asks the extension through the daemon;
// unsupported where the system has no content filter or no daemon.
// The extension can only be asked while the daemon is reachable:
// `daemonStatus` is what the same check found of it. An extension that does
// not answer gets its filter re-enabled and one more ping 4 s later.
QCoro::Task<NEStatus> checkNetworkExtension(QObject* context, Clock& clock, FilterManager& filter,
                                            DaemonConnection& connection,
                                            DaemonStatus daemonStatus);

} // namespace zor
