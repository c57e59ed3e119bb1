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
    registered = this->bus.registerObject(kPath, this, QDBusConnection::ExportAllSlots) &&
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

QStringList FakeNotificationServer::GetCapabilities() {
    ++capabilityQueries;
    if (isFailing)
        sendErrorReply(QDBusError::Failed, QStringLiteral("failing on purpose"));
    return capabilities;
}

uint FakeNotificationServer::Notify(const QString& appName, uint, const QString&,
                                    const QString& summary, const QString& body,
                                    const QStringList& actions, const QVariantMap& hints, int) {
    const uint id = uint(notices.size()) + 1;
    notices.append({id, appName, summary, body, actions, hints});
    return id;
}

} // namespace zor::testing
