#pragma once

#include "platform/SystemExtensions.h"

namespace zor {

// Activation requests for system extensions of the app's bundle.
class MacSystemExtensionManager final : public SystemExtensionManager {
public:
    void submitActivationRequest(const QString& bundleIdentifier,
                                 std::weak_ptr<SystemExtensionRequestDelegate> delegate) override;
};

} // namespace zor
