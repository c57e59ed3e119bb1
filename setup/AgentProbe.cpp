#include "setup/AgentProbe.h"

#include "setup/BuildNumberMatch.h"

namespace zor {

AgentStatus checkAgent(const BuildNumberQuery& buildNumber) {
    const std::optional<QString> reported = buildNumber();
    if (!reported)
        return AgentStatus::cannotConnect;
    return isCurrentBuildNumber(*reported) ? AgentStatus::ok : AgentStatus::staleVersion;
}

} // namespace zor
