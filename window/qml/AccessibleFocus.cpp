#include "window/qml/AccessibleFocus.h"

#include <QAccessible>
#include <QQuickItem>
#include <QQuickWindow>

namespace zor::qml {
namespace {

// The item's Accessible attached object, whose states its interface reports;
// null where it has none. Its type is Qt's private one.
QObject* accessibleOf(const QQuickItem& item) {
    // An item being destroyed holds nulls in place of the children it already dropped.
    for (QObject* child : item.children())
        if (child && child->inherits("QQuickAccessibleAttached"))
            return child;
    return nullptr;
}

} // namespace

AccessibleFocus::AccessibleFocus(QObject* attachee)
    : QObject(attachee)
    , attachee(qobject_cast<QQuickItem*>(attachee)) {
    // A pooled row hides, and shows again for another prompt: only a shown
    // one is focused to assistive tools, and it is announced as it shows.
    if (this->attachee)
        connect(this->attachee, &QQuickItem::visibleChanged, this, &AccessibleFocus::update);
}

AccessibleFocus* AccessibleFocus::qmlAttachedProperties(QObject* object) {
    return new AccessibleFocus(object);
}

void AccessibleFocus::setFocused(bool isFocused) {
    if (isOn == isFocused)
        return;
    isOn = isFocused;
    update();
    emit isFocusedChanged();
}

void AccessibleFocus::update() {
    const bool isShown = isOn && attachee && attachee->isVisible();
    if (isShown == isTold)
        return;
    isTold = isShown;
    // The state its interface reports, which a screen reader checks on the event.
    if (QObject* accessible = attachee ? accessibleOf(*attachee) : nullptr)
        accessible->setProperty("focused", isTold);
    if (!isTold || isAnnouncing)
        return;
    // Once the change that led here is over: the view's own focus event,
    // sent as it takes the keys, comes before this, and a row being made is
    // in its place by then. What took the keys meanwhile is told on its own.
    isAnnouncing = true;
    QMetaObject::invokeMethod(this, &AccessibleFocus::announce, Qt::QueuedConnection);
}

void AccessibleFocus::announce() {
    isAnnouncing = false;
    if (!isTold || !attachee || !attachee->window())
        return;
    QAccessibleEvent event(attachee.data(), QAccessible::Focus);
    QAccessible::updateAccessibility(&event);
}

} // namespace zor::qml
