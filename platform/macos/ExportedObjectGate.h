#pragma once

#include "shared/ZorAppCallbackProtocol.h"

#include <QRecursiveMutex>
#include <functional>

namespace zor {

// Hands the agent's callbacks to the app's exported object until the connection
// is closed. Closing waits for a callback in progress, so that once it returns
// the object is never called again.
class ExportedObjectGate {
public:
    explicit ExportedObjectGate(ZorAppCallbackProtocol& exportedObject)
        : exportedObject(&exportedObject) {}

    void deliver(const std::function<void(ZorAppCallbackProtocol&)>& call) {
        QMutexLocker lock(&mutex);
        if (exportedObject)
            call(*exportedObject);
    }

    // Recursive, so that a callback may close its own connection.
    void close() {
        QMutexLocker lock(&mutex);
        exportedObject = nullptr;
    }

private:
    QRecursiveMutex mutex;
    ZorAppCallbackProtocol* exportedObject;
};

} // namespace zor
