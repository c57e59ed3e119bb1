#pragma once

#include "platform/PlatformError.h"

#include <functional>
#include <memory>
#include <optional>

namespace zor {

// Registration state of a launch service, with the system's raw values.
enum class ServiceStatus { notRegistered = 0, enabled = 1, requiresApproval = 2, notFound = 3 };

// One launch daemon or login agent, named by its property list.
class AppService {
public:
    using Completion = std::function<void(std::optional<PlatformError>)>;

    virtual ~AppService() = default;

    virtual ServiceStatus status() = 0;
    // Blocking; nothing on success.
    virtual std::optional<PlatformError> registerService() = 0;
    virtual std::optional<PlatformError> unregisterService() = 0;
    // Asynchronous unregistration; `completion` may run on any thread.
    virtual void unregisterService(Completion completion) = 0;
};

class ServiceManagement {
public:
    virtual ~ServiceManagement() = default;

    // False where the system has no service manager: every service then
    // reports "not supported on this platform".
    virtual bool isSupported() const = 0;
    virtual std::unique_ptr<AppService> daemonService(const QString& plistName) = 0;
    virtual std::unique_ptr<AppService> agentService(const QString& plistName) = 0;
};

} // namespace zor
