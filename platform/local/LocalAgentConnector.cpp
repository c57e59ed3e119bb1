#include "platform/local/LocalAgentConnector.h"

#include "platform/local/LocalAgentConnection.h"
#include "platform/local/LocalAgentMessages.h"

namespace zor {

std::shared_ptr<AgentConnection>
LocalAgentConnector::connectToService(const QString& serviceName,
                                      ZorAppCallbackProtocol& exportedObject) {
    return LocalAgentConnection::create(local::agentSocketPlace(serviceName), exportedObject,
                                        clock);
}

} // namespace zor
