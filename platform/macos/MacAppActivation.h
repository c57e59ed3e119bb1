#pragma once

#include "platform/AppActivation.h"

namespace zor {

// Brings the whole app forward through NSApplication.
class MacAppActivation final : public AppActivation {
public:
    void activateIgnoringOtherApps() override;
};

} // namespace zor
