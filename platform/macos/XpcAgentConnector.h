#pragma once

#include "platform/AgentConnection.h"

namespace zor {

// Connects to the agent's Mach service over XPC.
class XpcAgentConnector final : public AgentConnector {
public:
    std::shared_ptr<AgentConnection>
    connectToService(const QString& serviceName, ZorAppCallbackProtocol& exportedObject) override;
};

} // namespace zor
