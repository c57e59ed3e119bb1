#pragma once

namespace zor {

// Brings the application as a whole in front of whatever the user is working in.
class AppActivation {
public:
    virtual ~AppActivation() = default;
    // Nothing where the system has no such thing. It shows no window that
    // was closed or minimised: the caller brings its main window back itself.
    virtual void activateIgnoringOtherApps() = 0;
};

} // namespace zor
