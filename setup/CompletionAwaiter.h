#pragma once

#include <QCoreApplication>
#include <QMutex>
#include <QPointer>
#include <coroutine>
#include <functional>
#include <memory>
#include <optional>

namespace zor {

namespace detail {

template <typename T> struct CompletionState {
    QMutex mutex;
    std::optional<T> value;
    bool isSuspended = false;
    std::coroutine_handle<> handle;
    QPointer<QObject> context;
};

} // namespace detail

// Awaitable over an API that reports through a completion handler, which may
// run on any thread, or even before the call returns. `start` receives the
// handler and makes the call. The awaiting coroutine resumes on the main thread
// with the first value reported (later ones are dropped), and not at all if
// `context` is destroyed first.
template <typename T>
auto awaitCompletion(QObject* context, std::function<void(std::function<void(T)>)> start) {
    using State = detail::CompletionState<T>;
    struct Awaiter {
        std::shared_ptr<State> state;
        std::function<void(std::function<void(T)>)> start;

        bool await_ready() const noexcept { return false; }

        bool await_suspend(std::coroutine_handle<> handle) {
            state->handle = handle;
            start([state = state](T value) {
                {
                    QMutexLocker lock(&state->mutex);
                    if (state->value)
                        return;
                    state->value = std::move(value);
                    if (!state->isSuspended)
                        return;
                }
                // Always through the event loop: the reporter may still be on the
                // stack, and the resumed flow may destroy it.
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [state] {
                        if (state->context)
                            state->handle.resume();
                    },
                    Qt::QueuedConnection);
            });
            QMutexLocker lock(&state->mutex);
            state->isSuspended = true;
            // Reported during the call: carry on without suspending.
            return !state->value.has_value();
        }

        T await_resume() {
            QMutexLocker lock(&state->mutex);
            return std::move(*state->value);
        }
    };
    auto state = std::make_shared<State>();
    state->context = context;
    return Awaiter{std::move(state), std::move(start)};
}

} // namespace zor
