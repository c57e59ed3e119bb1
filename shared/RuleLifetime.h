#pragma once

#include <QString>

namespace zor {

// How long a decision holds. The values are part of the records shared with the services.
enum class RuleLifetime { once = 0, session = 1, always = 2 };

// The text the agent receives and parses: "once", "session", "always".
QString description(RuleLifetime lifetime);

} // namespace zor
