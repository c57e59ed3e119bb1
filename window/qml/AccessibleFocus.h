#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqml.h>

class QQuickItem;

namespace zor::qml {

// Tells assistive tools that an item has the keyboard focus while the keys
// stay with the view around it: the prompt list keeps its keys and moves a
// highlight among rows that never take them, and a screen reader follows
// focus events only. While `isFocused` holds and the item shows, it reports
// itself focused, and it announces the focus each time it takes it.
class AccessibleFocus : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AccessibleFocus is an attached property")
    QML_ATTACHED(zor::qml::AccessibleFocus)
    Q_PROPERTY(bool isFocused READ isFocused WRITE setFocused NOTIFY isFocusedChanged)

public:
    explicit AccessibleFocus(QObject* attachee);

    static AccessibleFocus* qmlAttachedProperties(QObject* object);

    bool isFocused() const { return isOn; }
    void setFocused(bool isFocused);

signals:
    void isFocusedChanged();

private:
    void update();
    void announce();

    QPointer<QQuickItem> attachee;
    bool isOn = false;
    // What the item's accessible state says.
    bool isTold = false;
    bool isAnnouncing = false;
};

} // namespace zor::qml
