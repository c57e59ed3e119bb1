#pragma once

// The setup screen's state: the four statuses, the two screen-wide flows and
// the poll. QML binds to it; every decision is made here.
//
// Contract between the setup core and the setup screen. The core implements
// it in setup/SetupModel.cpp (checks and polling), SetupRepairs.cpp and
// SetupRestart.cpp; the QML reads only these properties and calls only these
// invokables.

#include "platform/Clock.h"
#include "setup/AgentProbe.h"
#include "setup/CliLinkProbe.h"
#include "setup/StepDisplay.h"
#include "setup/SystemExtensionDelegate.h"

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

namespace zor {

class AdministratorScriptRunner;
class AppService;
class DaemonClient;
class FilterManager;
class ServiceManagement;
class SystemExtensionManager;
class Workspace;

class SetupModel : public QObject {
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
    Q_PROPERTY(bool isAllHealthy READ isAllHealthy NOTIFY statusChanged)
    Q_PROPERTY(bool isRestarting READ isRestarting NOTIFY restartChanged)
    Q_PROPERTY(QString restartError READ restartError NOTIFY restartChanged)
    Q_PROPERTY(bool isStopping READ isStopping NOTIFY stopChanged)
    Q_PROPERTY(QString stopError READ stopError NOTIFY stopChanged)
    Q_PROPERTY(bool isPollPending READ isPollPending NOTIFY pollChanged)

public:
    // Everything the screen acts on is injected; the model lives on the main thread.
    SetupModel(Clock& clock, ServiceManagement& services, SystemExtensionManager& extensions,
               FilterManager& filter, DaemonClient& daemon, AdministratorScriptRunner& scripts,
               Workspace& workspace, BuildNumberQuery agentBuildNumber, CliLinkPaths linkPaths = {},
               QObject* parent = nullptr);

    DaemonStatus daemonStatus() const;
    AgentStatus agentStatus() const;
    NEStatus neStatus() const;
    CLISymlinkStatus cliStatus() const;
    StepDisplay cliStep() const;
    StepDisplay daemonStep() const;
    StepDisplay agentStep() const;
    StepDisplay neStep() const;
    bool isAnyOutdated() const;
    bool isAllHealthy() const;
    bool isRestarting() const;
    QString restartError() const; // empty when absent
    bool isStopping() const;
    QString stopError() const;
    bool isPollPending() const;

    // Called with true when all four statuses are ok, after every pass of checks.
    void setOnStatusChange(std::function<void(bool)> callback);

    // The screen appeared: full check, then polling while anything is unhealthy.
    Q_INVOKABLE void appear();
    // The screen disappeared: the pending poll stops.
    Q_INVOKABLE void disappear();
    Q_INVOKABLE void refresh();       // the "Refresh" button
    Q_INVOKABLE void fixCLISymlink(); // the four step buttons
    Q_INVOKABLE void fixDaemon();
    Q_INVOKABLE void fixAgent();
    Q_INVOKABLE void fixNetworkExtension();
    Q_INVOKABLE void restartServices(); // "Restart Services" and the banner's button
    Q_INVOKABLE void stopAllServices();
    // A link in an instruction was clicked.
    Q_INVOKABLE void openLink(const QUrl& url);

signals:
    void statusChanged();
    void restartChanged();
    void stopChanged();
    void pollChanged();

private:
    void setDaemonStatus(DaemonStatus status);
    void setAgentStatus(AgentStatus status);
    void setNEStatus(NEStatus status);
    void setCliStatus(CLISymlinkStatus status);
    void reportStatus();

    // Checks and polling.
    void startFullCheck();
    QCoro::Task<> runFullCheck();
    QCoro::Task<> runPollPass();
    void updatePolling();
    void cancelPoll();
    QCoro::Task<DaemonStatus> probeDaemon();
    QCoro::Task<AgentStatus> probeAgent();
    QCoro::Task<NEStatus> probeNetworkExtension();

    // Repairs.
    QCoro::Task<> registerDaemon();
    QCoro::Task<> registerAgent();
    QCoro::Task<std::optional<PlatformError>> unregister(AppService& service);
    void activateNetworkExtension();
    std::shared_ptr<SystemExtensionDelegate>
    submitExtensionRequest(SystemExtensionDelegate::Completion completion);
    void handleActivationResult(const SystemExtensionDelegate::Result& result);
    QCoro::Task<> finishActivation();

    // Restart and stop.
    QCoro::Task<> runRestart();
    QCoro::Task<std::optional<PlatformError>> restartSteps();
    QCoro::Task<std::optional<PlatformError>> replaceNetworkExtension();
    QCoro::Task<> runStop();
    QCoro::Task<std::optional<PlatformError>> stopSteps();

    Clock& clock;
    ServiceManagement& services;
    SystemExtensionManager& extensions;
    FilterManager& filter;
    DaemonClient& daemon;
    AdministratorScriptRunner& scripts;
    Workspace& workspace;
    BuildNumberQuery agentBuildNumber;
    CliLinkPaths linkPaths;
    std::function<void(bool)> onStatusChange;

    DaemonStatus daemonState = DaemonStatus::checking;
    AgentStatus agentState = AgentStatus::checking;
    NEStatus neState = NEStatus::checking;
    CLISymlinkStatus cliState = CLISymlinkStatus::checking;
    std::optional<Clock::TimerId> pollTimer;
    bool isShown = false;
    // As the screen shows them: a flow that ends clears its flag, even when
    // the user started another meanwhile.
    bool isRestartRunning = false;
    QString lastRestartError;
    bool isStopRunning = false;
    QString lastStopError;
    // The delegate of the latest extension request: the system holds it weakly.
    std::shared_ptr<SystemExtensionDelegate> extensionDelegate;
};

} // namespace zor
