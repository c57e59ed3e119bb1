#pragma once

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>
#include <atomic>
#include <coroutine>
#include <optional>
#include <type_traits>

namespace zor {

namespace detail {
inline std::atomic<int> workerCallsInFlight = 0;
} // namespace detail

// Worker calls started whose result the main thread has not yet taken.
inline int workerCallsInFlight() {
    return detail::workerCallsInFlight;
}

// Awaitable that runs a blocking call on the shared worker pool and resumes the
// awaiting coroutine on the main thread with its result. The coroutine is not
// resumed if `context` is destroyed meanwhile.
template <typename Fn> auto runOnWorker(QObject* context, Fn fn) {
    using Result = std::invoke_result_t<Fn>;
    static_assert(!std::is_void_v<Result>, "a worker call hands back a result");
    struct Awaiter {
        QPointer<QObject> context;
        Fn fn;
        std::optional<Result> result;
        bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> handle) {
            ++detail::workerCallsInFlight;
            QThreadPool::globalInstance()->start([this, handle] {
                result = fn();
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [context = context, handle] {
                        --detail::workerCallsInFlight;
                        if (context)
                            handle.resume();
                    },
                    Qt::QueuedConnection);
            });
        }
        Result await_resume() { return std::move(*result); }
    };
    return Awaiter{context, std::move(fn), std::nullopt};
}

// Serves the main thread until every worker call has handed its result back,
// so that no coroutine is left suspended on one: for the end of the
// application, whose event loop no longer runs.
void finishWorkerCalls();

} // namespace zor
