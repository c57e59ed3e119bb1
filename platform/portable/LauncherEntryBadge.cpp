#include "platform/portable/LauncherEntryBadge.h"

#include "platform/Log.h"
#include "shared/Identifiers.h"

#include <QDBusMessage>
#include <QVariantMap>

namespace zor {

LauncherEntryBadge::LauncherEntryBadge(const QDBusConnection& bus, const QString& desktopEntry)
    : bus(bus)
    , appUri(QStringLiteral("application://") + desktopEntry) {}

void LauncherEntryBadge::setCount(qint64 count) {
    if (!bus.isConnected()) {
        if (!isMissingBusLogged)
            logger(LogCategory::app).info("No session bus: the icon shows no prompt count");
        isMissingBusLogged = true;
        return;
    }
    // Listeners match the interface and member, whatever the path.
    static const QString path = u'/' + QString::fromLatin1(kAppBundleId).replace(u'.', u'/') +
                                QStringLiteral("/LauncherEntry");
    QDBusMessage update = QDBusMessage::createSignal(
        path, QStringLiteral("com.canonical.Unity.LauncherEntry"), QStringLiteral("Update"));
    update << appUri
           << QVariantMap{{QStringLiteral("count"), count},
                          {QStringLiteral("count-visible"), count > 0}};
    bus.send(update);
}

} // namespace zor
