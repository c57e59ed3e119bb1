#pragma once

#include "platform/AppActivation.h"

namespace zor {

// Window systems activate windows, not applications.
class PortableAppActivation final : public AppActivation {
public:
    void activateIgnoringOtherApps() override {}
};

} // namespace zor
