#pragma once

#include "prompts/WindowPresence.h"

namespace zor {

// The main window, once there is one, as the window manager knows it.
class MainWindowPresence final : public WindowPresence {
public:
    bool isInFront() const override;
};

} // namespace zor
