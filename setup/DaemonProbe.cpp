#include "setup/DaemonProbe.h"

#include "platform/ServiceManagement.h"
#include "setup/BuildNumberMatch.h"
#include "setup/SetupLog.h"
#include "shared/DaemonConnection.h"
#include "shared/Identifiers.h"

namespace zor {
namespace {

// The daemon's Endpoint Security new-client result codes.
enum EsNewClientResult : qint32 {
    esSuccess = 0,
    esInvalidArgument = 1,
    esInternal = 2,
    esNotEntitled = 3,
    esNotPermitted = 4,
    esNotPrivileged = 5,
    esTooManyClients = 6,
};

// Each known failure has its own fixed line.
DaemonStatus logged(const char* line, DaemonStatus status) {
    setupLog().error(line);
    return status;
}

} // namespace

DaemonStatus daemonStatusFor(const DaemonStatusRecord& record) {
    switch (record.esClientResult) {
    case esSuccess:
        return isCurrentBuildNumber(record.buildNumber) ? DaemonStatus::ok
                                                        : DaemonStatus::staleVersion;
    case esInvalidArgument:
        return logged("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INVALID_ARGUMENT",
                      DaemonStatus::esInvalidArgument);
    case esInternal:
        return logged("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INTERNAL",
                      DaemonStatus::esInternalError);
    case esNotEntitled:
        return logged("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_ENTITLED",
                      DaemonStatus::esNotEntitled);
    case esNotPermitted:
        return logged(
            "Zor does not yet have full disk access (ES_NEW_CLIENT_RESULT_ERR_NOT_PERMITTED)",
            DaemonStatus::needAuthForFullDiskAccess);
    case esNotPrivileged:
        return logged("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_PRIVILEGED",
                      DaemonStatus::esNotPrivileged);
    case esTooManyClients:
        return logged("unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_TOO_MANY_CLIENTS",
                      DaemonStatus::esTooManyClients);
    default:
        setupLog().error("unexpected ES client result: %{public}d", {int(record.esClientResult)});
        return DaemonStatus::cannotConnect;
    }
}

DaemonStatus checkDaemon(DaemonConnection& connection, ServiceManagement& services) {
    if (const auto record = connection.getStatus())
        return daemonStatusFor(*record);
    if (!services.isSupported())
        return DaemonStatus::unsupported;
    const auto service = services.daemonService(QString::fromLatin1(kDaemonPlistName));
    return service->status() == ServiceStatus::requiresApproval
               ? DaemonStatus::needAuthForDaemonService
               : DaemonStatus::cannotConnect;
}

} // namespace zor
