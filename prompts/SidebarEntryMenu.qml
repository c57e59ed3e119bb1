import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T
import Zor

// The context menu of the sidebar's entries, on the entry it was opened for.
// An item that does not apply is hidden, and closed, so that the arrow keys
// pass over it.
Menu {
    id: entryMenu

    required property SidebarEntryActions actions

    objectName: "sidebarEntryMenu"

    PlainMenuItem {
        text: entryMenu.actions.revealLabel
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        enabled: visible
        onTriggered: entryMenu.actions.revealInFileManager()
    }
    PlainMenuItem {
        text: "Open in Default App"
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        enabled: visible
        onTriggered: entryMenu.actions.openInDefaultApp()
    }
    PlainMenuItem {
        objectName: "auditLogsItem"
        text: "Open Audit Logs"
        visible: entryMenu.actions.hasAuditLogsItem
        height: visible ? implicitHeight : 0
        // Shown where it cannot work, disabled, with the reason.
        enabled: visible && entryMenu.actions.isAuditLogsAvailable
        T.ToolTip.visible: !enabled && unavailableHover.hovered
        T.ToolTip.text: entryMenu.actions.auditLogsUnavailableReason
        T.ToolTip.delay: 600
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
    PlainMenuItem {
        text: "Copy Policy Path"
        visible: entryMenu.actions.hasPolicyFileItems
        height: visible ? implicitHeight : 0
        enabled: visible
        onTriggered: entryMenu.actions.copyPolicyPath()
    }
    PlainMenuItem {
        text: "Copy Session ID"
        visible: entryMenu.actions.hasCopySessionIdItem
        height: visible ? implicitHeight : 0
        enabled: visible
        onTriggered: entryMenu.actions.copySessionId()
    }

    // The entry's prompts decided together, each asked first: the denials
    // and the dismissal, then the allows.
    MenuSeparator {
        visible: entryMenu.actions.hasGroupItems
        height: visible ? implicitHeight : 0
    }
    component GroupItem: PlainMenuItem {
        required property int decision

        visible: entryMenu.actions.hasGroupItems
        height: visible ? implicitHeight : 0
        enabled: entryMenu.actions.isGroupDecidable
        onTriggered: entryMenu.actions.decideGroup(decision)
    }
    GroupItem { text: "Deny All for the Session…"; decision: GroupDecision.Action.denySession }
    GroupItem { text: "Deny All Always…"; decision: GroupDecision.Action.denyAlways }
    GroupItem { text: "Dismiss All…"; decision: GroupDecision.Action.dismiss }
    GroupItem { text: "Allow All Once…"; decision: GroupDecision.Action.allowOnce }
    GroupItem { text: "Allow All for the Session…"; decision: GroupDecision.Action.allowSession }
    GroupItem { text: "Allow All Always…"; decision: GroupDecision.Action.allowAlways }
}
