#include "setup/SetupModel.h"

#include "setup/DaemonClient.h"

#include <QCoroTask>

namespace zor {

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
    , linkPaths(std::move(linkPaths)) {}

SetupModel::~SetupModel() = default;

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
    return runningRestarts > 0;
}

QString SetupModel::restartError() const {
    return lastRestartError;
}

bool SetupModel::isStopping() const {
    return runningStops > 0;
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

void SetupModel::appear() {}
void SetupModel::disappear() {}
void SetupModel::refresh() {}
void SetupModel::fixCLISymlink() {}
void SetupModel::fixDaemon() {}
void SetupModel::fixAgent() {}
void SetupModel::fixNetworkExtension() {}
void SetupModel::restartServices() {}
void SetupModel::stopAllServices() {}
void SetupModel::openLink(const QUrl&) {}

} // namespace zor
