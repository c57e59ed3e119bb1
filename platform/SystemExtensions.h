#pragma once

#include "platform/PlatformError.h"

#include <QString>
#include <memory>

namespace zor {

enum class ReplacementAction { cancel = 0, replace = 1 };

// How a request finished, with the system's raw values; other values can arrive.
enum class RequestResult : int { completed = 0, willCompleteAfterReboot = 1 };

struct ExtensionProperties {
    QString bundleIdentifier;
    QString bundleVersion;
    QString bundleShortVersion;
};

// Receives the outcome of one system-extension request, on the main thread.
// A request may report approval first and finish later.
class SystemExtensionRequestDelegate {
public:
    virtual ~SystemExtensionRequestDelegate() = default;

    virtual ReplacementAction
    actionForReplacingExtension(const ExtensionProperties& existing,
                                const ExtensionProperties& replacement) = 0;
    virtual void requestNeedsUserApproval() = 0;
    virtual void requestDidFinish(RequestResult result) = 0;
    virtual void requestDidFail(const PlatformError& error) = 0;
};

class SystemExtensionManager {
public:
    virtual ~SystemExtensionManager() = default;

    // Submits an activation request. The delegate is held weakly, as the system
    // does: its owner keeps it alive for as long as the request matters.
    virtual void
    submitActivationRequest(const QString& bundleIdentifier,
                            std::weak_ptr<SystemExtensionRequestDelegate> delegate) = 0;
};

} // namespace zor
