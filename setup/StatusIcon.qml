import QtQuick
import QtQuick.Controls
import Zor

// A step's status at a glance: progress, a check mark, a dash for a piece
// this system does not have, or an exclamation mark.
Item {
    id: icon

    property bool isChecking: false
    property bool isOK: false
    property bool isUnsupported: false
    property color tint: SetupTheme.gray

    Accessible.role: Accessible.Graphic
    implicitWidth: 18
    implicitHeight: 18

    BusyIndicator {
        objectName: "checkingIndicator"
        anchors.fill: parent
        padding: 0
        visible: icon.isChecking
        running: visible
    }

    Rectangle {
        objectName: "okMark"
        anchors.fill: parent
        radius: width / 2
        color: SetupTheme.statusColors[SetupStatus.StatusColor.green]
        visible: !icon.isChecking && icon.isOK

        Text {
            anchors.centerIn: parent
            text: "\u2713"
            color: Contrast.textOn(parent.color)
            font.pixelSize: 12
            font.bold: true
        }
    }

    Rectangle {
        objectName: "problemMark"
        anchors.fill: parent
        radius: width / 2
        color: "transparent"
        border.color: icon.tint
        border.width: 1.5
        visible: !icon.isChecking && !icon.isOK && !icon.isUnsupported

        Text {
            anchors.centerIn: parent
            text: "!"
            color: icon.tint
            font.pixelSize: 12
            font.bold: true
        }
    }

    Rectangle {
        objectName: "unsupportedMark"
        anchors.fill: parent
        radius: width / 2
        color: "transparent"
        border.color: icon.tint
        border.width: 1.5
        visible: !icon.isChecking && icon.isUnsupported

        Rectangle {
            anchors.centerIn: parent
            width: 8
            height: 1.5
            color: icon.tint
        }
    }
}
