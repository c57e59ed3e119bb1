#pragma once

#include <QString>
#include <QUrl>

namespace zor {

// The file URL of a local path. A path of the agent's may begin with two
// slashes, which the system reads as one: as a URL they would name a host.
inline QUrl localFileUrl(QString path) {
    while (path.startsWith(QLatin1String("//")))
        path.remove(0, 1);
    return QUrl::fromLocalFile(path);
}

} // namespace zor
