#pragma once

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>
#include <coroutine>
#include <optional>
#include <type_traits>

namespace zor {

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
            QThreadPool::globalInstance()->start([this, handle] {
                result = fn();
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [context = context, handle] {
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

} // namespace zor
