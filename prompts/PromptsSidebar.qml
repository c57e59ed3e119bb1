import QtQuick
import QtQuick.Templates as T
import Zor

// The column beside the prompt list: "All", then one entry per policy file or
// session with its count. Clicking an entry shows its prompts; its context
// menu reaches the policy file, the session's audit logs and the clipboard.
// From the keyboard the arrows select the entries and the menu key opens the
// selected one's menu; the model decides what each key does.
Item {
    id: sidebar

    required property PromptsSidebarModel model
    required property SidebarEntryActions actions
    // What the entries are, for assistive tools.
    required property string title
    // The scroll bar is made once this holds: the window's first frame shows
    // the "All" entry alone, which never needs it.
    required property bool isScrollBarMade
    // Where the keys go when the selected entry goes with its last prompt:
    // the entries, where the selection falls back to "All".
    readonly property Item focusHome: entries

    // Rows pooled for one grouping, given to the other, would keep showing
    // their old entries (Qt 6.4): the pool is emptied before the model changes.
    function showModel() {
        entries.reuseItems = false;
        entries.model = sidebar.model;
        entries.reuseItems = true;
    }
    onModelChanged: showModel()

    function openMenu(row, entry, x, y) {
        sidebar.actions.openFor(sidebar.model, row);
        if (sidebar.actions.hasMenu)
            menu.popup(entry, x, y);
    }

    ListView {
        id: entries

        objectName: "sidebarEntries"
        anchors.fill: parent
        // The model is given apart from the pool (above).
        Component.onCompleted: sidebar.showModel()
        spacing: 0
        leftMargin: 10
        rightMargin: 10
        boundsBehavior: Flickable.StopAtBounds
        // A row pushed out of sight serves the next entry that comes in. While
        // pushes queue up, a row dropped instead would wait for the queue to
        // empty before it went: tens of kilobytes held for each new entry.
        reuseItems: true
        keyNavigationEnabled: false
        activeFocusOnTab: true
        // The keyboard's focus is on the selected entry, where a screen
        // reader follows it.
        currentIndex: sidebar.model.selectedRow
        Accessible.role: Accessible.List
        Accessible.name: sidebar.title
        // Screen readers walk the entries in the order they are shown.
        ReadingOrder.isKept: true
        // The template's: the style's type would be read at launch to attach it.
        T.ScrollBar.vertical: scrollBar.item

        Keys.onPressed: (event) => { event.accepted = sidebar.model.handleKey(event.key, event.modifiers); }

        delegate: SidebarRow {
            id: entry

            required property int index

            width: ListView.view.width - ListView.view.leftMargin - ListView.view.rightMargin
            onClicked: sidebar.model.select(index)
            onContextMenuRequested: (x, y) => sidebar.openMenu(index, entry, x, y)
            // Hidden while it waits, so that neither assistive tools nor the
            // pointer meet the entry it showed last.
            ListView.onPooled: visible = false
            ListView.onReused: visible = true
        }

        Connections {
            target: entries.model

            function onKeepRowInView(row) {
                entries.positionViewAtIndex(row, ListView.Contain);
            }
            function onMenuRequested(row) {
                entries.positionViewAtIndex(row, ListView.Contain);
                const entry = entries.itemAtIndex(row);
                if (entry)
                    sidebar.openMenu(row, entry, entry.width / 2, entry.height / 2);
            }
        }
    }

    // Where the list would put a bar of its own, which it lays out only as its
    // child: at its trailing edge, its full height.
    Loader {
        id: scrollBar

        anchors.top: entries.top
        anchors.bottom: entries.bottom
        anchors.right: entries.right
        active: sidebar.isScrollBarMade
        // Read on the loader's thread: the style is imported with it.
        asynchronous: true
        source: "StyleScrollBar.qml"
    }

    // Over the entries, not scrolled with them.
    FocusRing {
        objectName: "sidebarFocusRing"
        isShown: entries.activeFocus
        gap: -thickness
        radius: 0
    }

    // One menu for every entry, opened for the one clicked: a menu in each
    // entry would be made and dropped with it as the entries change.
    LazyMenu {
        id: menu

        menu: Qt.resolvedUrl("SidebarEntryMenu.qml")
        menuProperties: ({actions: sidebar.actions})
    }
}
