#pragma once

namespace zor {

// Whether the user has the app's window in front of them: shown, not
// minimised, and the active window. The window layer answers.
class WindowPresence {
public:
    virtual ~WindowPresence() = default;
    virtual bool isInFront() const = 0;
};

} // namespace zor
