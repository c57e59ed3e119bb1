#pragma once

// The setup types as QML sees them. zor_core links QtCore only, so its types
// are registered from here.

#include "setup/ServiceMonitor.h"
#include "setup/ServiceRepairs.h"

#include <QtQml/qqml.h>

namespace zor::qml {

struct ServiceMonitorForeign {
    Q_GADGET
    QML_FOREIGN(zor::ServiceMonitor)
    QML_NAMED_ELEMENT(ServiceMonitor)
    QML_UNCREATABLE("The service monitor is created by the application")
};

struct ServiceRepairsForeign {
    Q_GADGET
    QML_FOREIGN(zor::ServiceRepairs)
    QML_NAMED_ELEMENT(ServiceRepairs)
    QML_UNCREATABLE("The service repairs are created by the application")
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
