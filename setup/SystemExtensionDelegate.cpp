#include "setup/SystemExtensionDelegate.h"

#include "setup/SetupLog.h"

namespace zor {

ReplacementAction
SystemExtensionDelegate::actionForReplacingExtension(const ExtensionProperties& existing,
                                                     const ExtensionProperties& replacement) {
    setupLog().info("Replacing existing extension %s with %s",
                    {existing.bundleVersion, replacement.bundleVersion});
    return ReplacementAction::replace;
}

void SystemExtensionDelegate::requestNeedsUserApproval() {
    setupLog().info("Network extension requires user approval in System Settings");
    completion({Result::Kind::requiresApproval, std::nullopt});
}

void SystemExtensionDelegate::requestDidFinish(RequestResult result) {
    switch (result) {
    case RequestResult::completed:
        setupLog().info("Network extension activation completed");
        completion({Result::Kind::success, std::nullopt});
        return;
    case RequestResult::willCompleteAfterReboot:
        setupLog().info("Network extension will complete after reboot");
        completion({Result::Kind::needsReboot, std::nullopt});
        return;
    }
    // The system may add results; an unknown one is treated as done.
    setupLog().error("Unknown result: %s", {QString::number(int(result))});
    completion({Result::Kind::success, std::nullopt});
}

void SystemExtensionDelegate::requestDidFail(const PlatformError& error) {
    // With the code: descriptions alone do not tell the system's failures apart.
    setupLog().error("Network extension request failed: %s",
                     {error.localizedDescription + QStringLiteral(" (code ") +
                      QString::number(error.code) + u')'});
    completion({Result::Kind::failure, error});
}

} // namespace zor
