import QtQuick
import QtQuick.Templates as T
import Zor

// A tool tip that shows its text as it is, for texts that come from other
// processes: the style's reads a text with a tag in it as markup. Placed and
// drawn as the style's, but built on the template, so that showing it reads
// no file of the style.
T.ToolTip {
    id: tip

    x: parent ? (parent.width - implicitWidth) / 2 : 0
    y: -implicitHeight - 3
    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            contentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                             contentHeight + topPadding + bottomPadding)
    margins: 6
    padding: 6
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent | T.Popup.CloseOnReleaseOutsideParent

    contentItem: Text {
        objectName: "plainToolTipText"
        text: tip.text
        textFormat: Text.PlainText
        // Left to right as the window, whatever script the text starts with.
        horizontalAlignment: Text.AlignLeft
        wrapMode: Text.Wrap
        font: tip.font
        color: Contrast.toReach(tip.palette.toolTipText, tip.palette.toolTipBase, Contrast.textRatio)
    }

    background: Rectangle {
        color: tip.palette.toolTipBase
        border.color: Contrast.toReach(SetupTheme.separator, tip.palette.toolTipBase, Contrast.markRatio)
        radius: 2
    }
}
