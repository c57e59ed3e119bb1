#pragma once

#include "platform/Clock.h"
#include "setup/AgentProbe.h"
#include "setup/CliLinkProbe.h"
#include "setup/StepDisplay.h"

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <optional>

namespace zor {

class AdministratorScriptRunner;
class DaemonClient;
class FilterManager;
class ServiceManagement;

// The four statuses of the setup screen, kept current while it is shown: a
// full check when it appears or on Refresh, then a poll that re-probes
// whatever is unhealthy, once a second, until nothing is left to repair: all
// four ok, or unsupported on this system.
class ServiceMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::SetupStatus::DaemonStatus daemonStatus READ daemonStatus NOTIFY statusChanged)
    Q_PROPERTY(zor::SetupStatus::AgentStatus agentStatus READ agentStatus NOTIFY statusChanged)
    Q_PROPERTY(zor::SetupStatus::NEStatus neStatus READ neStatus NOTIFY statusChanged)
    Q_PROPERTY(zor::SetupStatus::CLISymlinkStatus cliStatus READ cliStatus NOTIFY statusChanged)
    Q_PROPERTY(zor::StepDisplay cliStep READ cliStep NOTIFY statusChanged)
    Q_PROPERTY(zor::StepDisplay daemonStep READ daemonStep NOTIFY statusChanged)
    Q_PROPERTY(zor::StepDisplay agentStep READ agentStep NOTIFY statusChanged)
    Q_PROPERTY(zor::StepDisplay neStep READ neStep NOTIFY statusChanged)
    Q_PROPERTY(bool isAnyOutdated READ isAnyOutdated NOTIFY statusChanged)

public:
    // Lives on the main thread; the probes block on workers. `scripts` would
    // make the link: where there is none, a missing link is unsupported.
    ServiceMonitor(Clock& clock, ServiceManagement& services, FilterManager& filter,
                   AdministratorScriptRunner& scripts, DaemonClient& daemon,
                   BuildNumberQuery agentBuildNumber, CliLinkPaths linkPaths = {},
                   QObject* parent = nullptr);

    DaemonStatus daemonStatus() const { return daemonState; }
    AgentStatus agentStatus() const { return agentState; }
    NEStatus neStatus() const { return neState; }
    CLISymlinkStatus cliStatus() const { return cliState; }
    StepDisplay cliStep() const { return display(cliState); }
    StepDisplay daemonStep() const;
    StepDisplay agentStep() const;
    StepDisplay neStep() const { return display(neState); }
    bool isAnyOutdated() const;
    bool isNothingToRepair() const;
    bool isPollPending() const { return pollTimer.has_value(); }
    const CliLinkPaths& linkPaths() const { return paths; }

    // Called after every pass of checks with whether nothing is left to repair.
    void setOnStatusChange(std::function<void(bool)> callback);

    // The screen appeared: full check, then polling while anything is unhealthy.
    Q_INVOKABLE void appear();
    // The screen disappeared: the pending poll stops.
    Q_INVOKABLE void disappear();
    // The "Refresh" button.
    Q_INVOKABLE void refresh();
    // The full check, as Refresh runs it.
    void checkAll();

    // A repair of the daemon or the agent begins: the step shows it checking
    // until the repair's own probe, which names the repair by the number
    // returned here. Until that probe the repair is under way, and a check,
    // whether it began before the repair or during it, leaves the service so.
    int beginDaemonRepair();
    int beginAgentRepair();
    // What a repair has just set, or found.
    void setDaemonStatus(DaemonStatus status) { store(daemonState, status); }
    void setAgentStatus(AgentStatus status) { store(agentState, status); }
    void setNEStatus(NEStatus status) { store(neState, status); }
    void recheckLink();
    // Probe one service again, store its status and report. Polling starts
    // again if anything is unhealthy: a poll during a repair's wait may have
    // found everything healthy and ended it. The daemon's and the agent's are
    // the final probe of the repair `repair`, which it ends: what it finds is
    // stored only if no newer repair of that service began since.
    QCoro::Task<> recheckDaemon(int repair);
    QCoro::Task<> recheckAgent(int repair);
    // While the daemon is being checked the extension, asked through it,
    // waits on it for a poll pass after the daemon's probe.
    QCoro::Task<> recheckNetworkExtension();

signals:
    void statusChanged();

private:
    template <typename Status> void store(Status& field, Status status) {
        if (field == status)
            return;
        field = status;
        emit statusChanged();
    }
    // An outdated daemon or agent is restarted through the service manager:
    // where there is none, the restart is the user's to do, not a button's.
    StepDisplay offeringRestart(StepDisplay step, bool isOutdated) const;
    void reportStatus();
    // Every check, full, poll pass or after a repair, is framed by these: the
    // last one under way to end schedules the next pass, so that passes never
    // overlap and the poll stays one chain.
    void beginCheck();
    void endCheck();
    QCoro::Task<> runFullCheck();
    QCoro::Task<> runPollPass();
    void updatePolling();
    void cancelPoll();
    QCoro::Task<DaemonStatus> probeDaemon();
    QCoro::Task<AgentStatus> probeAgent();
    QCoro::Task<NEStatus> probeNetworkExtension(DaemonStatus daemonStatus);
    // The repairs of one service: how many began, and how many are under way,
    // from their beginning until their own probe ends them.
    struct Repairs {
        int begun = 0;
        int underWay = 0;
    };
    // What a check notes of a service's repairs as it begins: how many had
    // begun, or nothing while one is under way.
    using RepairsSeen = std::optional<int>;
    static RepairsSeen seen(const Repairs& repairs);
    // Whether a check that saw `seen` leaves the service to a repair: one under
    // way as the check began, or begun since.
    static bool isLeftToRepair(const Repairs& repairs, RepairsSeen seen);
    // The service's probe, unless the check leaves it to a repair; what it
    // finds is stored, and returned, only if no repair began meanwhile.
    QCoro::Task<std::optional<DaemonStatus>> checkDaemonUnlessRepaired(RepairsSeen seen);
    QCoro::Task<> checkAgentUnlessRepaired(RepairsSeen seen);

    Clock& clock;
    ServiceManagement& services;
    FilterManager& filter;
    const AdministratorScriptRunner& scripts;
    DaemonClient& daemon;
    BuildNumberQuery agentBuildNumber;
    CliLinkPaths paths;
    std::function<void(bool)> onStatusChange;

    DaemonStatus daemonState = DaemonStatus::checking;
    AgentStatus agentState = AgentStatus::checking;
    NEStatus neState = NEStatus::checking;
    CLISymlinkStatus cliState = CLISymlinkStatus::checking;
    Repairs daemonRepairs;
    Repairs agentRepairs;
    std::optional<Clock::TimerId> pollTimer;
    int checksUnderWay = 0;
    bool isShown = false;
};

} // namespace zor
