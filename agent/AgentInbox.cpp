#include "agent/AgentInbox.h"

#include <QCoreApplication>
#include <utility>

namespace zor {

std::shared_ptr<AgentInbox> AgentInbox::create(Take take) {
    return std::shared_ptr<AgentInbox>(new AgentInbox(std::move(take)));
}

AgentInbox::AgentInbox(Take take)
    : take(std::move(take)) {}

void AgentInbox::post(Item item) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return;
    QMutexLocker lock(&mutex);
    items.push_back(std::move(item));
    if (isPosted)
        return;
    isPosted = true;
    QMetaObject::invokeMethod(
        app, [inbox = shared_from_this()] { inbox->takeAll(); }, Qt::QueuedConnection);
}

void AgentInbox::takeAll() {
    std::vector<Item> taken;
    {
        QMutexLocker lock(&mutex);
        taken.swap(items);
        isPosted = false;
    }
    take(std::move(taken));
}

} // namespace zor
