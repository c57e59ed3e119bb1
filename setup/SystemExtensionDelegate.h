#pragma once

#include "platform/SystemExtensions.h"

#include <functional>
#include <optional>

namespace zor {

// The delegate of one system-extension request from the setup screen. It logs
// each answer of the system and hands it on; a request may report approval
// first and finish later, and every report reaches the completion.
class SystemExtensionDelegate final : public SystemExtensionRequestDelegate {
public:
    struct Result {
        enum class Kind { failure, success, needsReboot, requiresApproval };
        Kind kind = Kind::success;
        std::optional<PlatformError> error; // set for failure
    };
    using Completion = std::function<void(const Result&)>;

    explicit SystemExtensionDelegate(Completion completion)
        : completion(std::move(completion)) {}

    ReplacementAction actionForReplacingExtension(const ExtensionProperties& existing,
                                                  const ExtensionProperties& replacement) override;
    void requestNeedsUserApproval() override;
    void requestDidFinish(RequestResult result) override;
    void requestDidFail(const PlatformError& error) override;

    Completion completion;
};

} // namespace zor
