#pragma once

// The prompt list's core types as QML sees them.

#include "prompts/GroupDecision.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"

#include <QFontDatabase>
#include <QtQml/qqml.h>

namespace zor::qml {

struct PromptListModelForeign {
    Q_GADGET
    QML_FOREIGN(zor::PromptListModel)
    QML_NAMED_ELEMENT(PromptListModel)
    QML_UNCREATABLE("The prompt list is created with the main window")
};

struct PromptDeciderForeign {
    Q_GADGET
    QML_FOREIGN(zor::PromptDecider)
    QML_NAMED_ELEMENT(PromptDecider)
    QML_UNCREATABLE("The decider is created with the main window")
};

struct GroupDecisionForeign {
    Q_GADGET
    QML_FOREIGN(zor::GroupDecision)
    QML_NAMED_ELEMENT(GroupDecision)
    QML_UNCREATABLE("The group decision is created with the main window")
};

struct PromptsViewModelForeign {
    Q_GADGET
    QML_FOREIGN(zor::PromptsViewModel)
    QML_NAMED_ELEMENT(PromptsViewModel)
    QML_UNCREATABLE("The list's view model is created with the main window")
};

struct PromptRowMenuForeign {
    Q_GADGET
    QML_FOREIGN(zor::PromptRowMenu)
    QML_NAMED_ELEMENT(PromptRowMenu)
    QML_UNCREATABLE("The row menu is created with the main window")
};

struct ScrollRequestForeign {
    Q_GADGET
    QML_FOREIGN(zor::ScrollRequest)
    QML_ANONYMOUS
};

// The system's fixed-pitch font, for paths and commands.
class FixedFont : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString family READ family CONSTANT)

public:
    static QString family() { return QFontDatabase::systemFont(QFontDatabase::FixedFont).family(); }
};

} // namespace zor::qml
