import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// The detail pane of the prompt tabs: the search field, the prompts that pass
// the sidebar's filter and the search, or what explains an empty list; with
// more than one selected, what can be decided for them together. Keys and
// decisions go to the view model, which decides what they do.
Rectangle {
    id: view

    required property PromptsViewModel viewModel
    required property PromptListModel listModel
    required property PromptDecider decider
    required property PromptRowMenu rowMenu
    required property GroupDecision group

    objectName: "promptsView"
    color: SetupTheme.system.base

    // On the highlighted prompt, from anywhere in the window while the list shows.
    component DecisionShortcut: Shortcut {
        required property int decision

        enabled: view.visible && view.viewModel.contentState === PromptsViewModel.ContentState.list
        sequence: view.decider.shortcut(decision)
        context: Qt.WindowShortcut
        onActivated: view.viewModel.decideHighlighted(decision)
    }

    DecisionShortcut { id: allowOnceShortcut; decision: PromptDecider.Decision.allowOnce }
    DecisionShortcut { id: allowSessionShortcut; decision: PromptDecider.Decision.allowSession }
    DecisionShortcut { id: allowAlwaysShortcut; decision: PromptDecider.Decision.allowAlways }
    DecisionShortcut { id: denySessionShortcut; decision: PromptDecider.Decision.denySession }
    DecisionShortcut { id: denyAlwaysShortcut; decision: PromptDecider.Decision.denyAlways }

    // In the order of the decisions.
    readonly property var shortcutTexts: [
        allowOnceShortcut.nativeText, allowSessionShortcut.nativeText,
        allowAlwaysShortcut.nativeText, denySessionShortcut.nativeText,
        denyAlwaysShortcut.nativeText
    ]

    Shortcut {
        sequence: StandardKey.Find
        context: Qt.WindowShortcut
        enabled: view.visible
        onActivated: {
            searchField.forceActiveFocus();
            searchField.selectAll();
        }
    }

    Item {
        id: searchBar

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: searchField.implicitHeight + 16

        TextField {
            id: searchField

            objectName: "promptSearch"
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: 12
            anchors.rightMargin: 12
            placeholderText: "Search prompts"
            placeholderTextColor: SetupTheme.secondaryText
            text: view.viewModel.searchText
            onTextEdited: view.viewModel.searchText = text
            Accessible.name: "Search prompts"
            Keys.onEscapePressed: {
                view.viewModel.clearSearch();
                list.forceActiveFocus();
            }
        }
    }

    // Over the foot of the list, which leaves room for them to scroll past:
    // the rows stay where the pointer left them when these come and go.
    Column {
        id: footBars

        z: 1
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom

        // Each made from its own file while it shows: the first frame does
        // without them.
        Loader {
            width: parent.width
            active: (view.group.state === GroupDecision.State.deciding && view.group.showsProgress)
                    || view.group.outcome !== ""
            Component.onCompleted: setSource(Qt.resolvedUrl("GroupBar.qml"), {group: view.group})
        }

        Loader {
            width: parent.width
            active: view.viewModel.selectedCount > 1
            Component.onCompleted: setSource(Qt.resolvedUrl("SelectionBar.qml"),
                                             {viewModel: view.viewModel, group: view.group})
        }
    }

    // Made while a group is asked, from its own file.
    Loader {
        active: view.group.state === GroupDecision.State.asking
        source: Qt.resolvedUrl("GroupConfirmation.qml")
        onLoaded: {
            item.group = view.group;
            item.open();
        }
    }

    ColumnLayout {
        objectName: "emptyState"
        anchors.centerIn: list
        width: Math.min(parent.width - 40, 360)
        spacing: 12
        visible: view.viewModel.contentState !== PromptsViewModel.ContentState.list

        PromptGlyph {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: view.viewModel.contentState === PromptsViewModel.ContentState.noPendingPrompts ? 48 : 36
            Layout.preferredHeight: Layout.preferredWidth
            name: view.viewModel.contentState === PromptsViewModel.ContentState.noPendingPrompts ? "app" : "filter"
            color: SetupTheme.secondaryText
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: view.viewModel.emptyTitle
            font.pixelSize: 17
            color: SetupTheme.secondaryText
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: view.viewModel.emptyMessage
            font.pixelSize: 12
            color: SetupTheme.secondaryText
        }
    }

    ListView {
        id: list

        objectName: "promptList"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: searchBar.bottom
        anchors.bottom: parent.bottom
        bottomMargin: footBars.height
        visible: view.viewModel.contentState === PromptsViewModel.ContentState.list
        model: view.listModel
        clip: true
        keyNavigationEnabled: false
        activeFocusOnTab: true
        // The highlight is the model's; a current item would be one more row
        // kept alive, out of sight, for assistive tools to trip over.
        currentIndex: -1
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        Accessible.role: Accessible.List
        Accessible.name: "Prompts"
        // Screen readers walk the rows in the order they are shown.
        ReadingOrder.isKept: true

        Keys.onPressed: (event) => { event.accepted = view.viewModel.handleListKey(event.key, event.modifiers); }
        onActiveFocusChanged: view.viewModel.isListFocused = activeFocus

        delegate: PromptRow {
            width: ListView.view.width
            decider: view.decider
            isListFocused: view.viewModel.isListFocused
            shortcutTexts: view.shortcutTexts
            onClicked: (click) => {
                view.viewModel.clickPrompt(promptId, click);
                list.forceActiveFocus();
            }
            onContextMenuRequested: (x, y) => {
                view.rowMenu.openFor(policyPath, sessionId);
                contextMenu.popup(this, x, y);
            }
        }

        Connections {
            target: view.viewModel

            function onIsListFocusedChanged() {
                if (view.viewModel.isListFocused)
                    list.forceActiveFocus();
            }
            // The highlight stays in sight as the arrow keys move it.
            function onKeepRowInView(row) {
                list.positionViewAtIndex(row, ListView.Contain);
            }
            function onShowFirstRow() {
                list.positionViewAtBeginning();
            }
            // On the row, as the sidebar's entries' menus open from the keyboard.
            function onRowMenuRequested(row, policyPath, sessionId) {
                list.positionViewAtIndex(row, ListView.Contain);
                const item = list.itemAtIndex(row);
                if (!item)
                    return;
                view.rowMenu.openFor(policyPath, sessionId);
                contextMenu.popup(item, item.width / 2, item.height / 2);
            }
            // Rows differ in height, and the list knows only those it has
            // made: near the end the first call may fall short of the row,
            // the second, among made rows, brings all of it in.
            function onBringRowToTop(row) {
                list.positionViewAtIndex(row, ListView.Beginning);
                list.forceLayout();
                list.positionViewAtIndex(row, ListView.Contain);
            }
        }
    }

    // Where the keyboard is: drawn over the list, not scrolled with it.
    Rectangle {
        objectName: "promptListFocusRing"
        anchors.fill: list
        visible: list.visible && list.activeFocus
        color: "transparent"
        border.width: 2
        border.color: SetupTheme.focusRing
    }

    LazyMenu {
        id: contextMenu

        menu: Qt.resolvedUrl("PromptRowContextMenu.qml")
        menuProperties: ({rowMenu: view.rowMenu})
    }
}
