import QtQuick
import QtQuick.Templates as T
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
    // The list is made once this holds: after the window's first frame, which
    // shows no rows yet.
    required property bool isListMade
    // Where the keys go when the list hides with its last prompt: the search
    // field, the control that still shows.
    readonly property Item focusHome: searchField

    objectName: "promptsView"
    color: SetupTheme.system.base

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

        // The template, drawn in the app's colours: the style's field would
        // have the whole style read before the first frame. Its outline reaches
        // the contrast marks need, in the focus ring's colour while the field
        // has the keyboard.
        T.TextField {
            id: searchField

            objectName: "promptSearch"
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: 12
            anchors.rightMargin: 12
            implicitHeight: Math.max(implicitBackgroundHeight, contentHeight + topPadding + bottomPadding)
            padding: 4
            leftPadding: 6
            rightPadding: 6
            verticalAlignment: TextInput.AlignVCenter
            color: SetupTheme.primaryText
            selectionColor: SetupTheme.system.highlight
            selectedTextColor: SetupTheme.system.highlightedText
            placeholderText: "Search prompts"
            text: view.viewModel.searchText
            onTextEdited: view.viewModel.searchText = text
            Accessible.name: "Search prompts"
            Keys.onEscapePressed: view.viewModel.clearSearch()

            Text {
                objectName: "searchPlaceholder"
                x: searchField.leftPadding
                y: searchField.topPadding
                width: searchField.width - (searchField.leftPadding + searchField.rightPadding)
                height: searchField.height - (searchField.topPadding + searchField.bottomPadding)
                visible: !searchField.length && !searchField.preeditText
                text: searchField.placeholderText
                font: searchField.font
                color: SetupTheme.secondaryText
                verticalAlignment: Text.AlignVCenter
                elide: Text.ElideRight
            }

            background: Rectangle {
                objectName: "searchFieldOutline"
                implicitHeight: 24
                radius: 4
                color: SetupTheme.system.base
                border.width: searchField.activeFocus ? 2 : 1
                border.color: searchField.activeFocus ? SetupTheme.focusRing : SetupTheme.separator
            }
        }
    }

    Column {
        id: emptyState

        // The app's mark when nothing waits; the filter's when it hides all.
        readonly property bool isNothingPending: view.viewModel.contentState === PromptsViewModel.ContentState.noPendingPrompts

        objectName: "emptyState"
        anchors.centerIn: listPane
        // At rest the pane is at least 420 wide; it is narrower only while it
        // folds away or back. Bound to its width, the texts would be wrapped
        // again at each width it takes as the window is laid out, down to a
        // letter a line, and at each frame of its folding.
        width: 360
        spacing: 12
        visible: view.viewModel.contentState !== PromptsViewModel.ContentState.list

        PromptGlyph {
            anchors.horizontalCenter: parent.horizontalCenter
            width: emptyState.isNothingPending ? 48 : 36
            height: width
            shape: emptyState.isNothingPending ? PromptGlyph.Shape.app : PromptGlyph.Shape.filter
            color: SetupTheme.secondaryText
        }
        // The template's labels, as in the sidebar's entries.
        T.Label {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: view.viewModel.emptyTitle
            font.pixelSize: 17
            color: SetupTheme.secondaryText
        }
        T.Label {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: view.viewModel.emptyMessage
            font.pixelSize: 12
            color: SetupTheme.secondaryText
        }
    }

    // From its own file, so that the rows' types are read only once it is made.
    Loader {
        id: listPane

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: searchBar.bottom
        anchors.bottom: parent.bottom
        active: view.isListMade
        Component.onCompleted: setSource(Qt.resolvedUrl("PromptListPane.qml"), {
            viewModel: view.viewModel, listModel: view.listModel,
            decider: view.decider, rowMenu: view.rowMenu, group: view.group
        })
        onLoaded: view.viewModel.listMade()
    }
}
