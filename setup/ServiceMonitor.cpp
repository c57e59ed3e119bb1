#include "setup/ServiceMonitor.h"

#include "platform/MainThread.h"
#include "platform/Worker.h"
#include "setup/DaemonClient.h"
#include "setup/DaemonProbe.h"
#include "setup/NetworkExtensionProbe.h"
#include "setup/SetupLog.h"

namespace zor {

using namespace std::chrono_literals;

ServiceMonitor::ServiceMonitor(Clock& clock, ServiceManagement& services, FilterManager& filter,
                               AdministratorScriptRunner& scripts, DaemonClient& daemon,
                               BuildNumberQuery agentBuildNumber, CliLinkPaths linkPaths,
                               QObject* parent)
    : QObject(parent)
    , clock(clock)
    , services(services)
    , filter(filter)
    , scripts(scripts)
    , daemon(daemon)
    , agentBuildNumber(std::move(agentBuildNumber))
    , paths(std::move(linkPaths)) {
    requireMainThread("ServiceMonitor");
}

bool ServiceMonitor::isAnyOutdated() const {
    return zor::isAnyOutdated(daemonState, agentState, neState);
}

bool ServiceMonitor::isNothingToRepair() const {
    return zor::isNothingToRepair(daemonState, agentState, neState, cliState);
}

void ServiceMonitor::setOnStatusChange(std::function<void(bool)> callback) {
    onStatusChange = std::move(callback);
}

void ServiceMonitor::reportStatus() {
    if (onStatusChange)
        onStatusChange(isNothingToRepair());
}

void ServiceMonitor::appear() {
    isShown = true;
    checkAll();
}

void ServiceMonitor::disappear() {
    // A probe under way still finishes and stores its result, but no new pass
    // is scheduled until the screen is shown again.
    isShown = false;
    cancelPoll();
}

void ServiceMonitor::refresh() {
    setupLog().info("User clicked Refresh button");
    checkAll();
}

void ServiceMonitor::checkAll() {
    cancelPoll();
    recheckLink();
    runFullCheck();
}

QCoro::Task<> ServiceMonitor::runFullCheck() {
    setDaemonStatus(DaemonStatus::checking);
    setAgentStatus(AgentStatus::checking);
    setNEStatus(NEStatus::checking);
    // In this order: the extension probe reads the daemon's fresh status.
    setDaemonStatus(co_await probeDaemon());
    setAgentStatus(co_await probeAgent());
    setNEStatus(co_await probeNetworkExtension());
    reportStatus();
    updatePolling();
}

QCoro::Task<> ServiceMonitor::runPollPass() {
    pollTimer.reset();
    // Only what is unhealthy now, and without going through checking first, so
    // that the screen does not flicker.
    const bool isCliDue = cliState != CLISymlinkStatus::ok;
    const bool isDaemonDue = daemonState != DaemonStatus::ok;
    const bool isAgentDue = agentState != AgentStatus::ok;
    const bool isExtensionDue = neState != NEStatus::ok;
    if (isCliDue)
        recheckLink();
    if (isDaemonDue)
        setDaemonStatus(co_await probeDaemon());
    if (isAgentDue)
        setAgentStatus(co_await probeAgent());
    if (isExtensionDue)
        setNEStatus(co_await probeNetworkExtension());
    reportStatus();
    updatePolling();
}

// What this system does not have will not come: polling for it would only
// repeat the same answers.
void ServiceMonitor::updatePolling() {
    if (isNothingToRepair()) {
        cancelPoll();
        return;
    }
    if (pollTimer || !isShown)
        return;
    // A chain of one-shot timers: the next pass starts a second after this one ended.
    pollTimer = clock.schedule(1s, this, [this] { runPollPass(); });
}

void ServiceMonitor::cancelPoll() {
    if (pollTimer)
        clock.cancel(*pollTimer);
    pollTimer.reset();
}

void ServiceMonitor::recheckLink() {
    store(cliState, checkCLISymlink(paths, scripts));
}

QCoro::Task<> ServiceMonitor::recheckDaemon() {
    setDaemonStatus(co_await probeDaemon());
    reportStatus();
    updatePolling();
}

QCoro::Task<> ServiceMonitor::recheckAgent() {
    setAgentStatus(co_await probeAgent());
    reportStatus();
    updatePolling();
}

QCoro::Task<> ServiceMonitor::recheckNetworkExtension() {
    setNEStatus(co_await probeNetworkExtension());
    reportStatus();
    updatePolling();
}

QCoro::Task<DaemonStatus> ServiceMonitor::probeDaemon() {
    co_return co_await runOnWorker(this, [&connection = daemon.connection, &services = services] {
        return checkDaemon(connection, services);
    });
}

QCoro::Task<AgentStatus> ServiceMonitor::probeAgent() {
    co_return co_await runOnWorker(this, [query = agentBuildNumber, &services = services] {
        return checkAgent(query, services);
    });
}

QCoro::Task<NEStatus> ServiceMonitor::probeNetworkExtension() {
    co_return co_await checkNetworkExtension(this, clock, filter, daemon.connection,
                                             [this] { return daemonState; });
}

} // namespace zor
