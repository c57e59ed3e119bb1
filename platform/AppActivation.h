#pragma once

namespace zor {

// Brings the application as a whole in front of whatever the user is working in.
class AppActivation {
public:
    virtual ~AppActivation() = default;
    // False where the system has no such thing; the caller then brings its
    // main window forward itself.
    virtual bool activateIgnoringOtherApps() = 0;
};

} // namespace zor
