#pragma once

#include "platform/Clock.h"

#include <QList>
#include <QPointer>
#include <atomic>

namespace zor::testing {

// A clock that moves only when the test says so. Timers fire inside advance(),
// in due order, on the thread that calls advance() (the main thread).
class VirtualClock final : public Clock {
public:
    Millis now() const override;
    TimerId schedule(Millis delay, QObject* context, std::function<void()> fn) override;
    void cancel(TimerId id) override;
    bool isPending(TimerId id) const override;
    // Moves time on; fires nothing.
    void sleep(Millis duration) override;
    // Blocks until the semaphore is released or advance() passes the deadline.
    bool tryAcquire(QSemaphore& semaphore, Millis timeout) override;

    // Moves time on by `duration`, firing due timers and delivering posted events.
    void advance(Millis duration);
    // Moves time to the next pending timer and fires it; false when none is pending.
    bool advanceToNextTimer();

    int pendingTimerCount() const;
    // Threads blocked in tryAcquire right now, their deadline set.
    int waitingCount() const { return waiters.load(); }
    // Times a thread in tryAcquire read the clock and found its deadline ahead.
    int deadlineAheadCount() const { return deadlinesAhead.load(); }
    // Delay from now to the earliest pending timer, if any.
    std::optional<Millis> nextTimerIn() const;

private:
    struct Timer {
        TimerId id;
        Millis due;
        QPointer<QObject> context;
        std::function<void()> fn;
    };
    bool fireNextDueBy(Millis limit);

    std::atomic<qint64> currentMs{0};
    std::atomic<int> waiters{0};
    std::atomic<int> deadlinesAhead{0};
    TimerId lastId = 0;
    QList<Timer> timers;
};

} // namespace zor::testing
