#pragma once

#include "platform/AgentConnection.h"

namespace zor {

// Connects to the agent's local socket (see agentSocketName).
class LocalAgentConnector final : public AgentConnector {
public:
    std::shared_ptr<AgentConnection>
    connectToService(const QString& serviceName, ZorAppCallbackProtocol& exportedObject) override;
};

} // namespace zor
