import QtQuick
import QtQuick.Templates as T
import Zor

// The search field over the prompt list, drawn on the template in the app's
// colours: the style's field would have the whole style read before the
// window's first frame. Its outline reaches the contrast marks need, and
// takes the focus ring's colour while the field has the keyboard.
T.TextField {
    id: field

    implicitWidth: implicitBackgroundWidth + leftInset + rightInset
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                             contentHeight + topPadding + bottomPadding)
    padding: 4
    leftPadding: 6
    rightPadding: 6
    color: SetupTheme.primaryText
    selectionColor: SetupTheme.system.highlight
    selectedTextColor: SetupTheme.system.highlightedText
    placeholderTextColor: SetupTheme.secondaryText
    verticalAlignment: TextInput.AlignVCenter

    Text {
        objectName: "searchPlaceholder"
        x: field.leftPadding
        y: field.topPadding
        width: field.width - (field.leftPadding + field.rightPadding)
        height: field.height - (field.topPadding + field.bottomPadding)
        visible: !field.length && !field.preeditText
        text: field.placeholderText
        font: field.font
        color: field.placeholderTextColor
        verticalAlignment: field.verticalAlignment
        elide: Text.ElideRight
        renderType: field.renderType
    }

    background: Rectangle {
        objectName: "searchFieldOutline"
        implicitWidth: 120
        implicitHeight: 24
        radius: 4
        color: SetupTheme.system.base
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? SetupTheme.focusRing : SetupTheme.separator
    }
}
