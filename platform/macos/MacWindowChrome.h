#pragma once

#include "platform/WindowChrome.h"

namespace zor {

// A tall, transparent title bar over the content, its buttons at fixed places,
// kept so through resizes, full screen and style changes.
class MacWindowChrome final : public WindowChrome {
public:
    void styleMainWindow(QWindow& window) override;
    qreal tabRowLeadingPadding() const override;
    // Qt fills the menu bar's app menu, Quit and its Command-Q included.
    bool hasSystemMenuBar() const override { return true; }
};

} // namespace zor
