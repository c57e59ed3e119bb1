#include "platform/Clock.h"

#include <QElapsedTimer>
#include <QHash>
#include <QPointer>
#include <QSemaphore>
#include <QThread>
#include <QTimer>

namespace zor {
namespace {

class SystemClock final : public Clock {
public:
    SystemClock() { elapsed.start(); }

    Millis now() const override { return Millis(elapsed.elapsed()); }

    TimerId schedule(Millis delay, QObject* context, std::function<void()> fn) override {
        const TimerId id = ++lastId;
        auto* timer = new QTimer(context);
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer, &QTimer::timeout, timer, [timer, fn = std::move(fn)] {
            timer->deleteLater();
            fn();
        });
        // However it goes: fired, cancelled, or with its context.
        QObject::connect(timer, &QObject::destroyed, [this, id] { timers.remove(id); });
        timers.insert(id, timer);
        timer->start(delay);
        return id;
    }

    void cancel(TimerId id) override {
        if (QPointer<QTimer> timer = timers.take(id)) {
            timer->stop();
            timer->deleteLater();
        }
    }

    bool isPending(TimerId id) const override {
        const auto held = timers.constFind(id);
        return held != timers.cend() && *held && (*held)->isActive();
    }

    void sleep(Millis duration) override { QThread::msleep(duration.count()); }

    bool tryAcquire(QSemaphore& semaphore, Millis timeout) override {
        return semaphore.tryAcquire(1, int(timeout.count()));
    }

private:
    QElapsedTimer elapsed;
    TimerId lastId = 0;
    QHash<TimerId, QPointer<QTimer>> timers;
};

} // namespace

Clock& systemClock() {
    static SystemClock clock;
    return clock;
}

} // namespace zor
