import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T
import QtQuick.Layouts
import Zor

// The setup tab: the four background pieces with their repairs, which scroll
// where the window is short, and below them, always in view, the screen-wide
// restart, stop and refresh.
Control {
    id: view

    required property ServiceMonitor monitor
    required property ServiceRepairs repairs

    objectName: "setupView"
    // Where the keys go when the focused control hides, as a step's button
    // does while its repair runs: Refresh does no harm pressed again.
    readonly property Item focusHome: refreshButton
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    // As tall as everything on it: how tall it wants to be where nothing scrolls.
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    padding: 0
    topPadding: 20
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

    // A screen-wide flow, offered only where the system can manage the services.
    component FlowButton: Button {
        id: flowButton

        property color textColor: SetupTheme.system.buttonText

        enabled: view.repairs.hasServiceManager
        // Closed, it reads as closed.
        palette.buttonText: enabled ? textColor : SetupTheme.readableOnButton(SetupTheme.secondaryText)
        T.ToolTip.visible: !enabled && unavailableHover.hovered
        T.ToolTip.text: "Not available on this system: it has no service manager."
        // Closed, assistive tools say why.
        Accessible.description: enabled ? "" : T.ToolTip.text
        T.ToolTip.delay: 600

        // A disabled button sees no hover of its own; its handler does.
        HoverHandler {
            id: unavailableHover
        }

        FocusRing {
            objectName: "flowFocusRing"
            isShown: flowButton.visualFocus
            inside: SetupTheme.system.button
        }
    }

    // The error that ended a flow, below the buttons; an alert, so that
    // assistive tools tell it as it comes. A service manager's run to many
    // lines: a few show, the rest scroll, so that the steps keep their room,
    // and all of it can be selected and copied.
    component FlowError: ScrollView {
        id: flowError

        property alias text: errorText.text
        property alias color: errorText.color
        // As many whole lines as its share of the room the steps leave, from one to four.
        property real room
        readonly property real lineHeight: errorText.contentHeight / Math.max(1, errorText.lineCount)
        readonly property int lineLimit: Math.max(1, Math.min(4, Math.floor(room / lineHeight)))

        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(errorText.contentHeight, lineLimit * lineHeight)
        Layout.minimumHeight: Layout.preferredHeight
        visible: text !== ""
        contentWidth: availableWidth
        contentHeight: errorText.contentHeight
        // In the margin beside the text, which keeps its width.
        ScrollBar.vertical: ScrollBar {
            parent: flowError
            x: flowError.width + 4
            height: flowError.height
            policy: errorText.contentHeight > flowError.height + 0.5 ? ScrollBar.AlwaysOn
                                                                     : ScrollBar.AlwaysOff
        }
        ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text

        TextEdit {
            id: errorText

            width: flowError.availableWidth
            readOnly: true
            selectByMouse: true
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            color: SetupTheme.readable(SetupTheme.red, SetupTheme.windowBackground)
            font.pixelSize: SetupTheme.captionSize
            selectionColor: SetupTheme.accent
            selectedTextColor: SetupTheme.selectedText
            // The alert around it says it already.
            Accessible.ignored: true
        }
    }

    contentItem: ColumnLayout {
        spacing: 0

        ScrollView {
            id: scroller

            objectName: "setupScroller"
            Layout.fillWidth: true
            Layout.fillHeight: true
            leftPadding: 20
            rightPadding: 20
            bottomPadding: 16
            contentWidth: availableWidth
            // A bar that stays while there is more to see, and none while all of it shows.
            ScrollBar.vertical.policy: contentHeight > availableHeight ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
            ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
            // Tab brings each control into sight.
            FocusInView.isKept: true

            ColumnLayout {
                width: scroller.availableWidth
                spacing: 16

                OutdatedBanner {
                    objectName: "outdatedBanner"
                    Layout.fillWidth: true
                    visible: view.monitor.isAnyOutdated
                    canRestart: view.repairs.hasServiceManager
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
                            id: cliStepBox

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
            }
        }

        // Marks where the steps scroll under the buttons.
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: SetupTheme.separator
            visible: scroller.ScrollBar.vertical.policy === ScrollBar.AlwaysOn
        }

        ColumnLayout {
            id: actions

            // What the errors shown may share: the height left once the
            // steps have room for a box and the buttons theirs.
            readonly property int errorCount: (restartError.text !== "") + (stopError.text !== "")
            readonly property real errorRoom: (view.availableHeight - scroller.topPadding
                                               - scroller.bottomPadding - cliStepBox.height - 1
                                               - Layout.topMargin - Layout.bottomMargin
                                               - buttons.height - errorCount * spacing)
                                              / Math.max(1, errorCount)

            objectName: "setupActions"
            Layout.fillWidth: true
            Layout.margins: 20
            Layout.topMargin: 12
            spacing: 8

            // Wraps to a second line where the sidebar is too narrow for all three.
            Flow {
                id: buttons

                Layout.fillWidth: true
                spacing: 8

                FlowButton {
                    objectName: "restartButton"
                    text: view.repairs.isRestarting ? "Restarting..." : "Restart Services"
                    onClicked: view.repairs.restartServices()
                }

                FlowButton {
                    objectName: "stopButton"
                    text: view.repairs.isStopping ? "Stopping..." : "Stop All Services"
                    // The destructive role, as the platform draws it.
                    textColor: SetupTheme.readableOnButton(SetupTheme.red)
                    onClicked: view.repairs.stopAllServices()
                }

                Button {
                    id: refreshButton

                    objectName: "refreshButton"
                    text: "Refresh"
                    onClicked: view.monitor.refresh()

                    FocusRing {
                        objectName: "refreshFocusRing"
                        isShown: refreshButton.visualFocus
                        inside: SetupTheme.system.button
                    }
                }
            }

            FlowError {
                id: restartError

                objectName: "restartError"
                text: view.repairs.restartError
                room: actions.errorRoom
            }

            FlowError {
                id: stopError

                objectName: "stopError"
                text: view.repairs.stopError
                room: actions.errorRoom
            }
        }
    }
}
