import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// With more than one prompt selected: what they can be given together. Made
// from its own file while the selection lasts.
Rectangle {
    id: bar

    // Set by the loader.
    property PromptsViewModel viewModel
    // Set by the loader.
    property GroupDecision group

    objectName: "selectionBar"
    implicitHeight: selectionColumn.implicitHeight + 12
    color: SetupTheme.rowSelection

    Rectangle {
        width: parent.width
        height: 1
        color: SetupTheme.separator
    }

    ColumnLayout {
        id: selectionColumn

        anchors.fill: parent
        anchors.margins: 6
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        spacing: 4
        // One group at a time.
        enabled: bar.group.state === GroupDecision.State.idle

        RowLayout {
            spacing: 6

            Label {
                Layout.fillWidth: true
                text: bar.viewModel.selectedCount + " selected"
                color: SetupTheme.primaryText
                font.weight: Font.Medium
            }
            Button {
                id: allowSelection

                objectName: "selectionAllow"
                text: "Allow…"
                Accessible.description: "Allow once, for the session or always"
                onClicked: allowMenu.popup(allowSelection, 0, allowSelection.height)
            }
            Button {
                objectName: "selectionClear"
                text: "Clear Selection"
                onClicked: bar.viewModel.clearSelection()
            }
        }
        RowLayout {
            spacing: 6

            Button {
                objectName: "selectionDenySession"
                text: "Deny for Session…"
                onClicked: bar.viewModel.decideSelection(GroupDecision.Action.denySession)
            }
            Button {
                objectName: "selectionDenyAlways"
                text: "Deny Always…"
                onClicked: bar.viewModel.decideSelection(GroupDecision.Action.denyAlways)
            }
            Button {
                objectName: "selectionDismiss"
                text: "Dismiss…"
                onClicked: bar.viewModel.decideSelection(GroupDecision.Action.dismiss)
            }
        }
    }

    LazyMenu {
        id: allowMenu

        menu: Qt.resolvedUrl("GroupAllowMenu.qml")
        menuProperties: ({viewModel: bar.viewModel})
    }
}
