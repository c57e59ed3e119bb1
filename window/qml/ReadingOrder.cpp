#include "window/qml/ReadingOrder.h"

#include <QQuickItem>
#include <algorithm>

namespace zor::qml {

ReadingOrder::ReadingOrder(QObject* attachee)
    : QObject(attachee)
    , attachee(qobject_cast<QQuickItem*>(attachee)) {}

ReadingOrder* ReadingOrder::qmlAttachedProperties(QObject* object) {
    return new ReadingOrder(object);
}

void ReadingOrder::setKept(bool isKept) {
    if (isOn == isKept)
        return;
    isOn = isKept;
    if (isOn) {
        items = container();
        if (items)
            connect(items, &QQuickItem::childrenChanged, this, &ReadingOrder::schedule);
        schedule();
    } else if (items) {
        disconnect(items, nullptr, this, nullptr);
        for (QQuickItem* child : items->childItems())
            disconnect(child, nullptr, this, nullptr);
    }
    emit isKeptChanged();
}

QQuickItem* ReadingOrder::container() const {
    if (!attachee)
        return nullptr;
    auto* content = attachee->property("contentItem").value<QQuickItem*>();
    return content ? content : attachee.data();
}

void ReadingOrder::schedule() {
    if (isPending)
        return;
    isPending = true;
    // Not at once: the children change while the view lays them out, and
    // while it is being destroyed.
    QMetaObject::invokeMethod(this, &ReadingOrder::restack, Qt::QueuedConnection);
}

void ReadingOrder::restack() {
    isPending = false;
    if (!isOn || !items)
        return;
    const QList<QQuickItem*> stacked = items->childItems();
    // Each child once, however often the children change.
    for (QQuickItem* child : stacked) {
        connect(child, &QQuickItem::yChanged, this, &ReadingOrder::schedule, Qt::UniqueConnection);
        connect(child, &QQuickItem::xChanged, this, &ReadingOrder::schedule, Qt::UniqueConnection);
    }
    QList<QQuickItem*> shown = stacked;
    // Stable: items on the same spot keep the order they have.
    std::stable_sort(shown.begin(), shown.end(), [](const QQuickItem* a, const QQuickItem* b) {
        return a->y() != b->y() ? a->y() < b->y() : a->x() < b->x();
    });
    // Element by element: QList's == in Qt 6.4 hands memcmp a null pointer
    // when there are no children.
    if (std::equal(shown.cbegin(), shown.cend(), stacked.cbegin(), stacked.cend()))
        return;
    for (qsizetype i = 1; i < shown.size(); ++i)
        shown[i]->stackAfter(shown[i - 1]);
}

} // namespace zor::qml
