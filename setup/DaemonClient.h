#pragma once

namespace zor {

class DaemonConnection;

// Holds the one client of the sandbox daemon; every daemon and extension probe
// goes through its connection. Tests build their own around a fake.
class DaemonClient {
public:
    explicit DaemonClient(DaemonConnection& connection)
        : connection(connection) {}

    // The process-wide client on the system's connection, created on first use.
    static DaemonClient& shared();

    DaemonConnection& connection;
};

} // namespace zor
