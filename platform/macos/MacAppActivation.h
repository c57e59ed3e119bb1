#pragma once

#include "platform/AppActivation.h"

namespace zor {

// Brings the whole app forward through NSApplication.
class MacAppActivation final : public AppActivation {
public:
    bool activateIgnoringOtherApps() override;
};

} // namespace zor
