#pragma once

// The window's core types as QML sees them.

#include "prompts/AppState.h"
#include "window/MainSplitViewController.h"

#include <QtQml/qqml.h>

namespace zor::qml {

// The app state is read through its meta-object, as a plain object; only its
// tabs are registered, reached as AppState.AppTab.setup and so on.
namespace AppStateForeign {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(zor::AppState)
QML_NAMED_ELEMENT(AppState)
Q_CLASSINFO("RegisterEnumClassesUnscoped", "false")
} // namespace AppStateForeign

struct MainSplitViewControllerForeign {
    Q_GADGET
    QML_FOREIGN(zor::MainSplitViewController)
    QML_NAMED_ELEMENT(MainSplitViewController)
    QML_UNCREATABLE("The split view's controller is created with the main window")
};

} // namespace zor::qml
