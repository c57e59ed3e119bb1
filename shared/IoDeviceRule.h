#pragma once

#include "shared/PolicyAction.h"

#include <QString>

namespace zor {

// Opening devices of one I/O Kit class.
struct IoDeviceRule {
    QString deviceClass;
    PolicyAction action = PolicyAction::deny;

    bool operator==(const IoDeviceRule&) const = default;
};

} // namespace zor
