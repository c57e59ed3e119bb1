import QtQuick
import QtQuick.Templates as T
import Zor

// One pending prompt: what was denied to which process, and the decisions.
//
// Placed with anchors rather than layouts: its height is known the moment the
// list makes it, so that a scroll to a row lands where the row really is.
// Drawn on the templates, each part in its own colours: the style's would be
// read, its plugin loaded, before the first rows could show.
Rectangle {
    id: row

    required property int index
    required property string promptId
    required property int kind
    required property string title
    required property string processName
    required property string target
    required property string sessionId
    required property string policyPath
    required property bool sessionEnded
    required property bool isProcessing
    required property bool isHighlighted
    required property bool isSelected

    required property PromptDecider decider
    required property bool isListFocused
    // The native text of each decision's shortcut, by decision.
    required property var shortcutTexts
    // Whether the decision keys decide this row's prompt.
    required property bool isKeysTarget
    // Whether it is the highlighted one among more selected rows.
    required property bool isHighlightMarked

    // Before the row shows another prompt. A new text clears the selection
    // by itself, but two prompts may have the same target.
    function clearSelection() {
        targetText.deselect();
    }

    // A PromptsViewModel.Click: alone, with Ctrl (Cmd), or with Shift.
    signal clicked(int click)
    signal contextMenuRequested(real x, real y)

    readonly property real margin: 16
    readonly property real textStart: 48
    // The header line's room for the title and the process name: the
    // "session ended" badge keeps its own, however long they are.
    readonly property real headerRoom: width - textStart - margin
                                       - (sessionEnded ? sessionEndedLabel.implicitWidth + 8 : 0)
    // Texts read on whatever the row's background is. While a decision is
    // underway the row is dimmed: its texts turn secondary and its buttons close.
    readonly property color secondaryOnRow: SetupTheme.rowSecondaryText
    readonly property color primaryOnRow: isProcessing ? secondaryOnRow : SetupTheme.primaryText

    implicitHeight: decisions.y + decisions.height + 8
    color: !isHighlighted && !isSelected ? SetupTheme.system.base
           : isListFocused ? SetupTheme.rowHighlight : SetupTheme.rowSelection
    // Closed to clicks while its decision is underway.
    enabled: !isProcessing

    Accessible.role: Accessible.ListItem
    Accessible.name: AccessibleText.join([title, processName, sessionEnded ? sessionEndedLabel.text : "", target])
    Accessible.selected: isSelected
    // The keys stay with the list; a screen reader hears the highlight move
    // as the focus, to this row.
    AccessibleFocus.isFocused: isHighlighted && isListFocused

    // The highlighted row's edge, where the same colour fills more rows.
    Rectangle {
        objectName: "highlightMark"
        anchors.fill: parent
        visible: row.isHighlightMarked
        color: "transparent"
        border.width: 2
        border.color: SetupTheme.rowHighlightMark
    }

    // Between rows, starting under the text as in the platform's plain lists.
    Rectangle {
        objectName: "rowSeparator"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: row.textStart
        height: 1
        color: SetupTheme.rowSeparator
    }

    TapHandler {
        acceptedButtons: Qt.LeftButton
        acceptedModifiers: Qt.NoModifier
        onTapped: row.clicked(PromptsViewModel.Click.only)
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton
        acceptedModifiers: Qt.ControlModifier
        onTapped: row.clicked(PromptsViewModel.Click.toggle)
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton
        acceptedModifiers: Qt.ShiftModifier
        onTapped: row.clicked(PromptsViewModel.Click.extend)
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: (eventPoint) => row.contextMenuRequested(eventPoint.position.x, eventPoint.position.y)
    }

    component DecisionButton: T.AbstractButton {
        id: button

        required property int decision
        required property color fill
        required property color fillText
        required property color outline

        enabled: row.decider.isEnabled(decision, row.sessionEnded, row.isProcessing)
        text: row.decider.labels[decision]
        implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                                implicitContentWidth + leftPadding + rightPadding)
        implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                                 implicitContentHeight + topPadding + bottomPadding)
        font.pixelSize: 10
        leftPadding: 6
        rightPadding: 6
        topPadding: 4
        bottomPadding: 4
        focusPolicy: Qt.NoFocus
        Accessible.name: row.decider.accessibleName(decision, row.target)
        // Its keys, on the row they decide, or why it is closed.
        readonly property string description: row.decider.accessibleDescription(
            decision, row.shortcutTexts[decision], row.isKeysTarget, row.sessionEnded, row.isProcessing)
        Accessible.description: description
        // Whatever hover effects the desktop asks for, as the sidebar's do.
        hoverEnabled: true
        T.ToolTip.visible: hovered
        T.ToolTip.delay: 600
        T.ToolTip.text: description
        onClicked: row.decider.decideRow(row.index, decision)

        // Open: filled. Closed: only an outline, and the text the row's secondary.
        contentItem: Text {
            text: button.text
            font: button.font
            color: button.enabled ? button.fillText : row.secondaryOnRow
        }
        background: Rectangle {
            color: !button.enabled ? row.color : button.down ? Qt.darker(button.fill, 1.1) : button.fill
            border.width: button.enabled ? 0 : 1
            border.color: button.outline
        }
    }

    component DecisionGroup: Item {
        id: group

        required property string label
        required property color chip
        required property color chipText
        default property alias buttons: buttonRow.data

        implicitWidth: chipLabel.implicitWidth + buttonRow.implicitWidth
        implicitHeight: chipLabel.implicitHeight

        T.Label {
            id: chipLabel

            text: group.label
            // Its buttons' names say it.
            Accessible.ignored: true
            color: group.chipText
            font.pixelSize: 10
            leftPadding: 6
            rightPadding: 6
            topPadding: 4
            bottomPadding: 4
            background: Rectangle {
                color: group.chip
            }
        }
        Row {
            id: buttonRow

            anchors.left: chipLabel.right
        }
        // Clipping to a rounded shape needs effects the software renderer
        // lacks; an outline in the row's colour rounds the corners instead.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            radius: 7
            color: "transparent"
            border.width: 3
            border.color: row.color
        }
    }

    PromptGlyph {
        objectName: "promptGlyph"
        x: row.margin
        y: 10
        width: 20
        height: 20
        shape: row.kind
        color: row.sessionEnded || row.isProcessing ? row.secondaryOnRow
                                                    : SetupTheme.rowGlyph
    }

    T.Label {
        id: titleLabel

        objectName: "promptTitle"
        x: row.textStart
        y: 8
        width: Math.max(0, Math.min(implicitWidth, row.headerRoom))
        text: row.title
        // The agent's texts, which a process may have chosen: never read as markup.
        textFormat: Text.PlainText
        // The window reads left to right, whatever script a text starts with.
        horizontalAlignment: Text.AlignLeft
        elide: Text.ElideRight
        font.pixelSize: 13
        font.weight: Font.Medium
        color: row.primaryOnRow
    }
    T.Label {
        id: processLabel

        objectName: "promptProcess"
        anchors.left: titleLabel.right
        anchors.leftMargin: width > 0 ? 8 : 0
        anchors.baseline: titleLabel.baseline
        visible: row.processName !== ""
        width: Math.max(0, Math.min(implicitWidth, row.headerRoom - titleLabel.width - 8))
        elide: Text.ElideRight
        text: row.processName
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignLeft
        font.pixelSize: 11
        color: row.secondaryOnRow
    }
    T.Label {
        id: sessionEndedLabel

        objectName: "sessionEndedBadge"
        anchors.left: processLabel.visible ? processLabel.right : titleLabel.right
        anchors.leftMargin: 8
        anchors.verticalCenter: titleLabel.verticalCenter
        visible: row.sessionEnded
        text: "session ended"
        font.pixelSize: 10
        color: row.secondaryOnRow
        leftPadding: 4
        rightPadding: 4
        topPadding: 1
        bottomPadding: 1
        background: Rectangle {
            radius: 3
            border.width: 1
            border.color: row.secondaryOnRow
            color: "transparent"
        }
    }

    TextEdit {
        id: targetText

        objectName: "promptTarget"
        x: row.textStart
        y: titleLabel.y + titleLabel.height + 4
        width: row.width - x - row.margin
        height: contentHeight
        text: row.target
        readOnly: true
        selectByMouse: true
        // Selecting text leaves the keyboard with the list.
        activeFocusOnPress: false
        wrapMode: TextEdit.WrapAnywhere
        horizontalAlignment: TextEdit.AlignLeft
        font.family: FixedFont.family
        font.pixelSize: 12
        color: row.primaryOnRow
        selectionColor: SetupTheme.accent
        selectedTextColor: SetupTheme.selectedText
        // Text to read, not to edit.
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    // Both groups fit beside each other at the detail pane's least width.
    Row {
        id: decisions

        x: row.textStart + 3
        y: targetText.y + targetText.height + 4 + 3
        height: allowGroup.implicitHeight + 3
        spacing: 14

        DecisionGroup {
            id: allowGroup

            label: "Allow"
            chip: SetupTheme.allowChip
            chipText: SetupTheme.allowChipText

            DecisionButton { decision: PromptDecider.Decision.allowOnce; fill: SetupTheme.allowFill; fillText: SetupTheme.allowFillText; outline: SetupTheme.allowOutline }
            DecisionButton { decision: PromptDecider.Decision.allowSession; fill: SetupTheme.allowFill; fillText: SetupTheme.allowFillText; outline: SetupTheme.allowOutline }
            DecisionButton { decision: PromptDecider.Decision.allowAlways; fill: SetupTheme.allowFill; fillText: SetupTheme.allowFillText; outline: SetupTheme.allowOutline }
        }
        DecisionGroup {
            label: "Deny"
            chip: SetupTheme.denyChip
            chipText: SetupTheme.denyChipText

            DecisionButton { decision: PromptDecider.Decision.denySession; fill: SetupTheme.denyFill; fillText: SetupTheme.denyFillText; outline: SetupTheme.denyOutline }
            DecisionButton { decision: PromptDecider.Decision.denyAlways; fill: SetupTheme.denyFill; fillText: SetupTheme.denyFillText; outline: SetupTheme.denyOutline }
        }
    }
}
