#pragma once

#include "platform/AgentConnection.h"
#include "platform/Clock.h"

namespace zor {

// Connects to the agent's local socket (see agentSocketPlace), keeping each
// connection's reply deadlines on `clock`.
class LocalAgentConnector final : public AgentConnector {
public:
    explicit LocalAgentConnector(Clock& clock)
        : clock(clock) {}

    std::shared_ptr<AgentConnection>
    connectToService(const QString& serviceName, ZorAppCallbackProtocol& exportedObject) override;

private:
    Clock& clock;
};

} // namespace zor
