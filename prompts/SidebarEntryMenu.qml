import QtQuick
import QtQuick.Controls
import Zor

// The context menu of the sidebar's entries, on the entry it was opened for.
Menu {
    id: entryMenu

    required property SidebarEntryActions actions

    objectName: "sidebarEntryMenu"

    MenuItem {
        text: entryMenu.actions.revealLabel
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        onTriggered: entryMenu.actions.revealInFileManager()
    }
    MenuItem {
        text: "Open in Default App"
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        onTriggered: entryMenu.actions.openInDefaultApp()
    }
    MenuItem {
        objectName: "auditLogsItem"
        text: "Open Audit Logs"
        visible: entryMenu.actions.hasAuditLogsItem
        height: visible ? implicitHeight : 0
        // Shown where it cannot work, disabled, with the reason.
        enabled: entryMenu.actions.isAuditLogsAvailable
        ToolTip.visible: !enabled && unavailableHover.hovered
        ToolTip.text: entryMenu.actions.auditLogsUnavailableReason
        ToolTip.delay: 600
        Accessible.description: entryMenu.actions.auditLogsUnavailableReason
        onTriggered: entryMenu.actions.openAuditLogs()

        // A disabled item sees no hover of its own; its handler does.
        HoverHandler {
            id: unavailableHover
        }
    }
    MenuSeparator {
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
    }
    MenuItem {
        text: "Copy Policy Path"
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        onTriggered: entryMenu.actions.copyPolicyPath()
    }
    MenuItem {
        text: "Copy Session ID"
        visible: entryMenu.actions.hasCopySessionIdItem
        height: visible ? implicitHeight : 0
        onTriggered: entryMenu.actions.copySessionId()
    }
}
