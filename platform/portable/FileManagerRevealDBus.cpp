#include "platform/portable/FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace zor {
namespace {

// A file manager that is started by the call needs a moment; beyond this the
// folder opens instead.
constexpr int kShowItemsTimeoutMs = 5000;

} // namespace

// The freedesktop.org file-manager interface, which the common desktops' file
// managers serve; where none does, the folder opens in the default way.
void showInFileManager(const QString& filePath) {
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(filePath).absolutePath());
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(filePath).toString(QUrl::FullyEncoded)} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, kShowItemsTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [folder](QDBusPendingCallWatcher* finished) {
                         if (finished->isError())
                             QDesktopServices::openUrl(folder);
                         finished->deleteLater();
                     });
}

} // namespace zor
