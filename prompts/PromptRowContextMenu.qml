import QtQuick
import QtQuick.Controls
import Zor

// The context menu of a prompt's row. An item that does not apply is
// hidden, and closed, so that the arrow keys pass over it; a view whose
// prompts have all gone meanwhile is shown closed.
Menu {
    id: contextMenu

    required property PromptRowMenu rowMenu

    objectName: "promptRowMenu"

    PlainMenuItem {
        text: "View Policy Notifications"
        visible: contextMenu.rowMenu.hasViewPolicyItem
        height: visible ? implicitHeight : 0
        enabled: visible && contextMenu.rowMenu.isPolicyViewable
        onTriggered: contextMenu.rowMenu.viewPolicyNotifications()
    }
    PlainMenuItem {
        text: "View Session Notifications"
        visible: contextMenu.rowMenu.hasViewSessionItem
        height: visible ? implicitHeight : 0
        enabled: visible && contextMenu.rowMenu.isSessionViewable
        onTriggered: contextMenu.rowMenu.viewSessionNotifications()
    }
    MenuSeparator {}
    PlainMenuItem {
        text: "Copy Policy Path"
        onTriggered: contextMenu.rowMenu.copyPolicyPath()
    }
    PlainMenuItem {
        text: "Copy Session ID"
        onTriggered: contextMenu.rowMenu.copySessionId()
    }
}
