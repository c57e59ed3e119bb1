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
    // until the repair's own probe, and a check already under way leaves it so.
    void beginDaemonRepair();
    void beginAgentRepair();
    // What a repair has just set, or found.
    void setDaemonStatus(DaemonStatus status) { store(daemonState, status); }
    void setAgentStatus(AgentStatus status) { store(agentState, status); }
    void setNEStatus(NEStatus status) { store(neState, status); }
    void recheckLink();
    // Probe one service again, store its status and report. Polling starts
    // again if anything is unhealthy: a poll during a repair's wait may have
    // found everything healthy and ended it.
    QCoro::Task<> recheckDaemon();
    QCoro::Task<> recheckAgent();
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
    // The agent's probe, unless a repair of it began since the check did
    // (`repairsBefore`); what it finds is kept only if none began meanwhile.
    QCoro::Task<> checkAgentUnlessRepaired(int repairsBefore);

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
    // Repairs begun on each: a check that began before the latest leaves
    // that service to it.
    struct RepairsBegun {
        int daemon = 0;
        int agent = 0;
    };
    RepairsBegun repairsBegun;
    std::optional<Clock::TimerId> pollTimer;
    int checksUnderWay = 0;
    bool isShown = false;
};

} // namespace zor
