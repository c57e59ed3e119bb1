#pragma once

#include <functional>

namespace zor {

// The system's request to show the app again, as macOS makes it when the user
// clicks the app's Dock icon.
class AppReopen {
public:
    using Handler = std::function<void(bool hasVisibleWindows)>;

    virtual ~AppReopen() = default;
    // Needs the application object; `handler` runs on the main thread.
    virtual void setHandler(Handler handler) = 0;
};

// Where the system makes no such request; a later start asks for the window instead.
class NoAppReopen final : public AppReopen {
public:
    void setHandler(Handler) override {}
};

} // namespace zor
