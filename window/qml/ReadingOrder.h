#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqml.h>

class QQuickItem;

namespace zor::qml {

// Keeps the items a view lays out in the order a reader meets them on screen:
// top to bottom, then leading to trailing. Assistive tools walk an item's
// children in their stacking order, and a list view stacks its rows in the
// order it happens to make them: a row inserted at the top comes last.
//
// Attached to a Flickable, it orders the children of its content item;
// attached to another item, that item's own. It restacks them once the
// layout has settled, in the next turn of the event loop, and only when
// their order differs from the shown one. Rows never overlap, so restacking
// changes nothing that is drawn.
class ReadingOrder : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("ReadingOrder is an attached property")
    QML_ATTACHED(zor::qml::ReadingOrder)
    Q_PROPERTY(bool isKept READ isKept WRITE setKept NOTIFY isKeptChanged)

public:
    explicit ReadingOrder(QObject* attachee);

    static ReadingOrder* qmlAttachedProperties(QObject* object);

    bool isKept() const { return isOn; }
    void setKept(bool isKept);

signals:
    void isKeptChanged();

private:
    QQuickItem* container() const;
    void schedule();
    void restack();

    QPointer<QQuickItem> attachee;
    // Whose children it orders.
    QPointer<QQuickItem> items;
    bool isOn = false;
    bool isPending = false;
};

} // namespace zor::qml
