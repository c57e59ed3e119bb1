#pragma once

#include "platform/SystemExtensions.h"

#include <functional>
#include <optional>

namespace zor {

class Console;

// The delegate of the headless run's activation request: it turns the system's
// answers into one result for the run, together with the run's success flag.
class HeadlessExtensionDelegate final : public SystemExtensionRequestDelegate {
public:
    struct Result {
        enum class Kind { failure, success, needsReboot, requiresApproval };

        Kind kind = Kind::success;
        // Set for a failure only.
        std::optional<PlatformError> error;
    };

    using Completion = std::function<void(const Result& result, bool overallSuccess)>;

    HeadlessExtensionDelegate(Console& console, Completion completion, bool overallSuccess);

    ReplacementAction actionForReplacingExtension(const ExtensionProperties& existing,
                                                  const ExtensionProperties& replacement) override;
    void requestNeedsUserApproval() override;
    void requestDidFinish(RequestResult result) override;
    void requestDidFail(const PlatformError& error) override;

    const Completion completion;
    // The flag as it stood when the request was submitted.
    const bool overallSuccess;

private:
    Console& console;
};

} // namespace zor
