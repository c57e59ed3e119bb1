#pragma once

#include "shared/DaemonConnection.h"

#include <memory>

namespace zor {

// The sandbox daemon's client over XPC, to the daemon's privileged Mach
// service. Each call waits a bounded time for the daemon's answer.
class XpcDaemonConnection final : public DaemonConnection {
public:
    XpcDaemonConnection();
    ~XpcDaemonConnection() override;

    std::optional<DaemonStatusRecord> getStatus() override;
    bool pingNetworkExtension(std::optional<double> timeoutSeconds) override;
    std::optional<QString> getNetworkExtensionBuildNumber() override;

private:
    struct Link;
    std::shared_ptr<Link> link;
};

} // namespace zor
