import QtQuick
import QtQuick.Controls
import Zor

// The allow decisions for the selected prompts, each asked first.
Menu {
    id: allowMenu

    required property PromptsViewModel viewModel

    objectName: "groupAllowMenu"

    PlainMenuItem {
        text: "Allow Once…"
        onTriggered: allowMenu.viewModel.decideSelection(GroupDecision.Action.allowOnce)
    }
    PlainMenuItem {
        text: "Allow for the Session…"
        onTriggered: allowMenu.viewModel.decideSelection(GroupDecision.Action.allowSession)
    }
    PlainMenuItem {
        text: "Allow Always…"
        onTriggered: allowMenu.viewModel.decideSelection(GroupDecision.Action.allowAlways)
    }
}
