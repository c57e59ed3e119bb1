#pragma once

#include "platform/ServiceManagement.h"

namespace zor {

// Launch daemons and agents of the app's bundle, through SMAppService.
class MacServiceManagement final : public ServiceManagement {
public:
    bool isSupported() const override { return true; }
    std::unique_ptr<AppService> daemonService(const QString& plistName) override;
    std::unique_ptr<AppService> agentService(const QString& plistName) override;
};

} // namespace zor
