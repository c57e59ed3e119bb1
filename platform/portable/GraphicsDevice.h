#pragma once

#include <QString>

namespace zor {

// Whether the system has a graphics device for programs to draw with: a DRM
// node in `deviceDirectory`. Without one, OpenGL is emulated on the processor.
bool hasGraphicsDevice(const QString& deviceDirectory = QStringLiteral("/dev/dri"));

} // namespace zor
