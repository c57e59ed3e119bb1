#include "platform/MainThread.h"

#include <QCoreApplication>
#include <QThread>

namespace zor {

bool isMainThread() {
    const auto* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void requireMainThread(const char* where) {
    if (!isMainThread())
        qFatal("%s must be called on the main thread", where);
}

} // namespace zor
