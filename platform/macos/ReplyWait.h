#pragma once

#include "platform/Clock.h"

#include <QMutex>
#include <QSemaphore>
#include <optional>

namespace zor {

// One blocking question to another process: the caller waits at most a given
// time for the first of an answer and a failure. Shared with the reply, which
// may come after the caller has given up and is then dropped.
template <typename T> class ReplyWait {
public:
    void answer(T value) {
        QMutexLocker lock(&mutex);
        if (isEnded)
            return;
        isEnded = true;
        result = std::move(value);
        semaphore.release();
    }

    void fail() {
        QMutexLocker lock(&mutex);
        if (isEnded)
            return;
        isEnded = true;
        semaphore.release();
    }

    // The answer; nothing after a failure or when `timeout` passed first.
    std::optional<T> wait(Clock& clock, Millis timeout) {
        if (!clock.tryAcquire(semaphore, timeout)) {
            fail();
            return std::nullopt;
        }
        QMutexLocker lock(&mutex);
        return result;
    }

private:
    QMutex mutex;
    QSemaphore semaphore;
    bool isEnded = false;
    std::optional<T> result;
};

} // namespace zor
