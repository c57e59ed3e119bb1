import QtQuick
import QtQuick.Templates as T
import Zor

// One tab of the sidebar's row: a plain title, with a tinted plate behind it
// when selected. Space selects it from the keyboard.
T.TabButton {
    id: button

    property bool isSelected: false
    readonly property color plateColor: isSelected ? SetupTheme.selectedTabBackground : "transparent"

    // Selected by the app state, not by being clicked.
    checkable: false
    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                             implicitContentHeight + topPadding + bottomPadding)
    leftPadding: 10
    rightPadding: 10
    topPadding: 4
    bottomPadding: 4
    font.pixelSize: 14
    font.weight: Font.Medium
    Accessible.name: text
    Accessible.selected: isSelected

    contentItem: Text {
        text: button.text
        font: button.font
        color: button.isSelected ? SetupTheme.primaryText : SetupTheme.secondaryText
        verticalAlignment: Text.AlignVCenter
    }

    background: Rectangle {
        radius: 6
        color: button.plateColor
    }

    FocusRing {
        objectName: "tabFocusRing"
        isShown: button.visualFocus
        inside: Contrast.flatten(button.plateColor, SetupTheme.windowBackground)
        radius: 8
    }
}
