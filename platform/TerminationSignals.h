#pragma once

#include <functional>

namespace zor {

// The system's requests that the app end: a service manager's stop, Ctrl+C in
// the terminal that started it, the end of that terminal or of the session.
class TerminationSignals {
public:
    virtual ~TerminationSignals() = default;
    // Called once, on the main thread, once the application object exists.
    // The first request then runs `onRequest` on the main thread instead of
    // ending the process; a later one ends it at once, so that an ending that
    // hangs can still be stopped. A request the process was started to ignore
    // (nohup, a background job) stays ignored.
    virtual void watch(std::function<void()> onRequest) = 0;
};

} // namespace zor
