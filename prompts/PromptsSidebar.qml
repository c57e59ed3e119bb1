import QtQuick
import QtQuick.Controls
import Zor

// The column beside the prompt list: "All", then one entry per policy file or
// session with its count. Clicking an entry shows its prompts; its context
// menu reaches the policy file, the session's audit logs and the clipboard.
ScrollView {
    id: sidebar

    required property PromptsSidebarModel model
    required property SidebarEntryActions actions

    ScrollBar.vertical.policy: ScrollBar.AsNeeded
    ScrollBar.horizontal.policy: ScrollBar.AlwaysOff

    ListView {
        id: entries

        objectName: "sidebarEntries"
        model: sidebar.model
        spacing: 0
        leftMargin: 10
        rightMargin: 10
        boundsBehavior: Flickable.StopAtBounds

        delegate: SidebarRow {
            id: entry

            required property int index

            width: ListView.view.width - ListView.view.leftMargin - ListView.view.rightMargin
            onClicked: sidebar.model.select(index)
            onContextMenuRequested: (x, y) => {
                sidebar.actions.openFor(sidebar.model, index);
                if (sidebar.actions.hasMenu)
                    menu.popup(entry, x, y);
            }
        }
    }

    // One menu for every entry, opened for the one clicked: a menu in each
    // entry would be made and dropped with it as the entries change.
    Menu {
        id: menu

        objectName: "sidebarEntryMenu"

        MenuItem {
            text: sidebar.actions.revealLabel
            visible: sidebar.actions.hasPolicyFileItems
            height: visible ? implicitHeight : 0
            onTriggered: sidebar.actions.revealInFileManager()
        }
        MenuItem {
            text: "Open in Default App"
            visible: sidebar.actions.hasPolicyFileItems
            height: visible ? implicitHeight : 0
            onTriggered: sidebar.actions.openInDefaultApp()
        }
        MenuItem {
            objectName: "auditLogsItem"
            text: "Open Audit Logs"
            visible: sidebar.actions.hasAuditLogsItem
            height: visible ? implicitHeight : 0
            // Shown where it cannot work, disabled, with the reason.
            enabled: sidebar.actions.isAuditLogsAvailable
            ToolTip.visible: !enabled && unavailableHover.hovered
            ToolTip.text: sidebar.actions.auditLogsUnavailableReason
            ToolTip.delay: 600
            Accessible.description: sidebar.actions.auditLogsUnavailableReason
            onTriggered: sidebar.actions.openAuditLogs()

            // A disabled item sees no hover of its own; its handler does.
            HoverHandler {
                id: unavailableHover
            }
        }
        MenuSeparator {
            visible: sidebar.actions.hasPolicyFileItems
            height: visible ? implicitHeight : 0
        }
        MenuItem {
            text: "Copy Policy Path"
            visible: sidebar.actions.hasPolicyFileItems
            height: visible ? implicitHeight : 0
            onTriggered: sidebar.actions.copyPolicyPath()
        }
        MenuItem {
            text: "Copy Session ID"
            visible: sidebar.actions.hasCopySessionIdItem
            height: visible ? implicitHeight : 0
            onTriggered: sidebar.actions.copySessionId()
        }
    }
}
