#include "setup/SetupModel.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "platform/Worker.h"
#include "setup/DaemonClient.h"
#include "setup/DaemonProbe.h"
#include "setup/NetworkExtensionProbe.h"

namespace zor {

using namespace std::chrono_literals;

SetupModel::SetupModel(Clock& clock, ServiceManagement& services,
                       SystemExtensionManager& extensions, FilterManager& filter,
                       DaemonClient& daemon, AdministratorScriptRunner& scripts,
                       Workspace& workspace, BuildNumberQuery agentBuildNumber,
                       CliLinkPaths linkPaths, QObject* parent)
    : QObject(parent)
    , clock(clock)
    , services(services)
    , extensions(extensions)
    , filter(filter)
    , daemon(daemon)
    , scripts(scripts)
    , workspace(workspace)
    , agentBuildNumber(std::move(agentBuildNumber))
    , linkPaths(std::move(linkPaths)) {
    requireMainThread("SetupModel");
}

DaemonStatus SetupModel::daemonStatus() const {
    return daemonState;
}

AgentStatus SetupModel::agentStatus() const {
    return agentState;
}

NEStatus SetupModel::neStatus() const {
    return neState;
}

CLISymlinkStatus SetupModel::cliStatus() const {
    return cliState;
}

StepDisplay SetupModel::cliStep() const {
    return display(cliState);
}

StepDisplay SetupModel::daemonStep() const {
    return display(daemonState);
}

StepDisplay SetupModel::agentStep() const {
    return display(agentState);
}

StepDisplay SetupModel::neStep() const {
    return display(neState);
}

bool SetupModel::isAnyOutdated() const {
    return zor::isAnyOutdated(daemonState, agentState, neState);
}

bool SetupModel::isAllHealthy() const {
    return zor::isAllHealthy(daemonState, agentState, neState, cliState);
}

bool SetupModel::isRestarting() const {
    return isRestartRunning;
}

QString SetupModel::restartError() const {
    return lastRestartError;
}

bool SetupModel::isStopping() const {
    return isStopRunning;
}

QString SetupModel::stopError() const {
    return lastStopError;
}

bool SetupModel::isPollPending() const {
    return pollTimer.has_value();
}

void SetupModel::setOnStatusChange(std::function<void(bool)> callback) {
    onStatusChange = std::move(callback);
}

void SetupModel::setDaemonStatus(DaemonStatus status) {
    if (daemonState == status)
        return;
    daemonState = status;
    emit statusChanged();
}

void SetupModel::setAgentStatus(AgentStatus status) {
    if (agentState == status)
        return;
    agentState = status;
    emit statusChanged();
}

void SetupModel::setNEStatus(NEStatus status) {
    if (neState == status)
        return;
    neState = status;
    emit statusChanged();
}

void SetupModel::setCliStatus(CLISymlinkStatus status) {
    if (cliState == status)
        return;
    cliState = status;
    emit statusChanged();
}

void SetupModel::reportStatus() {
    if (onStatusChange)
        onStatusChange(isAllHealthy());
}

void SetupModel::appear() {
    isShown = true;
    startFullCheck();
}

void SetupModel::disappear() {
    // A probe under way still finishes and stores its result, but no new pass
    // is scheduled until the screen is shown again.
    isShown = false;
    cancelPoll();
}

void SetupModel::refresh() {
    logger(LogCategory::setup).info("User clicked Refresh button");
    startFullCheck();
}

void SetupModel::startFullCheck() {
    cancelPoll();
    setCliStatus(checkCLISymlink(linkPaths));
    runFullCheck();
}

QCoro::Task<> SetupModel::runFullCheck() {
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

QCoro::Task<> SetupModel::runPollPass() {
    pollTimer.reset();
    emit pollChanged();
    // Only what is unhealthy now, and without going through checking first, so
    // that the screen does not flicker.
    const bool isCliDue = cliState != CLISymlinkStatus::ok;
    const bool isDaemonDue = daemonState != DaemonStatus::ok;
    const bool isAgentDue = agentState != AgentStatus::ok;
    const bool isExtensionDue = neState != NEStatus::ok;
    if (isCliDue)
        setCliStatus(checkCLISymlink(linkPaths));
    if (isDaemonDue)
        setDaemonStatus(co_await probeDaemon());
    if (isAgentDue)
        setAgentStatus(co_await probeAgent());
    if (isExtensionDue)
        setNEStatus(co_await probeNetworkExtension());
    reportStatus();
    updatePolling();
}

void SetupModel::updatePolling() {
    if (isAllHealthy()) {
        cancelPoll();
        return;
    }
    if (pollTimer || !isShown)
        return;
    // A chain of one-shot timers: the next pass starts a second after this one ended.
    pollTimer = clock.schedule(1s, this, [this] { runPollPass(); });
    emit pollChanged();
}

void SetupModel::cancelPoll() {
    if (!pollTimer)
        return;
    clock.cancel(*pollTimer);
    pollTimer.reset();
    emit pollChanged();
}

QCoro::Task<DaemonStatus> SetupModel::probeDaemon() {
    co_return co_await runOnWorker(this, [&connection = daemon.connection, &services = services] {
        return checkDaemon(connection, services);
    });
}

QCoro::Task<AgentStatus> SetupModel::probeAgent() {
    co_return co_await runOnWorker(this, [query = agentBuildNumber] { return checkAgent(query); });
}

QCoro::Task<NEStatus> SetupModel::probeNetworkExtension() {
    co_return co_await checkNetworkExtension(this, clock, filter, daemon.connection,
                                             [this] { return daemonState; });
}

} // namespace zor
