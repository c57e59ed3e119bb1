#include "setup/SystemExtensionDelegate.h"

#include "platform/Log.h"

namespace zor {
namespace {

const Logger& log() {
    return logger(LogCategory::setup);
}

} // namespace

ReplacementAction
SystemExtensionDelegate::actionForReplacingExtension(const ExtensionProperties& existing,
                                                     const ExtensionProperties& replacement) {
    log().info("Replacing existing extension %s with %s",
               {existing.bundleVersion, replacement.bundleVersion});
    return ReplacementAction::replace;
}

void SystemExtensionDelegate::requestNeedsUserApproval() {
    log().info("Network extension requires user approval in System Settings");
    completion({Result::Kind::requiresApproval, std::nullopt});
}

void SystemExtensionDelegate::requestDidFinish(RequestResult result) {
    switch (result) {
    case RequestResult::completed:
        log().info("Network extension activation completed");
        completion({Result::Kind::success, std::nullopt});
        return;
    case RequestResult::willCompleteAfterReboot:
        log().info("Network extension will complete after reboot");
        completion({Result::Kind::needsReboot, std::nullopt});
        return;
    }
    // The system may add results; an unknown one is treated as done.
    log().error("Unknown result: %s", {QString::number(int(result))});
    completion({Result::Kind::success, std::nullopt});
}

void SystemExtensionDelegate::requestDidFail(const PlatformError& error) {
    log().error("Network extension request failed: %s", {error.localizedDescription});
    completion({Result::Kind::failure, error});
}

} // namespace zor
