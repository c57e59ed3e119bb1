import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// One background piece: what it is, how it is doing, and what would repair it.
// Everything stacks in one column beside the icon, so that it fits the sidebar.
Item {
    id: box

    required property string label
    required property string description
    // A StepDisplay.
    required property var step

    // The step's button was clicked.
    signal action
    // A link in the instruction was clicked.
    signal linkActivated(string link)

    implicitWidth: row.implicitWidth + 2 * SetupTheme.groupPadding
    implicitHeight: row.implicitHeight + 2 * SetupTheme.groupPadding

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: SetupTheme.groupPadding
        spacing: 12

        StatusIcon {
            objectName: "statusIcon"
            Accessible.name: box.step.statusName(box.label)
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 1
            isChecking: box.step.isChecking
            isOK: box.step.isOK
            isUnsupported: box.step.isUnsupported
            tint: SetupTheme.statusColors[box.step.color]
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3

            Label {
                objectName: "stepLabel"
                Layout.fillWidth: true
                text: box.label
                color: SetupTheme.primaryText
                font.weight: Font.Medium
                elide: Text.ElideRight
            }

            Label {
                objectName: "stepDescription"
                Layout.fillWidth: true
                text: box.description
                color: SetupTheme.secondaryText
                font.pixelSize: SetupTheme.captionSize
                wrapMode: Text.Wrap
            }

            Label {
                objectName: "statusLabel"
                Layout.fillWidth: true
                Layout.topMargin: 3
                text: box.step.label
                color: SetupTheme.statusColors[box.step.color]
                font.pixelSize: SetupTheme.captionSize
                font.weight: Font.Medium
                wrapMode: Text.Wrap
            }

            // With a link, the keyboard reaches it: Enter or Space follows it.
            // When the link goes, the keys move on; Qt keeps the focused item
            // in the tab order until they have gone.
            Label {
                id: instruction

                readonly property bool hasLink: box.step.instructionLink !== ""

                objectName: "instruction"
                Layout.fillWidth: true
                visible: box.step.hasInstruction
                text: box.step.instructionText
                textFormat: Text.MarkdownText
                color: SetupTheme.primaryText
                font.pixelSize: SetupTheme.captionSize
                wrapMode: Text.Wrap
                activeFocusOnTab: hasLink || activeFocus
                KeyFocus.isTaken: hasLink
                Accessible.role: hasLink ? Accessible.Link : Accessible.StaticText
                Accessible.name: box.step.instructionPlainText
                onLinkActivated: link => box.linkActivated(link)
                Keys.onReturnPressed: box.linkActivated(box.step.instructionLink)
                Keys.onEnterPressed: box.linkActivated(box.step.instructionLink)
                Keys.onSpacePressed: box.linkActivated(box.step.instructionLink)

                HoverHandler {
                    cursorShape: parent.hoveredLink ? Qt.PointingHandCursor : Qt.ArrowCursor
                }

                FocusRing {
                    objectName: "linkFocusRing"
                    isShown: instruction.activeFocus
                    outside: SetupTheme.groupBackground
                }
            }

            Button {
                id: actionButton

                objectName: "actionButton"
                Layout.alignment: Qt.AlignLeft
                Layout.topMargin: 4
                visible: box.step.button.kind === SetupStatus.ButtonKind.cta
                text: box.step.button.label
                // Which piece it repairs: the other steps' buttons may read the same.
                Accessible.name: box.step.buttonName(box.label)
                // Gone from assistive tools with its label when the step has no repair.
                Accessible.ignored: !visible
                onClicked: box.action()

                FocusRing {
                    objectName: "repairFocusRing"
                    isShown: actionButton.visualFocus
                    outside: SetupTheme.groupBackground
                    inside: SetupTheme.system.button
                }
            }

            Label {
                objectName: "noticeLabel"
                Layout.alignment: Qt.AlignLeft
                Layout.topMargin: 4
                visible: box.step.button.kind === SetupStatus.ButtonKind.notice
                text: box.step.button.label
                color: SetupTheme.secondaryText
                font.pixelSize: SetupTheme.captionSize
            }

            BusyIndicator {
                objectName: "progressIndicator"
                Accessible.name: box.label + " in progress"
                Layout.alignment: Qt.AlignLeft
                Layout.topMargin: 4
                Layout.preferredWidth: 18
                Layout.preferredHeight: 18
                padding: 0
                visible: box.step.button.kind === SetupStatus.ButtonKind.inProgress
                running: visible
            }
        }
    }
}
