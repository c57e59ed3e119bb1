import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// The detail pane of the prompt tabs: the prompts that pass the sidebar's
// filter, or what explains an empty list. Keys and decisions go to the view
// model, which decides what they do.
Rectangle {
    id: view

    required property PromptsViewModel viewModel
    required property PromptListModel listModel
    required property PromptDecider decider
    required property PromptRowMenu rowMenu

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

    ColumnLayout {
        objectName: "emptyState"
        anchors.centerIn: parent
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
        anchors.fill: parent
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

        Keys.onPressed: (event) => { event.accepted = view.viewModel.handleListKey(event.key, event.modifiers); }
        onActiveFocusChanged: view.viewModel.isListFocused = activeFocus

        delegate: PromptRow {
            width: ListView.view.width
            decider: view.decider
            isListFocused: view.viewModel.isListFocused
            shortcutTexts: view.shortcutTexts
            onHighlightRequested: {
                view.viewModel.highlightPrompt(promptId);
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
