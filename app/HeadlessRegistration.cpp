#include "app/HeadlessRegistration.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/FileManager.h"
#include "platform/Log.h"
#include "platform/MainThread.h"
#include "platform/NetworkFilter.h"
#include "platform/ServiceManagement.h"

#include <QFileInfo>

namespace zor {
namespace {

using namespace std::chrono_literals;
using Result = HeadlessExtensionDelegate::Result;

constexpr Millis kPauseAfterUnregistering = 500ms;
constexpr Millis kPauseBeforeAgentRetry = 1000ms;

const Logger& appLog() {
    return logger(LogCategory::app);
}

// The existence tests follow links, so a dangling link at the link path is
// left in place and the link creation then fails on it.
std::optional<PlatformError> linkCommandLineTool(FileManager& files, const CliLinkPaths& paths) {
    if (files.fileExists(paths.linkPath))
        if (auto error = files.removeItem(paths.linkPath))
            return error;
    if (!files.fileExists(paths.linkDirectory))
        if (auto error = files.createDirectory(paths.linkDirectory))
            return error;
    return files.createSymbolicLink(paths.linkPath, paths.linkTarget);
}

// The printed line for each outcome of the activation request.
QString resultLine(const Result& result) {
    switch (result.kind) {
    case Result::Kind::failure:
        return QStringLiteral("Network Extension: failed - ") +
               result.error.value_or(PlatformError{}).localizedDescription;
    case Result::Kind::success:
        return QStringLiteral("Network Extension: activated/updated");
    case Result::Kind::needsReboot:
        return QStringLiteral(
            "Network Extension: replaced \u2014 reboot required to complete the update");
    case Result::Kind::requiresApproval:
        return QStringLiteral("Network Extension: requires approval in System Settings");
    }
    return {};
}

} // namespace

HeadlessRegistration::HeadlessRegistration(Services services, CliLinkPaths linkPaths,
                                           QString runningProgram)
    : services(services)
    , linkPaths(std::move(linkPaths))
    , runningProgram(std::move(runningProgram)) {}

void HeadlessRegistration::start() {
    requireMainThread("HeadlessRegistration::start");
    bool overallSuccess = registerDaemon();
    if (!registerAgent())
        overallSuccess = false;
    // A missing link does not fail the run.
    createCliLink();
    requestExtensionActivation(overallSuccess);
}

void HeadlessRegistration::unregisterIfRegistered(AppService& service) {
    if (service.status() == ServiceStatus::notRegistered)
        return;
    // An unregistration error is of no consequence: the registration reports what matters.
    service.unregisterService();
    services.clock.sleep(kPauseAfterUnregistering);
}

bool HeadlessRegistration::registerDaemon() {
    const auto daemon =
        services.serviceManagement.daemonService(QString::fromUtf8(kDaemonPlistName));
    unregisterIfRegistered(*daemon);
    if (const auto error = daemon->registerService()) {
        appLog().error("Failed to register daemon: %{public}s", {error->localizedDescription});
        services.console.printLine(QStringLiteral("Daemon: failed - ") +
                                   error->localizedDescription);
        return false;
    }
    appLog().info("Daemon registered successfully");
    services.console.printLine(QStringLiteral("Daemon: registered"));
    return true;
}

bool HeadlessRegistration::registerAgent() {
    const auto agent = services.serviceManagement.agentService(QString::fromUtf8(kAgentPlistName));
    unregisterIfRegistered(*agent);
    auto error = agent->registerService();
    if (error) {
        appLog().error("Initial agent registration failed, retrying: %{public}s",
                       {error->localizedDescription});
        services.console.printLine(QStringLiteral("ZorAgent: retrying registration..."));
        agent->unregisterService();
        services.clock.sleep(kPauseBeforeAgentRetry);
        error = agent->registerService();
    }
    if (error) {
        appLog().error("Failed to register ZorAgent: %{public}s", {error->localizedDescription});
        services.console.printLine(QStringLiteral("ZorAgent: failed - ") +
                                   error->localizedDescription);
        return false;
    }
    appLog().info("ZorAgent registered successfully");
    services.console.printLine(QStringLiteral("ZorAgent: registered"));
    return true;
}

void HeadlessRegistration::createCliLink() {
    // What lies at the link's path goes only for a link that works. Installed
    // under /usr/local elsewhere than on macOS, this program itself is what
    // lies there (a link to it goes, as any link does); and where the tool is
    // not where the link would point (no app in /Applications yet), a link
    // would replace a working command with one that leads nowhere. With
    // nothing there, the link is made all the same: it works once the app is
    // in place.
    QString reason;
    if (const QFileInfo existing(linkPaths.linkPath); existing.exists()) {
        if (!existing.isSymLink() &&
            existing.canonicalFilePath() == QFileInfo(runningProgram).canonicalFilePath())
            reason = linkPaths.linkPath + QStringLiteral(" is this program itself");
        else if (!QFileInfo::exists(linkPaths.linkTarget))
            reason = linkPaths.linkTarget + QStringLiteral(" does not exist");
    }
    if (!reason.isEmpty()) {
        appLog().error("Failed to create CLI symlink: %s", {reason});
        services.console.printLine(QStringLiteral("CLI symlink: failed - ") + reason);
        return;
    }
    if (const auto error = linkCommandLineTool(services.fileManager, linkPaths)) {
        appLog().error("Failed to create CLI symlink: %s", {error->localizedDescription});
        services.console.printLine(QStringLiteral("CLI symlink: failed - ") +
                                   error->localizedDescription +
                                   QStringLiteral(" (may need sudo)"));
        return;
    }
    appLog().info("CLI symlink created at %s", {linkPaths.linkPath});
    services.console.printLine(QStringLiteral("CLI symlink: created"));
}

void HeadlessRegistration::requestExtensionActivation(bool overallSuccess) {
    services.console.printLine(QStringLiteral("Network Extension: requesting activation..."));
    extensionDelegate = std::make_shared<HeadlessExtensionDelegate>(
        services.console,
        [this](const Result& result, bool flag) { handleExtensionResult(result, flag); },
        overallSuccess);
    services.extensionManager.submitActivationRequest(QString::fromUtf8(kNetworkExtensionBundleId),
                                                      extensionDelegate);
}

void HeadlessRegistration::handleExtensionResult(const Result& result, bool overallSuccess) {
    services.console.printLine(resultLine(result));
    // Only an active extension goes on to the filter; every other outcome ends
    // the run here and leaves the request with the system.
    if (result.kind == Result::Kind::success)
        enableFilter(overallSuccess);
    else
        exitWith(overallSuccess);
}

void HeadlessRegistration::enableFilter(bool overallSuccess) {
    FilterManager& filter = services.filterManager;
    filter.loadFromPreferences([this, &filter, overallSuccess](std::optional<PlatformError> error) {
        if (error) {
            appLog().error("Failed to load filter preferences: %s", {error->localizedDescription});
            reportFilter(false, overallSuccess);
            return;
        }
        // A configuration that exists was set up by someone on purpose: keep it.
        if (!filter.providerConfiguration()) {
            filter.setProviderConfiguration(
                FilterProviderConfiguration{.filterSockets = true, .filterPackets = false});
            filter.setLocalizedDescription(QString::fromUtf8(kFilterDescription));
        }
        filter.setEnabled(true);
        filter.saveToPreferences([this, overallSuccess](std::optional<PlatformError> saveError) {
            if (saveError) {
                appLog().error("Failed to enable filter: %s", {saveError->localizedDescription});
                reportFilter(false, overallSuccess);
                return;
            }
            appLog().info("Network filter enabled successfully");
            reportFilter(true, overallSuccess);
        });
    });
}

void HeadlessRegistration::reportFilter(bool isEnabled, bool overallSuccess) {
    services.console.printLine(isEnabled ? QStringLiteral("Network Filter: enabled")
                                         : QStringLiteral("Network Filter: failed to enable"));
    exitWith(overallSuccess);
}

void HeadlessRegistration::exitWith(bool overallSuccess) {
    services.console.exit(overallSuccess ? 0 : 1);
}

} // namespace zor
