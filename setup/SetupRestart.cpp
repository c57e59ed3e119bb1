// The two screen-wide flows: Restart Services and Stop All Services.

#include "platform/Log.h"
#include "platform/ServiceManagement.h"
#include "setup/CompletionAwaiter.h"
#include "setup/SetupModel.h"
#include "shared/Identifiers.h"

namespace zor {

using namespace std::chrono_literals;

namespace {

const Logger& log() {
    return logger(LogCategory::setup);
}

} // namespace

void SetupModel::restartServices() {
    log().info("User clicked Restart Services button");
    isRestartRunning = true;
    lastRestartError.clear();
    emit restartChanged();
    runRestart();
}

QCoro::Task<> SetupModel::runRestart() {
    if (const auto error = co_await restartSteps()) {
        lastRestartError = error->localizedDescription;
        log().error("Restart failed: %s", {lastRestartError});
    }
    isRestartRunning = false;
    emit restartChanged();
    startFullCheck();
}

// Ends at the first error, which it returns.
QCoro::Task<std::optional<PlatformError>> SetupModel::restartSteps() {
    const auto daemonService = services.daemonService(QString::fromLatin1(kDaemonPlistName));
    const auto agentService = services.agentService(QString::fromLatin1(kAgentPlistName));

    log().info("Restart: deregistering daemon");
    if (auto error = co_await unregister(*daemonService))
        co_return error;
    log().info("Restart: deregistering agent");
    if (auto error = co_await unregister(*agentService))
        co_return error;
    log().info("Restart: replacing network extension");
    if (auto error = co_await replaceNetworkExtension())
        co_return error;
    co_await clock.delay(1s, this);

    log().info("Restart: registering daemon");
    if (auto error = daemonService->registerService())
        co_return error;
    log().info("Restart: registering agent");
    if (auto error = agentService->registerService())
        co_return error;
    co_await clock.delay(2s, this);
    log().info("Restart: complete");
    co_return std::nullopt;
}

// The first outcome of the request decides; only a failure ends the restart.
QCoro::Task<std::optional<PlatformError>> SetupModel::replaceNetworkExtension() {
    using Result = SystemExtensionDelegate::Result;
    // Held here too, so that a newer request cannot drop it while we wait.
    std::shared_ptr<SystemExtensionDelegate> request;
    const Result result = co_await awaitCompletion<Result>(
        this, [this, &request](auto done) { request = submitExtensionRequest(std::move(done)); });
    switch (result.kind) {
    case Result::Kind::success:
        log().info("Restart: network extension replaced successfully");
        break;
    case Result::Kind::requiresApproval:
        log().info("Restart: network extension replacement requires approval");
        break;
    case Result::Kind::needsReboot:
        log().info("Restart: network extension replacement needs reboot");
        break;
    case Result::Kind::failure: {
        const PlatformError error = result.error.value_or(PlatformError{});
        log().error("Restart: network extension replacement failed: %s",
                    {error.localizedDescription});
        co_return error;
    }
    }
    co_return std::nullopt;
}

void SetupModel::stopAllServices() {
    log().info("User clicked Stop All Services button");
    isStopRunning = true;
    lastStopError.clear();
    emit stopChanged();
    runStop();
}

QCoro::Task<> SetupModel::runStop() {
    if (const auto error = co_await stopSteps()) {
        lastStopError = error->localizedDescription;
        log().error("Stop all failed: %s", {lastStopError});
    }
    isStopRunning = false;
    emit stopChanged();
    startFullCheck();
}

// The extension, its filter and the link stay as they are.
QCoro::Task<std::optional<PlatformError>> SetupModel::stopSteps() {
    const auto daemonService = services.daemonService(QString::fromLatin1(kDaemonPlistName));
    const auto agentService = services.agentService(QString::fromLatin1(kAgentPlistName));

    log().info("Stop all: deregistering daemon");
    if (auto error = co_await unregister(*daemonService))
        co_return error;
    log().info("Stop all: deregistering agent");
    if (auto error = co_await unregister(*agentService))
        co_return error;
    co_await clock.delay(1s, this);
    co_return std::nullopt;
}

} // namespace zor
