#pragma once

#include "setup/SystemExtensionDelegate.h"

#include <QCoroTask>
#include <QObject>
#include <memory>
#include <optional>

namespace zor {

class AdministratorScriptRunner;
class AppService;
class Clock;
class FilterManager;
class ServiceManagement;
class ServiceMonitor;
class SystemExtensionManager;
class Workspace;

// What the setup screen's buttons do: each step's repair, and the two
// screen-wide flows, Restart Services and Stop All Services. The monitor
// shows what comes of them.
class ServiceRepairs : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRestarting READ isRestarting NOTIFY flowsChanged)
    Q_PROPERTY(QString restartError READ restartError NOTIFY flowsChanged)
    Q_PROPERTY(bool isStopping READ isStopping NOTIFY flowsChanged)
    Q_PROPERTY(QString stopError READ stopError NOTIFY flowsChanged)
    Q_PROPERTY(bool hasServiceManager READ hasServiceManager CONSTANT)

public:
    ServiceRepairs(ServiceMonitor& monitor, Clock& clock, ServiceManagement& services,
                   SystemExtensionManager& extensions, FilterManager& filter,
                   AdministratorScriptRunner& scripts, Workspace& workspace,
                   QObject* parent = nullptr);

    bool isRestarting() const { return restart.running > 0; }
    QString restartError() const { return restart.error; } // empty when absent
    bool isStopping() const { return stop.running > 0; }
    QString stopError() const { return stop.error; }
    // Restart Services and Stop All Services work through the system's service
    // manager; where there is none they could only fail.
    bool hasServiceManager() const;

    Q_INVOKABLE void fixCLISymlink(); // the four step buttons
    Q_INVOKABLE void fixDaemon();
    Q_INVOKABLE void fixAgent();
    Q_INVOKABLE void fixNetworkExtension();
    Q_INVOKABLE void restartServices(); // "Restart Services" and the banner's button
    Q_INVOKABLE void stopAllServices();
    // A link in an instruction was clicked; opens nothing for one without a target.
    Q_INVOKABLE void openLink(const QUrl& url);

signals:
    void flowsChanged();

private:
    using MaybeError = std::optional<PlatformError>;
    enum class Flow { restart, stop };
    // As the screen shows a flow: running while any of its kind runs, the
    // user may start one before another ends; the error is that of the one
    // that ended last, absent when it ended well.
    struct FlowState {
        int running = 0;
        QString error;
    };

    std::unique_ptr<AppService> daemonService() const;
    std::unique_ptr<AppService> agentService() const;
    QCoro::Task<MaybeError> unregister(AppService& service);
    QCoro::Task<MaybeError> reregister(AppService& service, bool isDaemon);
    QCoro::Task<> registerDaemon();
    QCoro::Task<> registerAgent();
    std::shared_ptr<SystemExtensionDelegate>
    submitExtensionRequest(SystemExtensionDelegate::Completion completion);
    void handleActivationResult(const SystemExtensionDelegate::Result& result);
    QCoro::Task<> finishActivation();

    QCoro::Task<> runFlow(Flow flow);
    QCoro::Task<MaybeError> unregisterBoth(Flow flow);
    QCoro::Task<MaybeError> restartSteps();
    QCoro::Task<MaybeError> replaceNetworkExtension();
    QCoro::Task<MaybeError> stopSteps();

    ServiceMonitor& monitor;
    Clock& clock;
    ServiceManagement& services;
    SystemExtensionManager& extensions;
    FilterManager& filter;
    AdministratorScriptRunner& scripts;
    Workspace& workspace;

    FlowState restart;
    FlowState stop;
    // The delegate of the latest extension request: the system holds it weakly.
    std::shared_ptr<SystemExtensionDelegate> extensionDelegate;
};

} // namespace zor
