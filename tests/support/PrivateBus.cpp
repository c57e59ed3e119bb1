#include "PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>

namespace zor::testing {

QStringList activatableNames(const QDBusConnection& bus) {
    const QDBusReply<QStringList> reply =
        bus.interface()->call(QStringLiteral("ListActivatableNames"));
    return reply.isValid() ? reply.value() : QStringList{reply.error().message()};
}

} // namespace zor::testing
