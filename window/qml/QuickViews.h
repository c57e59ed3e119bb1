#pragma once

class QQmlEngine;

namespace zor {

// Picks the Qt Quick Controls style and palette of the app's views; call once the
// application exists, before any QML loads.
void useDesktopControlsStyle();

// Has the windows draw with Qt Quick's software renderer when `isPreferred`,
// unless the environment names a renderer; call before the first window.
void useSoftwareDrawingIf(bool isPreferred);

// Has a worker read the system's fonts while the first window is made, rather
// than the main thread when it lays out that window's first text; call once
// the application exists.
void readFontsAhead();

// Lets `engine` load the Zor module: registers its types once per process and
// adds the resource path that "import Zor" resolves against. Leaves out Qt's
// own resource path where Qt's modules are on disk, as imports look there.
void prepareZorEngine(QQmlEngine& engine);

} // namespace zor
