// The step buttons of the setup screen and the repairs behind them.

#include "platform/AdministratorScript.h"
#include "platform/Log.h"
#include "platform/ServiceManagement.h"
#include "platform/Workspace.h"
#include "setup/CliLinkRepair.h"
#include "setup/CompletionAwaiter.h"
#include "setup/FilterConfiguration.h"
#include "setup/SetupModel.h"
#include "shared/Identifiers.h"

namespace zor {

using namespace std::chrono_literals;

namespace {

const Logger& log() {
    return logger(LogCategory::setup);
}

} // namespace

void SetupModel::fixDaemon() {
    log().info("User clicked Fix Sandbox Daemon button (status: %{public}s)",
               {description(daemonState)});
    if (daemonState == DaemonStatus::staleVersion) {
        restartServices();
    } else if (daemonState == DaemonStatus::needAuthForFullDiskAccess) {
        // Only the user can grant it, in the system's settings.
        const QUrl url(QString::fromLatin1(kFullDiskAccessSettingsLink));
        if (url.isValid())
            workspace.openUrl(url);
    } else {
        registerDaemon();
    }
}

void SetupModel::fixAgent() {
    log().info("User clicked Fix Notification Agent button (status: %{public}s)",
               {description(agentState)});
    if (agentState == AgentStatus::staleVersion)
        restartServices();
    else
        registerAgent();
}

void SetupModel::fixNetworkExtension() {
    log().info("User clicked Fix Network Extension button (status: %{public}s)",
               {description(neState)});
    // Also when outdated: the request replaces the older extension.
    activateNetworkExtension();
}

void SetupModel::fixCLISymlink() {
    log().info("User clicked Fix CLI Symlink button (status: %{public}s)", {description(cliState)});
    // Blocks while the system asks for an administrator password.
    const ScriptRunResult result =
        scripts.run(administratorScriptSource(cliLinkCommands(linkPaths)));
    if (result.wasCreated && result.hasErrorInfo)
        log().error("Failed to create CLI symlink: %s",
                    {result.errorMessage.value_or(QStringLiteral("Unknown error"))});
    setCliStatus(checkCLISymlink(linkPaths));
}

void SetupModel::openLink(const QUrl& url) {
    workspace.openUrl(url);
}

QCoro::Task<std::optional<PlatformError>> SetupModel::unregister(AppService& service) {
    co_return co_await awaitCompletion<std::optional<PlatformError>>(
        this, [&service](auto done) { service.unregisterService(std::move(done)); });
}

QCoro::Task<> SetupModel::registerDaemon() {
    setDaemonStatus(DaemonStatus::checking);
    const auto service = services.daemonService(QString::fromLatin1(kDaemonPlistName));
    if (service->status() != ServiceStatus::notRegistered) {
        log().info("Unregistering existing daemon before re-registration");
        co_await unregister(*service); // its error changes nothing: registering follows
        co_await clock.delay(500ms, this);
    }
    if (const auto error = service->registerService())
        log().error("Failed to register daemon: %{public}s", {error->localizedDescription});
    else
        log().info("Daemon registered successfully");
    co_await clock.delay(2s, this);
    setDaemonStatus(co_await probeDaemon());
    reportStatus();
}

QCoro::Task<> SetupModel::registerAgent() {
    setAgentStatus(AgentStatus::checking);
    const auto service = services.agentService(QString::fromLatin1(kAgentPlistName));
    if (service->status() != ServiceStatus::notRegistered) {
        log().info("Unregistering existing agent before re-registration");
        co_await unregister(*service);
        co_await clock.delay(500ms, this);
    }
    auto error = service->registerService();
    if (error) {
        log().error("Initial agent registration failed, retrying: %{public}s",
                    {error->localizedDescription});
        co_await clock.delay(2s, this);
        error = service->registerService();
    }
    if (error)
        log().error("Failed to register ZorAgent: %{public}s", {error->localizedDescription});
    else
        log().info("ZorAgent registered successfully");
    co_await clock.delay(2s, this);
    setAgentStatus(co_await probeAgent());
    reportStatus();
}

std::shared_ptr<SystemExtensionDelegate>
SetupModel::submitExtensionRequest(SystemExtensionDelegate::Completion completion) {
    // The system holds the delegate weakly; this one lives until the next request.
    extensionDelegate = std::make_shared<SystemExtensionDelegate>(std::move(completion));
    extensions.submitActivationRequest(QString::fromLatin1(kNetworkExtensionBundleId),
                                       extensionDelegate);
    log().info("Submitted network extension activation request");
    return extensionDelegate;
}

void SetupModel::activateNetworkExtension() {
    submitExtensionRequest([model = QPointer<SetupModel>(this)](const auto& result) {
        if (model)
            model->handleActivationResult(result);
    });
}

void SetupModel::handleActivationResult(const SystemExtensionDelegate::Result& result) {
    using Kind = SystemExtensionDelegate::Result::Kind;
    switch (result.kind) {
    case Kind::success:
        log().info("Network extension activated successfully");
        finishActivation();
        return;
    case Kind::needsReboot:
        log().info("Network extension requires reboot to complete replacement");
        setNEStatus(NEStatus::needSystemReboot);
        return;
    case Kind::requiresApproval:
        log().info("Network extension requires user approval");
        setNEStatus(NEStatus::needAuthForNetworkExtension);
        return;
    case Kind::failure:
        log().error("Network extension activation failed: %s",
                    {result.error.value_or(PlatformError{}).localizedDescription});
        setNEStatus(NEStatus::cannotConnect);
        return;
    }
}

QCoro::Task<> SetupModel::finishActivation() {
    co_await enableFilterConfiguration(this, filter);
    co_await clock.delay(2s, this);
    setNEStatus(co_await probeNetworkExtension());
    reportStatus();
}

} // namespace zor
