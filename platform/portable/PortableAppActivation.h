#pragma once

#include "platform/AppActivation.h"

namespace zor {

// Window systems activate windows, not applications.
class PortableAppActivation final : public AppActivation {
public:
    bool activateIgnoringOtherApps() override { return false; }
};

} // namespace zor
