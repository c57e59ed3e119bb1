import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// A group decision underway, when it is large, and then how it ended: made
// from its own file while there is something to show.
Rectangle {
    id: bar

    // Set by the loader.
    property GroupDecision group

    objectName: "groupBar"
    implicitHeight: groupRow.implicitHeight + 12
    color: SetupTheme.windowBackground

    Rectangle {
        width: parent.width
        height: 1
        color: SetupTheme.separator
    }

    RowLayout {
        id: groupRow

        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        spacing: 8

        ProgressBar {
            id: progress

            objectName: "groupProgress"
            Layout.fillWidth: true
            visible: bar.group.state === GroupDecision.State.deciding && bar.group.showsProgress
            from: 0
            to: bar.group.sentCount
            value: bar.group.doneCount
            Accessible.name: bar.group.doneCount + " of " + bar.group.sentCount + " decided"
        }
        Label {
            objectName: "groupOutcome"
            Layout.fillWidth: true
            visible: !progress.visible
            text: bar.group.outcome
            color: SetupTheme.primaryText
            wrapMode: Text.Wrap
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        Button {
            visible: !progress.visible
            text: "Close"
            Accessible.name: "Close the outcome"
            onClicked: bar.group.clearOutcome()
        }
    }
}
