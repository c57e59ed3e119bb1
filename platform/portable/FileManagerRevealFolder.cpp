#include "platform/portable/FileManagerReveal.h"
#include "platform/portable/LocalFileUrl.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace zor {

// Where no file-manager interface can be asked to select a file, its folder opens.
void showInFileManager(const QString& filePath) {
    QDesktopServices::openUrl(localFileUrl(QFileInfo(filePath).absolutePath()));
}

} // namespace zor
