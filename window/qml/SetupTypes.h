#pragma once

// The setup types as QML sees them. zor_core links QtCore only, so its types
// are registered from here.

#include "setup/SetupModel.h"

#include <QtQml/qqml.h>

namespace zor::qml {

struct SetupModelForeign {
    Q_GADGET
    QML_FOREIGN(zor::SetupModel)
    QML_NAMED_ELEMENT(SetupModel)
    QML_UNCREATABLE("The setup model is created by the application")
};

struct StepDisplayForeign {
    Q_GADGET
    QML_FOREIGN(zor::StepDisplay)
    QML_ANONYMOUS
};

struct ButtonStateForeign {
    Q_GADGET
    QML_FOREIGN(zor::ButtonState)
    QML_ANONYMOUS
};

// The status enums, reached by enum name: SetupStatus.ButtonKind.cta. They
// share case names (ok, checking, ...), so none is registered unscoped.
class SetupStatusForeign : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(SetupStatus)
    QML_UNCREATABLE("SetupStatus only holds enums")
    QML_EXTENDED_NAMESPACE(zor::SetupStatus)
    Q_CLASSINFO("RegisterEnumClassesUnscoped", "false")
};

} // namespace zor::qml
