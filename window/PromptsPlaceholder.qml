import QtQuick
import QtQuick.Controls
import Zor

// Stands where the prompt views will be.
Rectangle {
    id: placeholder

    property string title

    color: SetupTheme.windowBackground
    Accessible.name: title

    Label {
        anchors.centerIn: parent
        text: placeholder.title
        color: SetupTheme.secondaryText
    }
}
