#include "platform/macos/MacServiceManagement.h"

#include "platform/macos/SystemValues.h"

#import <ServiceManagement/ServiceManagement.h>

namespace zor {
namespace {

PlatformError errorFrom(NSError* _Nullable error) {
    return errorFromSystem(QString::fromNSString(error.localizedDescription), long(error.code));
}

class SystemAppService final : public AppService {
public:
    explicit SystemAppService(SMAppService* service)
        : service(service) {}

    ServiceStatus status() override { return serviceStatusFromSystem(long(service.status)); }

    std::optional<PlatformError> registerService() override {
        NSError* error = nil;
        if ([service registerAndReturnError:&error])
            return std::nullopt;
        return errorFrom(error);
    }

    std::optional<PlatformError> unregisterService() override {
        NSError* error = nil;
        if ([service unregisterAndReturnError:&error])
            return std::nullopt;
        return errorFrom(error);
    }

    void unregisterService(Completion completion) override {
        [service unregisterWithCompletionHandler:^(NSError* _Nullable error) {
          completion(error ? std::optional<PlatformError>(errorFrom(error)) : std::nullopt);
        }];
    }

private:
    SMAppService* const service;
};

} // namespace

std::unique_ptr<AppService> MacServiceManagement::daemonService(const QString& plistName) {
    return std::make_unique<SystemAppService>(
        [SMAppService daemonServiceWithPlistName:plistName.toNSString()]);
}

std::unique_ptr<AppService> MacServiceManagement::agentService(const QString& plistName) {
    return std::make_unique<SystemAppService>(
        [SMAppService agentServiceWithPlistName:plistName.toNSString()]);
}

} // namespace zor
