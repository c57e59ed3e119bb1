#pragma once

#include "setup/ServiceStatus.h"

#include <QString>
#include <functional>
#include <optional>

namespace zor {

// Asks the notification agent for its build number; nothing when it cannot be
// reached. Blocks for up to its own time-out.
using BuildNumberQuery = std::function<std::optional<QString>()>;

class ServiceManagement;

// An agent that does not answer is unsupported where no service manager could
// register it. Blocks: run it on a worker.
AgentStatus checkAgent(const BuildNumberQuery& buildNumber, const ServiceManagement& services);

} // namespace zor
