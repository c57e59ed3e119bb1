import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zor

// The setup tab: the four background pieces with their repairs, and the
// screen-wide restart, stop and refresh.
ScrollView {
    id: view

    required property ServiceMonitor monitor
    required property ServiceRepairs repairs

    objectName: "setupView"
    padding: 20
    contentWidth: availableWidth
    font.pixelSize: SetupTheme.bodySize
    // The controls follow the system's palette as it changes, light or dark.
    palette.window: SetupTheme.system.window
    palette.windowText: SetupTheme.system.windowText
    palette.base: SetupTheme.system.base
    palette.alternateBase: SetupTheme.system.alternateBase
    palette.text: SetupTheme.system.text
    palette.button: SetupTheme.system.button
    palette.buttonText: SetupTheme.system.buttonText
    palette.light: SetupTheme.system.light
    palette.midlight: SetupTheme.system.midlight
    palette.mid: SetupTheme.system.mid
    palette.dark: SetupTheme.system.dark
    palette.shadow: SetupTheme.system.shadow
    palette.highlight: SetupTheme.system.highlight
    palette.highlightedText: SetupTheme.system.highlightedText

    background: Rectangle {
        color: SetupTheme.windowBackground
    }

    // The screen exists from launch on, shown or not, so its first check runs at once.
    Component.onCompleted: monitor.appear()
    Component.onDestruction: monitor.disappear()

    component Separator: Rectangle {
        Layout.fillWidth: true
        // Inset like the platform's grouped lists: the line starts under the text.
        Layout.leftMargin: SetupTheme.groupPadding + 30
        implicitHeight: 1
        color: SetupTheme.separator
    }

    // The error that ended a flow, below the buttons.
    component FlowError: Label {
        Layout.fillWidth: true
        Layout.topMargin: -8
        visible: text !== ""
        color: SetupTheme.readable(SetupTheme.red, SetupTheme.windowBackground)
        font.pixelSize: SetupTheme.captionSize
        wrapMode: Text.Wrap
    }

    ColumnLayout {
        width: view.availableWidth
        spacing: 16

        OutdatedBanner {
            objectName: "outdatedBanner"
            Layout.fillWidth: true
            visible: view.monitor.isAnyOutdated
            onRestart: view.repairs.restartServices()
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: steps.implicitHeight
            radius: SetupTheme.groupRadius
            color: SetupTheme.groupBackground
            border.color: SetupTheme.groupBorder

            ColumnLayout {
                id: steps

                anchors.left: parent.left
                anchors.right: parent.right
                spacing: 0

                SetupStepBox {
                    objectName: "cliStepBox"
                    Layout.fillWidth: true
                    label: "CLI Symlink"
                    description: "Makes the zor command available in your terminal"
                    step: view.monitor.cliStep
                    onAction: view.repairs.fixCLISymlink()
                    onLinkActivated: link => view.repairs.openLink(link)
                }

                Separator {}

                SetupStepBox {
                    objectName: "daemonStepBox"
                    Layout.fillWidth: true
                    label: "Sandbox Daemon"
                    description: "Enforces file and process sandboxing"
                    step: view.monitor.daemonStep
                    onAction: view.repairs.fixDaemon()
                    onLinkActivated: link => view.repairs.openLink(link)
                }

                Separator {}

                SetupStepBox {
                    objectName: "agentStepBox"
                    Layout.fillWidth: true
                    label: "Notification Agent"
                    description: "Delivers notifications"
                    step: view.monitor.agentStep
                    onAction: view.repairs.fixAgent()
                    onLinkActivated: link => view.repairs.openLink(link)
                }

                Separator {}

                SetupStepBox {
                    objectName: "neStepBox"
                    Layout.fillWidth: true
                    label: "Network Extension"
                    description: "Enforces network sandboxing"
                    step: view.monitor.neStep
                    onAction: view.repairs.fixNetworkExtension()
                    onLinkActivated: link => view.repairs.openLink(link)
                }
            }
        }

        // Wraps to a second line where the sidebar is too narrow for all three.
        Flow {
            Layout.fillWidth: true
            spacing: 8

            Button {
                objectName: "restartButton"
                text: view.repairs.isRestarting ? "Restarting..." : "Restart Services"
                onClicked: view.repairs.restartServices()
            }

            Button {
                objectName: "stopButton"
                text: view.repairs.isStopping ? "Stopping..." : "Stop All Services"
                // The destructive role, as the platform draws it.
                palette.buttonText: SetupTheme.readable(SetupTheme.red, SetupTheme.system.button)
                onClicked: view.repairs.stopAllServices()
            }

            Button {
                objectName: "refreshButton"
                text: "Refresh"
                onClicked: view.monitor.refresh()
            }
        }

        FlowError {
            objectName: "restartError"
            text: view.repairs.restartError
        }

        FlowError {
            objectName: "stopError"
            text: view.repairs.stopError
        }
    }
}
