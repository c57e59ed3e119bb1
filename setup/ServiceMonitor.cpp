#include "setup/ServiceMonitor.h"

#include "platform/MainThread.h"
#include "platform/ServiceManagement.h"
#include "platform/Worker.h"
#include "setup/DaemonClient.h"
#include "setup/DaemonProbe.h"
#include "setup/NetworkExtensionProbe.h"
#include "setup/SetupLog.h"

namespace zor {

using namespace std::chrono_literals;

namespace {

template <typename Status> bool isDue(Status status) {
    return status != Status::ok && status != Status::checking;
}

} // namespace

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

StepDisplay ServiceMonitor::daemonStep() const {
    return offeringRestart(display(daemonState), daemonState == DaemonStatus::staleVersion);
}

StepDisplay ServiceMonitor::agentStep() const {
    return offeringRestart(display(agentState), agentState == AgentStatus::staleVersion);
}

StepDisplay ServiceMonitor::offeringRestart(StepDisplay step, bool isOutdated) const {
    if (isOutdated && !services.isSupported())
        step.button = ButtonState::none();
    return step;
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
    recheckLink();
    runFullCheck();
}

void ServiceMonitor::beginCheck() {
    cancelPoll();
    ++checksUnderWay;
}

void ServiceMonitor::endCheck() {
    --checksUnderWay;
    reportStatus();
    updatePolling();
}

int ServiceMonitor::beginDaemonRepair() {
    ++daemonRepairs.underWay;
    setDaemonStatus(DaemonStatus::checking);
    return ++daemonRepairs.begun;
}

int ServiceMonitor::beginAgentRepair() {
    ++agentRepairs.underWay;
    setAgentStatus(AgentStatus::checking);
    return ++agentRepairs.begun;
}

ServiceMonitor::RepairsSeen ServiceMonitor::seen(const Repairs& repairs) {
    return repairs.underWay > 0 ? RepairsSeen() : RepairsSeen(repairs.begun);
}

bool ServiceMonitor::isLeftToRepair(const Repairs& repairs, RepairsSeen seen) {
    return !seen || repairs.begun != *seen;
}

QCoro::Task<> ServiceMonitor::runFullCheck() {
    beginCheck();
    const RepairsSeen daemonSeen = seen(daemonRepairs);
    const RepairsSeen agentSeen = seen(agentRepairs);
    // A service left to a repair is already checking, until the repair's probe.
    setDaemonStatus(DaemonStatus::checking);
    setAgentStatus(AgentStatus::checking);
    setNEStatus(NEStatus::checking);
    // In this order: the extension probe goes by the daemon's fresh status.
    const std::optional<DaemonStatus> daemonFound = co_await checkDaemonUnlessRepaired(daemonSeen);
    co_await checkAgentUnlessRepaired(agentSeen);
    // A daemon left to a repair is not known until the repair's probe: the
    // extension waits on it, and a poll pass after that probe asks it.
    if (daemonFound && !isLeftToRepair(daemonRepairs, daemonSeen))
        setNEStatus(co_await probeNetworkExtension(*daemonFound));
    else
        setNEStatus(NEStatus::cannotConnectToDaemon);
    endCheck();
}

QCoro::Task<> ServiceMonitor::runPollPass() {
    pollTimer.reset();
    beginCheck();
    // Only what is unhealthy now, and without going through checking first, so
    // that the screen does not flicker. A status being checked is left to the
    // repair that checks it: the step shows its progress until then.
    // A repair begun meanwhile takes its service over, as the step then shows.
    const RepairsSeen daemonSeen = seen(daemonRepairs);
    const RepairsSeen agentSeen = seen(agentRepairs);
    const bool isCliDue = isDue(cliState);
    const bool isDaemonDue = isDue(daemonState);
    const bool isAgentDue = isDue(agentState);
    const bool isExtensionDue = isDue(neState);
    if (isCliDue)
        recheckLink();
    if (isDaemonDue)
        co_await checkDaemonUnlessRepaired(daemonSeen);
    if (isAgentDue)
        co_await checkAgentUnlessRepaired(agentSeen);
    // The extension is asked through the daemon, so it goes by what the
    // daemon's probe found. While a repair checks the daemon that is not yet
    // known: the extension waits for a pass after the repair's probe.
    if (isExtensionDue && daemonState != DaemonStatus::checking)
        setNEStatus(co_await probeNetworkExtension(daemonState));
    endCheck();
}

QCoro::Task<std::optional<DaemonStatus>>
ServiceMonitor::checkDaemonUnlessRepaired(RepairsSeen seen) {
    if (isLeftToRepair(daemonRepairs, seen))
        co_return std::nullopt;
    const DaemonStatus found = co_await probeDaemon();
    if (isLeftToRepair(daemonRepairs, seen))
        co_return std::nullopt;
    setDaemonStatus(found);
    co_return found;
}

QCoro::Task<> ServiceMonitor::checkAgentUnlessRepaired(RepairsSeen seen) {
    if (isLeftToRepair(agentRepairs, seen))
        co_return;
    const AgentStatus found = co_await probeAgent();
    if (!isLeftToRepair(agentRepairs, seen))
        setAgentStatus(found);
}

// What this system does not have will not come: polling for it would only
// repeat the same answers.
void ServiceMonitor::updatePolling() {
    if (isNothingToRepair()) {
        cancelPoll();
        return;
    }
    if (pollTimer || !isShown || checksUnderWay > 0)
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

QCoro::Task<> ServiceMonitor::recheckDaemon(int repair) {
    beginCheck();
    const DaemonStatus found = co_await probeDaemon();
    --daemonRepairs.underWay;
    // A newer repair keeps the step checking until its own probe.
    if (daemonRepairs.begun == repair)
        setDaemonStatus(found);
    endCheck();
}

QCoro::Task<> ServiceMonitor::recheckAgent(int repair) {
    beginCheck();
    const AgentStatus found = co_await probeAgent();
    --agentRepairs.underWay;
    if (agentRepairs.begun == repair)
        setAgentStatus(found);
    endCheck();
}

QCoro::Task<> ServiceMonitor::recheckNetworkExtension() {
    beginCheck();
    // The extension is asked through the daemon. While the daemon is being
    // checked, as a repair checks it, no ping goes through it and the filter
    // is left alone: the step shows the extension waiting on the daemon, a
    // status that the poll's first pass after the daemon's probe asks again.
    if (daemonState == DaemonStatus::checking)
        setNEStatus(NEStatus::cannotConnectToDaemon);
    else
        setNEStatus(co_await probeNetworkExtension(daemonState));
    endCheck();
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

QCoro::Task<NEStatus> ServiceMonitor::probeNetworkExtension(DaemonStatus daemonStatus) {
    co_return co_await checkNetworkExtension(this, clock, filter, daemon.connection, daemonStatus);
}

} // namespace zor
