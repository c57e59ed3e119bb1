import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// Tells the user that background services run an older build, and offers the restart.
Rectangle {
    id: banner

    // Where the system cannot restart the services, the banner only tells.
    property bool canRestart: true

    // The banner's button was clicked.
    signal restart

    implicitWidth: row.implicitWidth + 2 * SetupTheme.groupPadding
    implicitHeight: row.implicitHeight + 2 * SetupTheme.groupPadding
    radius: SetupTheme.groupRadius
    color: SetupTheme.bannerBackground
    border.color: SetupTheme.bannerBorder

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: SetupTheme.groupPadding
        spacing: 12

        Label {
            Layout.alignment: Qt.AlignTop
            // The text presentation selector keeps this a tintable glyph, not an emoji.
            text: "\u26a0\ufe0e"
            Accessible.role: Accessible.Graphic
            Accessible.name: "Warning"
            color: Contrast.toReach(SetupTheme.orange, SetupTheme.bannerBackground, Contrast.markRatio)
            font.pixelSize: 18
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3

            Label {
                objectName: "bannerTitle"
                Layout.fillWidth: true
                text: "Services Outdated"
                color: SetupTheme.primaryText
                font.weight: Font.Medium
            }

            Label {
                objectName: "bannerText"
                Layout.fillWidth: true
                text: "Background services are running an older version of Zor. Restart to apply the update."
                color: SetupTheme.secondaryText
                font.pixelSize: SetupTheme.captionSize
                wrapMode: Text.Wrap
            }

            Button {
                id: restartButton

                objectName: "bannerRestartButton"
                Layout.alignment: Qt.AlignLeft
                Layout.topMargin: 4
                visible: banner.canRestart
                text: "Restart"
                // Beside the steps' own Restart buttons, it says what it restarts.
                Accessible.name: "Restart Outdated Services"
                onClicked: banner.restart()

                FocusRing {
                    objectName: "bannerFocusRing"
                    isShown: restartButton.visualFocus
                    outside: banner.color
                    inside: SetupTheme.system.button
                }
            }
        }
    }
}
