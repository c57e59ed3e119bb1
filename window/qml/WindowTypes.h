#pragma once

// The window's core types as QML sees them.

#include "app/AppState.h"
#include "window/MainSplitViewController.h"

#include <QtQml/qqml.h>

namespace zor::qml {

// The app state itself is read through its meta-object, as a plain object. Its
// tabs, reached as AppTab.policies, AppTab.sessions, AppTab.setup.
class AppTabForeign : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(AppTab)
    QML_UNCREATABLE("AppTab only holds the tabs")
    QML_EXTENDED_NAMESPACE(zor::AppState)
};

struct MainSplitViewControllerForeign {
    Q_GADGET
    QML_FOREIGN(zor::MainSplitViewController)
    QML_NAMED_ELEMENT(MainSplitViewController)
    QML_UNCREATABLE("The split view's controller is created with the main window")
};

} // namespace zor::qml
