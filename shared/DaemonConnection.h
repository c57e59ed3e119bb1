#pragma once

#include <QString>
#include <optional>

namespace zor {

// What the sandbox daemon reports about itself.
struct DaemonStatusRecord {
    qint32 esClientResult = 0; // the daemon's Endpoint Security new-client result code
    QString version;
    QString buildNumber;
};

// Client of the privileged sandbox daemon. Every call blocks its caller.
class DaemonConnection {
public:
    virtual ~DaemonConnection() = default;

    // Nothing when the daemon could not be reached.
    virtual std::optional<DaemonStatusRecord> getStatus() = 0;
    // True when the network extension process answered; no timeout means the default one.
    virtual bool pingNetworkExtension(std::optional<double> timeoutSeconds) = 0;
    virtual std::optional<QString> getNetworkExtensionBuildNumber() = 0;
};

} // namespace zor
