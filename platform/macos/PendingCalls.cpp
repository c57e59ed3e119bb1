#include "platform/macos/PendingCalls.h"

namespace zor {

PendingCalls::CallId PendingCalls::open(ErrorHandler onError) {
    QMutexLocker lock(&mutex);
    const CallId id = ++lastId;
    calls.emplace(id, std::move(onError));
    return id;
}

bool PendingCalls::finish(CallId id) {
    QMutexLocker lock(&mutex);
    return calls.erase(id) == 1;
}

void PendingCalls::fail(CallId id, const PlatformError& error) {
    ErrorHandler onError;
    {
        QMutexLocker lock(&mutex);
        const auto found = calls.find(id);
        if (found == calls.end())
            return;
        onError = std::move(found->second);
        calls.erase(found);
    }
    // Outside the lock: a handler may start another call.
    if (onError)
        onError(error);
}

void PendingCalls::failAll(const PlatformError& error) {
    std::map<CallId, ErrorHandler> failed;
    {
        QMutexLocker lock(&mutex);
        failed.swap(calls);
    }
    for (auto& [id, onError] : failed)
        if (onError)
            onError(error);
}

} // namespace zor
