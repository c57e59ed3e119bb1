#pragma once

#include "platform/WindowChrome.h"

namespace zor {

// The window manager's title bar, outside the window: nothing to style, and
// the tab row only keeps its ordinary margin. Desktops here give apps no menu bar.
class PortableWindowChrome final : public WindowChrome {
public:
    void styleMainWindow(QWindow& window) override;
    qreal tabRowLeadingPadding() const override;
    bool hasSystemMenuBar() const override { return false; }
};

} // namespace zor
