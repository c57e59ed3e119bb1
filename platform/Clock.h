#pragma once

#include <QObject>
#include <chrono>
#include <coroutine>
#include <functional>

class QSemaphore;

namespace zor {

using Millis = std::chrono::milliseconds;

// Every pause and timer of the app goes through a Clock, so that tests can run
// the flows in virtual time.
class Clock {
public:
    using TimerId = quint64;

    virtual ~Clock() = default;

    // Monotonic time since an arbitrary origin.
    virtual Millis now() const = 0;

    // Runs `fn` once, on the main thread, after `delay`; dropped if `context`
    // is gone by then. Must be called on the main thread.
    virtual TimerId schedule(Millis delay, QObject* context, std::function<void()> fn) = 0;

    // Stops a pending timer; a timer that already fired or was cancelled is ignored.
    virtual void cancel(TimerId id) = 0;

    virtual bool isPending(TimerId id) const = 0;

    // Blocks the calling thread.
    virtual void sleep(Millis duration) = 0;

    // Waits at most `timeout` for one unit of `semaphore`; true when acquired.
    virtual bool tryAcquire(QSemaphore& semaphore, Millis timeout) = 0;

    // Awaitable pause for a coroutine on the main thread. The coroutine is not
    // resumed if `context` is destroyed first.
    auto delay(Millis duration, QObject* context) {
        struct Awaiter {
            Clock& clock;
            Millis duration;
            QObject* context;
            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> handle) {
                clock.schedule(duration, context, [handle] { handle.resume(); });
            }
            void await_resume() const noexcept {}
        };
        return Awaiter{*this, duration, context};
    }
};

// The real monotonic clock, backed by Qt timers.
Clock& systemClock();

} // namespace zor
