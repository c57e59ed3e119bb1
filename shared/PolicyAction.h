#pragma once

namespace zor {

// What a rule does with a matching access. The values are part of the records
// shared with the services.
enum class PolicyAction { allow = 0, deny = 1 };

} // namespace zor
