// The two screen-wide flows: Restart Services and Stop All Services.

#include "platform/Clock.h"
#include "platform/ServiceManagement.h"
#include "setup/CompletionAwaiter.h"
#include "setup/ServiceMonitor.h"
#include "setup/ServiceRepairs.h"
#include "setup/SetupLog.h"

namespace zor {

using namespace std::chrono_literals;

void ServiceRepairs::restartServices() {
    setupLog().info("User clicked Restart Services button");
    runFlow(Flow::restart);
}

void ServiceRepairs::stopAllServices() {
    setupLog().info("User clicked Stop All Services button");
    runFlow(Flow::stop);
}

// Shows the flow as running, keeps the error that ended it, and ends with a
// full check either way.
QCoro::Task<> ServiceRepairs::runFlow(Flow flow) {
    const bool isRestart = flow == Flow::restart;
    FlowState& state = isRestart ? restart : stop;
    ++state.running;
    state.error.clear();
    emit flowsChanged();
    MaybeError error;
    if (isRestart)
        error = co_await restartSteps();
    else
        error = co_await stopSteps();
    state.error = error ? error->localizedDescription : QString();
    if (error)
        setupLog().error(isRestart ? "Restart failed: %s" : "Stop all failed: %s", {state.error});
    --state.running;
    emit flowsChanged();
    monitor.checkAll();
}

// Both flows begin so; the first error ends them.
QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::unregisterBoth(Flow flow) {
    const bool isRestart = flow == Flow::restart;
    const auto daemon = daemonService();
    const auto agent = agentService();
    setupLog().info(isRestart ? "Restart: deregistering daemon" : "Stop all: deregistering daemon");
    if (auto error = co_await unregister(*daemon))
        co_return error;
    setupLog().info(isRestart ? "Restart: deregistering agent" : "Stop all: deregistering agent");
    co_return co_await unregister(*agent);
}

QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::restartSteps() {
    if (auto error = co_await unregisterBoth(Flow::restart))
        co_return error;
    setupLog().info("Restart: replacing network extension");
    if (auto error = co_await replaceNetworkExtension())
        co_return error;
    co_await clock.delay(1s, this);

    setupLog().info("Restart: registering daemon");
    if (auto error = daemonService()->registerService())
        co_return error;
    setupLog().info("Restart: registering agent");
    if (auto error = agentService()->registerService())
        co_return error;
    co_await clock.delay(2s, this);
    setupLog().info("Restart: complete");
    co_return std::nullopt;
}

// The first outcome of the request decides; only a failure ends the restart.
QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::replaceNetworkExtension() {
    using Result = SystemExtensionDelegate::Result;
    // Held here too, so that a newer request cannot drop it while we wait.
    std::shared_ptr<SystemExtensionDelegate> request;
    const Result result = co_await awaitCompletion<Result>(
        this, [this, &request](auto done) { request = submitExtensionRequest(std::move(done)); });
    switch (result.kind) {
    case Result::Kind::success:
        setupLog().info("Restart: network extension replaced successfully");
        break;
    case Result::Kind::requiresApproval:
        setupLog().info("Restart: network extension replacement requires approval");
        break;
    case Result::Kind::needsReboot:
        setupLog().info("Restart: network extension replacement needs reboot");
        break;
    case Result::Kind::failure: {
        const PlatformError error = result.error.value_or(PlatformError{});
        setupLog().error("Restart: network extension replacement failed: %s",
                         {error.localizedDescription});
        co_return error;
    }
    }
    co_return std::nullopt;
}

// The extension, its filter and the link stay as they are.
QCoro::Task<ServiceRepairs::MaybeError> ServiceRepairs::stopSteps() {
    if (auto error = co_await unregisterBoth(Flow::stop))
        co_return error;
    co_await clock.delay(1s, this);
    co_return std::nullopt;
}

} // namespace zor
