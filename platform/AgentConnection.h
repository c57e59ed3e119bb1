#pragma once

#include "platform/PlatformError.h"
#include "shared/ZorAgentProtocol.h"
#include "shared/ZorAppCallbackProtocol.h"

#include <QString>
#include <functional>
#include <memory>

namespace zor {

// One connection to the agent's service, in the manner of an XPC connection.
// Every method may be called from any thread. Handlers, calls of the exported
// object and replies run on the connection's own thread, never on the main thread.
class AgentConnection {
public:
    using Handler = std::function<void()>;
    using ErrorHandler = std::function<void(const PlatformError& error)>;

    virtual ~AgentConnection() = default;

    // An empty handler clears it. The invalidation handler runs once, when the
    // connection can no longer be used: invalidate() was called or the service
    // could not be reached. The interruption handler runs when the service went
    // away from a working connection; the connection stays until invalidated.
    virtual void setInvalidationHandler(Handler handler) = 0;
    virtual void setInterruptionHandler(Handler handler) = 0;

    // Starts connecting. Calls made before are held until the service answers.
    virtual void resume() = 0;

    // Ends the connection for good: pending and later calls get their error
    // handler. Once it returns, the exported object is no longer called.
    virtual void invalidate() = 0;

    // The agent's side. Each call made through the proxy ends in exactly one of
    // its reply or `errorHandler`.
    virtual std::shared_ptr<ZorAgentProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler) = 0;
};

// Creates connections; the one the app uses is picked in Platform.cpp.
class AgentConnector {
public:
    virtual ~AgentConnector() = default;

    // A new, suspended connection to `serviceName` that exports `exportedObject`
    // to the agent. The exported object must outlive the connection's validity.
    virtual std::shared_ptr<AgentConnection>
    connectToService(const QString& serviceName, ZorAppCallbackProtocol& exportedObject) = 0;
};

} // namespace zor
