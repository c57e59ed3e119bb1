#include "platform/macos/SystemValues.h"

namespace zor {

ServiceStatus serviceStatusFromSystem(long status) {
    switch (status) {
    case 0:
        return ServiceStatus::notRegistered;
    case 1:
        return ServiceStatus::enabled;
    case 2:
        return ServiceStatus::requiresApproval;
    default:
        return ServiceStatus::notFound;
    }
}

RequestResult requestResultFromSystem(long result) {
    return static_cast<RequestResult>(result);
}

long replacementActionToSystem(ReplacementAction action) {
    switch (action) {
    case ReplacementAction::replace:
        return 1;
    case ReplacementAction::cancel:
        break;
    }
    return 0;
}

PlatformError errorFromSystem(const QString& localizedDescription, long code) {
    return PlatformError{localizedDescription.isEmpty() ? QStringLiteral("Unknown error")
                                                        : localizedDescription,
                         int(code)};
}

} // namespace zor
