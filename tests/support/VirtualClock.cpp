#include "VirtualClock.h"

#include <QCoreApplication>
#include <QScopeGuard>
#include <QSemaphore>
#include <algorithm>

namespace zor::testing {

Millis VirtualClock::now() const {
    return Millis(currentMs.load());
}

Clock::TimerId VirtualClock::schedule(Millis delay, QObject* context, std::function<void()> fn) {
    const TimerId id = ++lastId;
    timers.append(Timer{id, now() + delay, context, std::move(fn)});
    return id;
}

void VirtualClock::cancel(TimerId id) {
    timers.removeIf([id](const Timer& t) { return t.id == id; });
}

bool VirtualClock::isPending(TimerId id) const {
    return std::any_of(timers.begin(), timers.end(), [id](const Timer& t) { return t.id == id; });
}

void VirtualClock::sleep(Millis duration) {
    currentMs += duration.count();
}

bool VirtualClock::tryAcquire(QSemaphore& semaphore, Millis timeout) {
    const qint64 deadline = currentMs.load() + timeout.count();
    ++waiters;
    const auto stopWaiting = qScopeGuard([this] { --waiters; });
    for (;;) {
        if (semaphore.tryAcquire(1, 2))
            return true;
        if (currentMs.load() >= deadline)
            return semaphore.tryAcquire(1, 0);
        ++deadlinesAhead;
    }
}

bool VirtualClock::fireNextDueBy(Millis limit) {
    auto next = std::min_element(timers.begin(), timers.end(), [](const Timer& a, const Timer& b) {
        return a.due < b.due || (a.due == b.due && a.id < b.id);
    });
    if (next == timers.end() || next->due > limit)
        return false;
    Timer timer = std::move(*next);
    timers.erase(next);
    currentMs = std::max(currentMs.load(), qint64(timer.due.count()));
    if (timer.context)
        timer.fn();
    QCoreApplication::sendPostedEvents();
    return true;
}

void VirtualClock::advance(Millis duration) {
    const Millis target = now() + duration;
    QCoreApplication::sendPostedEvents();
    while (fireNextDueBy(target)) {
    }
    currentMs = target.count();
    QCoreApplication::sendPostedEvents();
}

bool VirtualClock::advanceToNextTimer() {
    const auto in = nextTimerIn();
    if (!in)
        return false;
    advance(*in);
    return true;
}

int VirtualClock::pendingTimerCount() const {
    return int(timers.size());
}

std::optional<Millis> VirtualClock::nextTimerIn() const {
    if (timers.isEmpty())
        return std::nullopt;
    const auto next = std::min_element(
        timers.begin(), timers.end(), [](const Timer& a, const Timer& b) { return a.due < b.due; });
    return std::max(Millis(0), next->due - now());
}

} // namespace zor::testing
