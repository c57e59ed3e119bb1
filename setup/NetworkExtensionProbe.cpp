#include "setup/NetworkExtensionProbe.h"

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "setup/BuildNumberMatch.h"
#include "setup/FilterConfiguration.h"
#include "setup/SetupLog.h"
#include "shared/DaemonConnection.h"

namespace zor {
namespace {

using namespace std::chrono_literals;

bool isDaemonUnreachable(DaemonStatus status) {
    return status == DaemonStatus::cannotConnect ||
           status == DaemonStatus::needAuthForDaemonService ||
           status == DaemonStatus::needAuthForFullDiskAccess;
}

} // namespace

QCoro::Task<NEStatus> checkNetworkExtension(QObject* context, Clock& clock, FilterManager& filter,
                                            DaemonConnection& connection,
                                            DaemonStatus daemonStatus) {
    if (!filter.isSupported())
        co_return NEStatus::unsupported;
    if (co_await loadFilterPreferences(context, filter))
        co_return NEStatus::cannotLoadPreferences;
    if (!filter.isEnabled())
        co_return NEStatus::needAuthForNetworkFilter;
    // Asked through the daemon, the extension is out of reach where there is none.
    if (daemonStatus == DaemonStatus::unsupported)
        co_return NEStatus::unsupported;
    if (isDaemonUnreachable(daemonStatus))
        co_return NEStatus::cannotConnectToDaemon;

    const auto ping = [&connection] { return connection.pingNetworkExtension(std::nullopt); };
    if (!co_await runOnWorker(context, ping)) {
        setupLog().info("NE not responding, re-enabling filter configuration");
        co_await enableFilterConfiguration(context, filter);
        co_await clock.delay(4s, context);
        if (!co_await runOnWorker(context, ping))
            co_return NEStatus::cannotConnect;
    }

    const std::optional<QString> buildNumber = co_await runOnWorker(
        context, [&connection] { return connection.getNetworkExtensionBuildNumber(); });
    // An extension that answers without a build number counts as current.
    if (!buildNumber || isCurrentBuildNumber(*buildNumber))
        co_return NEStatus::ok;
    co_return NEStatus::staleVersion;
}

} // namespace zor
