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

} // namespace zor::testing
