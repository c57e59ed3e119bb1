import QtQuick
import QtQuick.Templates as T
import Zor

// The app's one window: the tab sidebar, and beside it the detail pane that
// folds away on the setup tab. The controller decides every size; this file
// reports what it measures and plays the animations asked of it.
// The template's window, coloured as the style's would be: naming the style's
// would have the whole style read before the first frame. Its palette, which
// the controls made later take, follows the system's from MainWindow.
T.ApplicationWindow {
    id: window

    required property QtObject appState
    required property ServiceMonitor serviceMonitor
    required property ServiceRepairs serviceRepairs
    required property MainSplitViewController splitController
    required property real tabRowLeadingPadding
    required property PromptListModel promptListModel
    required property PromptDecider promptDecider
    required property GroupDecision groupDecision
    required property PromptsViewModel promptsViewModel
    required property PromptRowMenu promptRowMenu
    required property SidebarModels sidebarModels
    required property SidebarEntryActions sidebarEntryActions
    // Null where the system announces by itself.
    required property QtObject liveRegion
    // Where the system gives the app no menu bar, the tab row holds its menu.
    required property bool hasMainMenu

    // Set once the window has drawn its first frame; what that frame does not
    // show is made after it.
    property bool hasFirstFrame: false
    // Set once the setup screen is to be made: after the first frame, or
    // after the one that follows it on the prompt tabs.
    property bool isSetupDue: false
    readonly property real dividerThickness: 1
    readonly property rect frame: Qt.rect(x, y, width, height)
    readonly property size paneWidths: Qt.size(sidebar.width, detail.width)

    objectName: "mainWindow"
    title: "Zor"
    color: SetupTheme.system.window
    // The size it opens at is MainWindow's.
    minimumWidth: splitController.windowMinimumWidth
    minimumHeight: 300

    onFrameChanged: splitController.reportWindowFrame(frame)
    onPaneWidthsChanged: splitController.reportPaneWidths(paneWidths.width, paneWidths.height)
    Component.onCompleted: {
        splitController.dividerThickness = dividerThickness;
        splitController.reportWindowFrame(frame);
        splitController.reportPaneWidths(paneWidths.width, paneWidths.height);
    }

    // Ctrl+Q and the main menu's Quit. On macOS, where Ctrl stands for
    // Command, the menu bar's Quit takes the keys first and ends the app the
    // same way. Not the desktop's Quit keys: some desktops have none. The
    // template's action, as the style's adds nothing to it.
    T.Action {
        id: quitAction

        text: "Quit Zor"
        onTriggered: Qt.quit()
    }

    Shortcut {
        id: quitShortcut

        sequence: "Ctrl+Q"
        onActivated: quitAction.trigger()
    }

    ParallelAnimation {
        id: resize

        onFinished: window.splitController.finishAnimation()

        NumberAnimation {
            id: widthAnimation

            target: window
            property: "width"
            easing.type: Easing.Bezier
            // Ease in, ease out.
            easing.bezierCurve: [0.42, 0, 0.58, 1, 1, 1]
        }

        NumberAnimation {
            id: heightAnimation

            target: window
            property: "height"
            easing: widthAnimation.easing
        }
    }

    Connections {
        target: window.splitController

        // The window keeps its top-left corner: only its size moves.
        function onAnimationRequested(targetFrame, isCollapsing, durationMilliseconds) {
            resize.stop();
            widthAnimation.to = targetFrame.width;
            widthAnimation.duration = durationMilliseconds;
            heightAnimation.to = targetFrame.height;
            heightAnimation.duration = durationMilliseconds;
            resize.start();
        }
    }

    // The template: the style's split view adds only a handle and a size from
    // its content; this one draws its own and fills the window, so the style's
    // file need not be read at launch.
    T.SplitView {
        id: split

        anchors.fill: parent
        orientation: Qt.Horizontal

        handle: Rectangle {
            implicitWidth: window.dividerThickness
            color: SetupTheme.separator
        }

        SidebarContentView {
            id: sidebar

            objectName: "sidebar"
            T.SplitView.minimumWidth: window.splitController.sidebarMinimumWidth
            T.SplitView.preferredWidth: window.splitController.sidebarPreferredWidth
            appState: window.appState
            serviceMonitor: window.serviceMonitor
            serviceRepairs: window.serviceRepairs
            leadingPadding: window.tabRowLeadingPadding
            sidebarModels: window.sidebarModels
            sidebarEntryActions: window.sidebarEntryActions
            hasMainMenu: window.hasMainMenu
            quitAction: quitAction
            quitKeys: quitShortcut.nativeText
            hasFirstFrame: window.hasFirstFrame
            isSetupDue: window.isSetupDue
        }

        Item {
            id: detail

            objectName: "detailPane"
            T.SplitView.fillWidth: true
            // Never wider than what the window leaves it: while the window
            // grows back from the sidebar alone, the pane takes the rest
            // rather than running off the edge.
            T.SplitView.minimumWidth: window.splitController.canDetailCollapse
                                    ? 0 : Math.min(window.splitController.detailMinimumWidth,
                                                   window.width - sidebar.width
                                                   - window.dividerThickness)
            visible: !window.splitController.isDetailCollapsed || resize.running
            clip: true

            PromptsView {
                anchors.fill: parent
                viewModel: window.promptsViewModel
                listModel: window.promptListModel
                decider: window.promptDecider
                rowMenu: window.promptRowMenu
                group: window.groupDecision
                isListMade: window.hasFirstFrame
            }
        }
    }

    // Screen readers speak this alert's name as it changes: the announcements
    // of new prompts. It takes no room and draws nothing.
    Item {
        objectName: "liveRegion"
        visible: window.liveRegion !== null
        Accessible.role: Accessible.AlertMessage
        Accessible.name: window.liveRegion ? window.liveRegion.announcement : ""
    }
}
