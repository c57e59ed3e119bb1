#include "platform/Worker.h"

namespace zor {

// Counting the calls, rather than looking at the pool, also finds a call that
// was started and done while the results before it were being delivered: its
// result is posted, and the pool is idle. Probes on workers may wait for the
// main thread (the agent's build number is read there), so it serves events
// while it waits for them.
void finishWorkerCalls() {
    while (workerCallsInFlight() > 0) {
        QThreadPool::globalInstance()->waitForDone(10);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
}

} // namespace zor
