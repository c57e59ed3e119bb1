#include "FakeNotificationServer.h"

#include <QDBusMessage>

namespace zor::testing {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

} // namespace

FakeNotificationServer::FakeNotificationServer(QDBusConnection bus, QStringList capabilities)
    : bus(bus)
    , capabilities(std::move(capabilities)) {
    isRegistered = this->bus.registerObject(kPath, this, QDBusConnection::ExportAllSlots) &&
                   this->bus.registerService(kService);
}

FakeNotificationServer::~FakeNotificationServer() {
    bus.unregisterService(kService);
    bus.unregisterObject(kPath);
}

void FakeNotificationServer::invoke(uint id, const QString& actionKey) {
    QDBusMessage signal =
        QDBusMessage::createSignal(kPath, kService, QStringLiteral("ActionInvoked"));
    signal << id << actionKey;
    bus.send(signal);
}

} // namespace zor::testing
