#pragma once

#include <QtGlobal>

class QWindow;

namespace zor {

// The main window's title bar. On macOS the window's own buttons sit inside a
// taller, transparent title bar drawn over the content; elsewhere the window
// manager draws the title bar outside the window.
class WindowChrome {
public:
    virtual ~WindowChrome() = default;
    // Called once the window exists, before it is first shown.
    virtual void styleMainWindow(QWindow& window) = 0;
    // The room the tab row leaves at its leading end for the window's buttons.
    virtual qreal tabRowLeadingPadding() const = 0;
    // Whether the system shows the app's menu, with its Quit, in a menu bar of
    // its own; where it does not, the window carries the menu.
    virtual bool hasSystemMenuBar() const = 0;
};

} // namespace zor
