#pragma once

#include "shared/Denial.h"
#include "shared/ExecRule.h"
#include "shared/FilesystemRule.h"
#include "shared/IoDeviceRule.h"
#include "shared/NetworkRule.h"
#include "shared/PolicyAction.h"

#include <variant>

namespace zor {

// The rule a decision on a denial stands for; none for a kind that no rule can express.
using PromptRule =
    std::variant<std::monostate, FilesystemRule, ExecRule, NetworkRule, IoDeviceRule>;

// A file denial's operation text must match a known operation exactly, else
// the rule covers every operation. A network rule names the one port, with no
// limits and no paths. Signals give none.
PromptRule ruleForDenial(const Denial& denial, PolicyAction action);

} // namespace zor
