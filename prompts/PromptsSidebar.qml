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
        // Screen readers walk the entries in the order they are shown.
        ReadingOrder.isKept: true

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
    LazyMenu {
        id: menu

        menu: Qt.resolvedUrl("SidebarEntryMenu.qml")
        menuProperties: ({actions: sidebar.actions})
    }
}
