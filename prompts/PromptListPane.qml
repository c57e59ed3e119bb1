import QtQuick
import QtQuick.Templates as T
import Zor

// The prompt list, and what acts on its rows: the decision keys, the rows'
// context menu, the focus ring, and with more than one selected what can be
// decided for them together. Made after the window's first frame, which shows
// no rows.
Item {
    id: pane

    required property PromptsViewModel viewModel
    required property PromptListModel listModel
    required property PromptDecider decider
    required property PromptRowMenu rowMenu
    required property GroupDecision group
    // Where the keys go when the focused control hides or goes, as a bar's
    // button does with its bar.
    readonly property Item focusHome: list

    // On the highlighted prompt, from anywhere in the window while the list shows.
    component DecisionShortcut: Shortcut {
        required property int decision

        enabled: list.visible
        sequence: pane.decider.shortcut(decision)
        context: Qt.WindowShortcut
        onActivated: pane.viewModel.decideHighlighted(decision)
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

    ListView {
        id: list

        objectName: "promptList"
        anchors.fill: parent
        // The list scrolls its last rows out from under the bars over its foot.
        bottomMargin: footBars.height
        visible: pane.viewModel.contentState === PromptsViewModel.ContentState.list
        model: pane.listModel
        clip: true
        keyNavigationEnabled: false
        activeFocusOnTab: true
        // The highlight is the model's; a current item would be one more row
        // kept alive, out of sight, for assistive tools to trip over. The
        // highlighted row tells them it has the focus (PromptRow).
        currentIndex: -1
        boundsBehavior: Flickable.StopAtBounds
        // Rows scrolled out of sight, or pushed out by new ones at the head,
        // show the next prompts that come into sight: a sync's turns then
        // fill the rows they have, rather than make and drop them.
        reuseItems: true
        T.ScrollBar.vertical: scrollBar.item
        Accessible.role: Accessible.List
        Accessible.name: "Prompts"
        // Screen readers walk the rows in the order they are shown.
        ReadingOrder.isKept: true

        // The rows at the edges of what the bars leave in view measure a page.
        Keys.onPressed: (event) => {
            event.accepted = pane.viewModel.handleListKey(
                event.key, event.modifiers, list.indexAt(0, list.contentY),
                list.indexAt(0, list.contentY + list.height - list.bottomMargin - 1));
        }
        onActiveFocusChanged: pane.viewModel.isListFocused = activeFocus
        onWidthChanged: pane.viewModel.listResized()
        onMovementStarted: pane.viewModel.listMovedByUser()

        delegate: PromptRow {
            width: ListView.view.width
            decider: pane.decider
            isListFocused: pane.viewModel.isListFocused
            shortcutTexts: pane.shortcutTexts
            isKeysTarget: promptId === pane.viewModel.keysTargetId
            isHighlightMarked: isHighlighted && pane.viewModel.marksHighlight
            onClicked: (click) => {
                pane.viewModel.clickPrompt(promptId, click);
                list.forceActiveFocus();
            }
            onContextMenuRequested: (x, y) => {
                pane.rowMenu.openFor(policyPath, sessionId);
                contextMenu.popup(this, x, y);
            }
            // Hidden while it waits, so that neither assistive tools nor the
            // pointer meet the prompt it showed last.
            ListView.onPooled: visible = false
            ListView.onReused: {
                clearSelection();
                visible = true;
            }
        }

        Connections {
            target: pane.viewModel

            function onIsListFocusedChanged() {
                if (pane.viewModel.isListFocused)
                    list.forceActiveFocus();
            }
            // The highlight stays in sight as the keys move it, above the
            // bars over the list's foot, which Contain knows nothing of. A
            // row taller than that room, as a long command line makes, keeps
            // the head Contain shows: its title, process and the start of
            // its target say what the decision keys act on.
            function onKeepRowInView(row) {
                // A bar that came with this key is laid out only at the next frame.
                footBars.forceLayout();
                list.positionViewAtIndex(row, ListView.Contain);
                const item = list.itemAtIndex(row);
                if (item && item.height <= list.height - list.bottomMargin)
                    list.contentY = Math.max(list.contentY,
                                             item.y + item.height + list.bottomMargin - list.height);
            }
            function onShowFirstRow() {
                list.positionViewAtBeginning();
            }
            function onRowsComingAtHead() {
                list.forceLayout();
                // A row found at a point is a row made.
                const row = list.indexAt(0, list.contentY);
                if (row >= 0)
                    pane.viewModel.holdTopRow(row, list.itemAtIndex(row).y - list.contentY);
            }
            // Where the rows below it are too few to fill the view, the
            // list ends at its foot, and all that showed stays in view.
            function onKeepRowAt(row, offset) {
                list.positionViewAtIndex(row, ListView.Beginning);
                const item = list.itemAtIndex(row);
                if (item)
                    list.contentY = Math.max(list.originY, Math.min(item.y - offset,
                        list.originY + list.contentHeight + list.bottomMargin - list.height));
            }
            // On the row, as the sidebar's entries' menus open from the keyboard.
            function onRowMenuRequested(row, policyPath, sessionId) {
                list.positionViewAtIndex(row, ListView.Contain);
                const item = list.itemAtIndex(row);
                if (!item)
                    return;
                pane.rowMenu.openFor(policyPath, sessionId);
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

    // Where the list would put a bar of its own, at its trailing edge, its
    // full height. Read on the loader's thread, as the sidebar's: naming the
    // style's bar here would have the style imported before the first rows.
    Loader {
        id: scrollBar

        anchors.top: list.top
        anchors.bottom: list.bottom
        anchors.right: list.right
        visible: list.visible
        asynchronous: true
        source: "StyleScrollBar.qml"
    }

    // A drag of the bar moves the list without a flick.
    Connections {
        target: scrollBar.item

        function onPressedChanged() {
            if (scrollBar.item.pressed)
                pane.viewModel.listMovedByUser();
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

    // Over the foot of the list, which leaves room for them to scroll past:
    // the rows stay where the pointer left them when these come and go.
    Column {
        id: footBars

        z: 1
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom

        // Each made from its own file while it shows; a loader keeps the
        // height of what it held, and only a shown one counts.
        Loader {
            width: parent.width
            visible: active
            active: (pane.group.state === GroupDecision.State.deciding && pane.group.showsProgress)
                    || pane.group.outcome !== ""
            Component.onCompleted: setSource(Qt.resolvedUrl("GroupBar.qml"), {group: pane.group})
        }

        Loader {
            width: parent.width
            visible: active
            active: pane.viewModel.selectedCount > 1
            Component.onCompleted: setSource(Qt.resolvedUrl("SelectionBar.qml"),
                                             {viewModel: pane.viewModel, group: pane.group})
        }
    }

    // Made while a group is asked, from its own file.
    Loader {
        active: pane.group.state === GroupDecision.State.asking
        source: Qt.resolvedUrl("GroupConfirmation.qml")
        onLoaded: {
            item.group = pane.group;
            item.open();
        }
    }

    LazyMenu {
        id: contextMenu

        menu: Qt.resolvedUrl("PromptRowContextMenu.qml")
        menuProperties: ({rowMenu: pane.rowMenu})
    }
}
