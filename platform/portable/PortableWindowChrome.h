#pragma once

#include "platform/WindowChrome.h"

namespace zor {

// The window manager's title bar, outside the window: nothing to style, and
// the tab row only keeps its ordinary margin.
class PortableWindowChrome final : public WindowChrome {
public:
    void styleMainWindow(QWindow& window) override;
    qreal tabRowLeadingPadding() const override;
};

} // namespace zor
