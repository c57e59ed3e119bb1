import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// Asks before a decision for many prompts: the decision, the count and the
// first few targets. A deny or a dismissal may be confirmed with Enter; an
// allow only with its button, so that no stray key grants anything.
Dialog {
    id: confirmation

    property GroupDecision group

    objectName: "groupConfirmation"
    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(parent ? parent.width - 40 : 400, 420)
    // Never taller than the window: the targets scroll between the title and the buttons.
    height: Math.min(implicitHeight, parent ? parent.height - 40 : implicitHeight)
    modal: true
    padding: 16
    closePolicy: Popup.CloseOnEscape
    title: group ? group.question : ""
    // Escape, or the window's own close: the group is not decided.
    onClosed: if (group) group.cancel()

    contentItem: ScrollView {
        id: targetsScroller

        contentWidth: availableWidth
        contentHeight: targetsLabel.implicitHeight
        // In the dialog's padding beside the text, which keeps its width.
        ScrollBar.vertical: ScrollBar {
            parent: targetsScroller
            x: targetsScroller.width + (confirmation.rightPadding - width) / 2
            height: targetsScroller.height
            policy: targetsLabel.implicitHeight > targetsScroller.height + 0.5
                    ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }
        ScrollBar.horizontal.policy: ScrollBar.AlwaysOff

        Label {
            id: targetsLabel

            objectName: "groupTargets"
            width: targetsScroller.availableWidth
            text: confirmation.group ? confirmation.group.targets : ""
            // The agent's targets, which a process may have chosen: never read as markup.
            textFormat: Text.PlainText
            // Left to right as the window, whatever script a target starts with.
            horizontalAlignment: Text.AlignLeft
            wrapMode: Text.WrapAnywhere
            font.family: FixedFont.family
            font.pixelSize: 12
            color: SetupTheme.primaryText
        }
    }

    footer: RowLayout {
        spacing: 8
        // The buttons hold the keyboard; Enter comes up to here, and the
        // arrows and page keys scroll the targets.
        Keys.onReturnPressed: confirmation.group.confirmWithEnter()
        Keys.onEnterPressed: confirmation.group.confirmWithEnter()
        Keys.onUpPressed: targetsScroller.ScrollBar.vertical.decrease()
        Keys.onDownPressed: targetsScroller.ScrollBar.vertical.increase()
        Keys.onPressed: (event) => {
            const bar = targetsScroller.ScrollBar.vertical;
            if (event.key === Qt.Key_PageUp)
                bar.position = Math.max(0, bar.position - bar.size);
            else if (event.key === Qt.Key_PageDown)
                bar.position = Math.min(1 - bar.size, bar.position + bar.size);
            else
                return;
            event.accepted = true;
        }

        Item {
            Layout.fillWidth: true
        }
        Button {
            id: cancelButton

            objectName: "groupCancel"
            Layout.bottomMargin: 12
            text: "Cancel"
            focus: true
            onClicked: confirmation.close()
        }
        Button {
            objectName: "groupConfirm"
            Layout.bottomMargin: 12
            Layout.rightMargin: 12
            text: confirmation.group ? confirmation.group.confirmLabel : ""
            palette.buttonText: confirmation.group && confirmation.group.isAllowing
                                ? SetupTheme.readableOnButton(SetupTheme.green)
                                : confirmation.group && confirmation.group.isDenying
                                  ? SetupTheme.readableOnButton(SetupTheme.red)
                                  : SetupTheme.system.buttonText
            onClicked: confirmation.group.confirm()
        }
    }
}
