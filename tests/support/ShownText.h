#pragma once

#include <QQuickItem>
#include <QString>
#include <algorithm>

namespace zor::testing {

// Whether `item` or an item below it shows `text`, as a tool tip's popup does.
inline bool isTextShown(const QQuickItem* item, const QString& text) {
    if (!item->isVisible())
        return false;
    if (item->property("text").toString() == text)
        return true;
    const QList<QQuickItem*> children = item->childItems();
    return std::any_of(children.begin(), children.end(),
                       [&](const QQuickItem* child) { return isTextShown(child, text); });
}

// What the Accessible attached property of `item` holds, what assistive
// tools read; null when the item sets none.
inline QObject* accessibleOf(const QQuickItem* item) {
    const QObjectList children = item->children();
    const auto found = std::find_if(children.begin(), children.end(),
                                    [](QObject* c) { return c->property("role").isValid(); });
    return found == children.end() ? nullptr : *found;
}

} // namespace zor::testing
