#include "setup/ServiceRepairs.h"

#include "platform/AdministratorScript.h"
#include "platform/Clock.h"
#include "platform/ServiceManagement.h"
#include "platform/Workspace.h"
#include "setup/CliLinkRepair.h"
#include "setup/CompletionAwaiter.h"
#include "setup/FilterConfiguration.h"
#include "setup/ServiceMonitor.h"
#include "setup/SetupLog.h"
#include "shared/Identifiers.h"

namespace zor {

using namespace std::chrono_literals;

ServiceRepairs::ServiceRepairs(ServiceMonitor& monitor, Clock& clock, ServiceManagement& services,
                               SystemExtensionManager& extensions, FilterManager& filter,
                               AdministratorScriptRunner& scripts, Workspace& workspace,
                               QObject* parent)
    : QObject(parent)
    , monitor(monitor)
    , clock(clock)
    , services(services)
    , extensions(extensions)
    , filter(filter)
    , scripts(scripts)
    , workspace(workspace) {}

bool ServiceRepairs::hasServiceManager() const {
    return services.isSupported();
}

void ServiceRepairs::fixDaemon() {
    const DaemonStatus status = monitor.daemonStatus();
    setupLog().info("User clicked Fix Sandbox Daemon button (status: %{public}s)",
                    {description(status)});
    if (status == DaemonStatus::staleVersion) {
        restartServices();
    } else if (status == DaemonStatus::needAuthForFullDiskAccess) {
        // Only the user can grant it, in the system's settings.
        const QUrl url(QString::fromLatin1(kFullDiskAccessSettingsLink));
        if (url.isValid())
            workspace.openUrl(url);
    } else {
        registerDaemon();
    }
}

void ServiceRepairs::fixAgent() {
    const AgentStatus status = monitor.agentStatus();
    setupLog().info("User clicked Fix Notification Agent button (status: %{public}s)",
                    {description(status)});
    if (status == AgentStatus::staleVersion)
        restartServices();
    else
        registerAgent();
}

void ServiceRepairs::fixNetworkExtension() {
    setupLog().info("User clicked Fix Network Extension button (status: %{public}s)",
                    {description(monitor.neStatus())});
    // Also when outdated: the request replaces the older extension.
    submitExtensionRequest([repairs = QPointer<ServiceRepairs>(this)](const auto& result) {
        if (repairs)
            repairs->handleActivationResult(result);
    });
}

void ServiceRepairs::fixCLISymlink() {
    setupLog().info("User clicked Fix CLI Symlink button (status: %{public}s)",
                    {description(monitor.cliStatus())});
    // Blocks while the system asks for an administrator password.
    const ScriptRunResult result = scripts.run(cliLinkScript(monitor.linkPaths()));
    if (result.wasCreated && result.hasErrorInfo)
        setupLog().error("Failed to create CLI symlink: %s",
                         {result.errorMessage.value_or(QStringLiteral("Unknown error"))});
    monitor.recheckLink();
}

void ServiceRepairs::openLink(const QUrl& url) {
    // Only a whole link has a target to open: an empty one would leave the
    // system to pick what to show.
    if (!url.isValid() || url.isRelative()) {
        setupLog().error("Not opening a link without a target: %{public}s", {url.toString()});
        return;
    }
    workspace.openUrl(url);
}

std::unique_ptr<AppService> ServiceRepairs::daemonService() const {
    return services.daemonService(QString::fromLatin1(kDaemonPlistName));
}

std::unique_ptr<AppService> ServiceRepairs::agentService() const {
    return services.agentService(QString::fromLatin1(kAgentPlistName));
}

QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::unregister(AppService& service) {
    co_return co_await awaitCompletion<MaybeError>(
        this, [&service](auto done) { service.unregisterService(std::move(done)); });
}

// A registered service is taken out first, and given half a second, so that
// the system starts the current build.
QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::reregister(AppService& service,
                                                                   bool isDaemon) {
    if (service.status() != ServiceStatus::notRegistered) {
        setupLog().info(isDaemon ? "Unregistering existing daemon before re-registration"
                                 : "Unregistering existing agent before re-registration");
        co_await unregister(service); // its error changes nothing: registering follows
        co_await clock.delay(500ms, this);
    }
    co_return service.registerService();
}

// Each registration flow ends on every path with its repair's own probe,
// which ends the repair: an error along the way only goes to the log, or the
// step would stay checking.
QCoro::Task<> ServiceRepairs::registerDaemon() {
    const int repair = monitor.beginDaemonRepair();
    const auto service = daemonService();
    if (const auto error = co_await reregister(*service, true))
        setupLog().error("Failed to register daemon: %{public}s", {error->localizedDescription});
    else
        setupLog().info("Daemon registered successfully");
    co_await clock.delay(2s, this);
    co_await monitor.recheckDaemon(repair);
}

QCoro::Task<> ServiceRepairs::registerAgent() {
    const int repair = monitor.beginAgentRepair();
    const auto service = agentService();
    auto error = co_await reregister(*service, false);
    if (error) {
        setupLog().error("Initial agent registration failed, retrying: %{public}s",
                         {error->localizedDescription});
        co_await clock.delay(2s, this);
        error = service->registerService();
    }
    if (error)
        setupLog().error("Failed to register ZorAgent: %{public}s", {error->localizedDescription});
    else
        setupLog().info("ZorAgent registered successfully");
    co_await clock.delay(2s, this);
    co_await monitor.recheckAgent(repair);
}

std::shared_ptr<SystemExtensionDelegate>
ServiceRepairs::submitExtensionRequest(SystemExtensionDelegate::Completion completion) {
    // The system holds the delegate weakly; this one lives until the next request.
    extensionDelegate = std::make_shared<SystemExtensionDelegate>(std::move(completion));
    extensions.submitActivationRequest(QString::fromLatin1(kNetworkExtensionBundleId),
                                       extensionDelegate);
    setupLog().info("Submitted network extension activation request");
    return extensionDelegate;
}

void ServiceRepairs::handleActivationResult(const SystemExtensionDelegate::Result& result) {
    using Kind = SystemExtensionDelegate::Result::Kind;
    switch (result.kind) {
    case Kind::success:
        setupLog().info("Network extension activated successfully");
        finishActivation();
        return;
    case Kind::needsReboot:
        setupLog().info("Network extension requires reboot to complete replacement");
        monitor.setNEStatus(NEStatus::needSystemReboot);
        return;
    case Kind::requiresApproval:
        setupLog().info("Network extension requires user approval");
        monitor.setNEStatus(NEStatus::needAuthForNetworkExtension);
        return;
    case Kind::failure:
        setupLog().error("Network extension activation failed: %s",
                         {result.error.value_or(PlatformError{}).localizedDescription});
        monitor.setNEStatus(NEStatus::cannotConnect);
        return;
    }
}

QCoro::Task<> ServiceRepairs::finishActivation() {
    co_await enableFilterConfiguration(this, filter);
    co_await clock.delay(2s, this);
    co_await monitor.recheckNetworkExtension();
}

} // namespace zor
