#include "setup/AgentProbe.h"

#include "platform/ServiceManagement.h"
#include "setup/BuildNumberMatch.h"

namespace zor {

AgentStatus checkAgent(const BuildNumberQuery& buildNumber, const ServiceManagement& services) {
    const std::optional<QString> reported = buildNumber();
    if (!reported)
        return services.isSupported() ? AgentStatus::cannotConnect : AgentStatus::unsupported;
    return isCurrentBuildNumber(*reported) ? AgentStatus::ok : AgentStatus::staleVersion;
}

} // namespace zor
