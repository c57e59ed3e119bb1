#pragma once

#include <QObject>
#include <QtQml/qqml.h>

namespace zor::qml {

// Whether an item takes the keys, for one that may stop taking them while it
// has them, as an instruction whose link goes: the FocusKeeper then moves
// them on. Qt keeps the focused item's activeFocusOnTab as it is, so that
// cannot tell it.
class KeyFocus : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("KeyFocus is an attached property")
    QML_ATTACHED(zor::qml::KeyFocus)
    Q_PROPERTY(bool isTaken READ isTaken WRITE setTaken NOTIFY isTakenChanged)

public:
    explicit KeyFocus(QObject* attachee);

    static KeyFocus* qmlAttachedProperties(QObject* object);
    // The item's, when it has one.
    static KeyFocus* of(QObject* item);

    bool isTaken() const { return isOn; }
    void setTaken(bool isTaken);

signals:
    void isTakenChanged();

private:
    bool isOn = true;
};

} // namespace zor::qml
