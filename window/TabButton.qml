import QtQuick
import QtQuick.Controls as Controls
import Zor

// One tab of the sidebar's row: a plain title, with a tinted plate behind it when selected.
Controls.AbstractButton {
    id: button

    property bool isSelected: false

    leftPadding: 10
    rightPadding: 10
    topPadding: 4
    bottomPadding: 4
    font.pixelSize: 14
    font.weight: Font.Medium
    Accessible.role: Accessible.PageTab
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
        color: button.isSelected ? SetupTheme.selectedTabBackground : "transparent"
    }
}
