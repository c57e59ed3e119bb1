#pragma once

// The prompts sidebar's core types as QML sees them.

#include "prompts/PromptsSidebarModel.h"
#include "prompts/SidebarEntryActions.h"
#include "prompts/SidebarModels.h"

#include <QtQml/qqml.h>

namespace zor::qml {

struct PromptsSidebarModelForeign {
    Q_GADGET
    QML_FOREIGN(zor::PromptsSidebarModel)
    QML_NAMED_ELEMENT(PromptsSidebarModel)
    QML_UNCREATABLE("The sidebar's models are created with the main window")
};

struct SidebarModelsForeign {
    Q_GADGET
    QML_FOREIGN(zor::SidebarModels)
    QML_NAMED_ELEMENT(SidebarModels)
    QML_UNCREATABLE("The sidebar's models are created with the main window")
};

struct SidebarEntryActionsForeign {
    Q_GADGET
    QML_FOREIGN(zor::SidebarEntryActions)
    QML_NAMED_ELEMENT(SidebarEntryActions)
    QML_UNCREATABLE("The entry actions are created with the main window")
};

} // namespace zor::qml
