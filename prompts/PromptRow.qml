import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// One pending prompt: what was denied to which process, and the decisions.
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

    required property PromptDecider decider
    required property bool isHighlighted
    required property bool isListFocused
    // The native text of each decision's shortcut, by decision.
    required property var shortcutTexts

    signal highlightRequested
    signal contextMenuRequested(real x, real y)

    implicitHeight: content.implicitHeight + 16
    color: !isHighlighted ? "transparent"
           : isListFocused ? Qt.rgba(SetupTheme.accent.r, SetupTheme.accent.g, SetupTheme.accent.b, 0.22)
           : SetupTheme.selectedTabBackground
    // Dimmed and closed to clicks while its decision is underway.
    opacity: isProcessing ? 0.5 : 1
    enabled: !isProcessing

    Accessible.role: Accessible.ListItem
    Accessible.name: title + ": " + target

    // Between rows, starting under the text as in the platform's plain lists.
    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: 48
        height: 1
        color: SetupTheme.separator
    }

    TapHandler {
        acceptedButtons: Qt.LeftButton
        onTapped: row.highlightRequested()
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: (eventPoint) => row.contextMenuRequested(eventPoint.position.x, eventPoint.position.y)
    }

    component DecisionButton: AbstractButton {
        id: button

        required property int decision
        required property color tint

        enabled: row.decider.isEnabled(decision, row.sessionEnded, row.isProcessing)
        opacity: row.decider.hasOwnDisabledState(decision) && !enabled ? 0.5 : 1
        text: row.decider.label(decision)
        font.pixelSize: 10
        leftPadding: 6
        rightPadding: 6
        topPadding: 4
        bottomPadding: 4
        focusPolicy: Qt.NoFocus
        Accessible.name: row.decider.accessibleName(decision, row.target)
        ToolTip.visible: hovered
        ToolTip.delay: 600
        ToolTip.text: row.decider.toolTip(decision, row.shortcutTexts[decision])
        onClicked: row.decider.decide(row.promptId, decision)

        contentItem: Text {
            text: button.text
            font: button.font
            color: "white"
        }
        background: Rectangle {
            color: Qt.rgba(button.tint.r, button.tint.g, button.tint.b, button.down ? 0.9 : 0.8)
        }
    }

    component DecisionGroup: Rectangle {
        id: group

        required property string label
        required property color tint
        default property alias buttons: buttonRow.data

        implicitWidth: groupRow.implicitWidth
        implicitHeight: groupRow.implicitHeight
        radius: 4
        color: "transparent"
        // Clipping to a rounded shape needs effects the software renderer
        // lacks; an outline in the row's colour rounds the corners instead.
        Row {
            id: groupRow

            Label {
                text: group.label
                color: "white"
                font.pixelSize: 10
                leftPadding: 6
                rightPadding: 6
                topPadding: 4
                bottomPadding: 4
                background: Rectangle {
                    color: Qt.rgba(group.tint.r, group.tint.g, group.tint.b, 0.6)
                }
            }
            Row {
                id: buttonRow
            }
        }
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            radius: 7
            color: "transparent"
            border.width: 3
            border.color: Qt.tint(SetupTheme.system.base, row.color)
        }
    }

    RowLayout {
        id: content

        anchors.fill: parent
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 8

        PromptGlyph {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 2
            Layout.preferredWidth: 20
            Layout.preferredHeight: 20
            Layout.rightMargin: 4
            name: ["file", "network", "exec", "signal", "device"][row.kind]
            color: row.sessionEnded ? SetupTheme.secondaryText : SetupTheme.orange
        }

        ColumnLayout {
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignTop
            spacing: 4

            RowLayout {
                spacing: 8

                Label {
                    text: row.title
                    font.pixelSize: 13
                    font.weight: Font.Medium
                    color: SetupTheme.primaryText
                }
                Label {
                    visible: row.processName !== ""
                    text: row.processName
                    font.pixelSize: 11
                    color: SetupTheme.secondaryText
                }
                Label {
                    visible: row.sessionEnded
                    text: "session ended"
                    font.pixelSize: 10
                    color: SetupTheme.secondaryText
                    leftPadding: 4
                    rightPadding: 4
                    topPadding: 1
                    bottomPadding: 1
                    background: Rectangle {
                        radius: 3
                        color: Qt.rgba(SetupTheme.secondaryText.r, SetupTheme.secondaryText.g,
                                       SetupTheme.secondaryText.b, 0.2)
                    }
                }
            }

            TextEdit {
                Layout.fillWidth: true
                text: row.target
                readOnly: true
                selectByMouse: true
                // Selecting text leaves the keyboard with the list.
                activeFocusOnPress: false
                wrapMode: TextEdit.WrapAnywhere
                font.family: FixedFont.family
                font.pixelSize: 12
                color: SetupTheme.primaryText
                selectionColor: SetupTheme.accent
                selectedTextColor: "white"
            }

            // The deny group moves under the allow group when the pane is narrow.
            Flow {
                Layout.fillWidth: true
                spacing: 8

                DecisionGroup {
                    label: "Allow"
                    tint: SetupTheme.green

                    DecisionButton { decision: PromptDecider.Decision.allowOnce; tint: SetupTheme.green }
                    DecisionButton { decision: PromptDecider.Decision.allowSession; tint: SetupTheme.green }
                    DecisionButton { decision: PromptDecider.Decision.allowAlways; tint: SetupTheme.green }
                }
                DecisionGroup {
                    label: "Deny"
                    tint: SetupTheme.red

                    DecisionButton { decision: PromptDecider.Decision.denySession; tint: SetupTheme.red }
                    DecisionButton { decision: PromptDecider.Decision.denyAlways; tint: SetupTheme.red }
                }
            }
        }
    }
}
