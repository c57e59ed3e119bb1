#include "platform/portable/GraphicsDevice.h"

#include <QDir>

namespace zor {

bool hasGraphicsDevice(const QString& deviceDirectory) {
    // "card0" for the display, "renderD128" for drawing alone.
    return !QDir(deviceDirectory)
                .entryList({QStringLiteral("card*"), QStringLiteral("renderD*")},
                           QDir::Files | QDir::System)
                .isEmpty();
}

} // namespace zor
