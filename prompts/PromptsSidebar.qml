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
            required property string sessionId
            required property bool hasPolicyFileItems
            required property bool hasAuditLogsItem
            required property bool hasCopySessionIdItem
            required property bool hasMenu

            width: ListView.view.width - ListView.view.leftMargin - ListView.view.rightMargin
            onClicked: sidebar.model.select(index)
            onContextMenuRequested: (x, y) => {
                if (hasMenu)
                    menu.popup(entry, x, y)
            }

            Menu {
                id: menu

                MenuItem {
                    text: sidebar.actions.revealLabel
                    visible: entry.hasPolicyFileItems
                    height: visible ? implicitHeight : 0
                    onTriggered: sidebar.actions.revealInFileManager(entry.subtitle)
                }
                MenuItem {
                    text: "Open in Default App"
                    visible: entry.hasPolicyFileItems
                    height: visible ? implicitHeight : 0
                    onTriggered: sidebar.actions.openInDefaultApp(entry.subtitle)
                }
                MenuItem {
                    id: auditLogsItem

                    objectName: "auditLogsItem"
                    text: "Open Audit Logs"
                    visible: entry.hasAuditLogsItem
                    height: visible ? implicitHeight : 0
                    // Shown where it cannot work, disabled, with the reason.
                    enabled: sidebar.actions.isAuditLogsAvailable
                    ToolTip.visible: !enabled && unavailableHover.hovered
                    ToolTip.text: sidebar.actions.auditLogsUnavailableReason
                    ToolTip.delay: 600
                    Accessible.description: sidebar.actions.auditLogsUnavailableReason
                    onTriggered: sidebar.actions.openAuditLogs(entry.sessionId)

                    // A disabled item sees no hover of its own; its handler does.
                    HoverHandler {
                        id: unavailableHover
                    }
                }
                MenuSeparator {
                    visible: entry.hasPolicyFileItems
                    height: visible ? implicitHeight : 0
                }
                MenuItem {
                    text: "Copy Policy Path"
                    visible: entry.hasPolicyFileItems
                    height: visible ? implicitHeight : 0
                    onTriggered: sidebar.actions.copyPolicyPath(entry.subtitle)
                }
                MenuItem {
                    text: "Copy Session ID"
                    visible: entry.hasCopySessionIdItem
                    height: visible ? implicitHeight : 0
                    onTriggered: sidebar.actions.copySessionId(entry.sessionId)
                }
            }
        }
    }
}
