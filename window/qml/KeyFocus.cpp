#include "window/qml/KeyFocus.h"

namespace zor::qml {

KeyFocus::KeyFocus(QObject* attachee)
    : QObject(attachee) {}

KeyFocus* KeyFocus::qmlAttachedProperties(QObject* object) {
    return new KeyFocus(object);
}

KeyFocus* KeyFocus::of(QObject* item) {
    return qobject_cast<KeyFocus*>(qmlAttachedPropertiesObject<KeyFocus>(item, false));
}

void KeyFocus::setTaken(bool isTaken) {
    if (isOn == isTaken)
        return;
    isOn = isTaken;
    emit isTakenChanged();
}

} // namespace zor::qml
