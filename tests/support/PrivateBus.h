#pragma once

#include <QDBusConnection>
#include <QStringList>

namespace zor::testing {

// The names the bus starts a service for on demand. On the bus that ctest
// starts for a test (private-session-bus.conf) that is only the bus itself,
// whatever the machine has installed.
QStringList activatableNames(const QDBusConnection& bus);

} // namespace zor::testing
