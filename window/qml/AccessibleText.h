#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqml.h>

namespace zor::qml {

// What assistive tools read for a row: the texts it shows, in the order
// they show, so that a screen reader says what the eye sees.
class AccessibleText : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    // The texts that are not empty, between commas.
    Q_INVOKABLE static QString join(const QStringList& shown);
};

} // namespace zor::qml
