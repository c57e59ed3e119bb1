#include "platform/Log.h"
#include "platform/portable/FileManagerReveal.h"
#include "platform/portable/LocalFileUrl.h"

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

// Where no file manager selects the file, its folder opens in the desktop's
// default way; each step that fails leaves a line, as nothing else shows it.
void openFolderInstead(const QString& filePath, const QString& reason) {
    const Logger& log = logger(LogCategory::promptsView);
    log.error("No file manager answered (%{public}s): opening the folder of %s instead",
              {reason, filePath});
    if (!QDesktopServices::openUrl(localFileUrl(QFileInfo(filePath).absolutePath())))
        log.error("Could not open the folder of %s either", {filePath});
}

} // namespace

// The freedesktop.org file-manager interface, which the common desktops' file
// managers serve.
void showInFileManager(const QString& filePath) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolderInstead(filePath, QStringLiteral("no session bus"));
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{localFileUrl(filePath).toString(QUrl::FullyEncoded)} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, kShowItemsTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [filePath](QDBusPendingCallWatcher* finished) {
                         if (finished->isError())
                             openFolderInstead(filePath, finished->error().name());
                         finished->deleteLater();
                     });
}

} // namespace zor
