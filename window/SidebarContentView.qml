import QtQuick
import QtQuick.Templates as T
import QtQuick.Layouts
import Zor

// The sidebar pane: the tab row, and below it the selected tab's content.
// The setup screen stays alive on every tab so that its checks run from launch.
Rectangle {
    id: sidebar

    required property QtObject appState
    required property ServiceMonitor serviceMonitor
    required property ServiceRepairs serviceRepairs
    // The prompts sidebar's entries, those the selected tab shows.
    required property SidebarModels sidebarModels
    required property SidebarEntryActions sidebarEntryActions
    // The room left at the row's leading end for the window's own buttons.
    required property real leadingPadding
    // The app's menu at the row's trailing end, and what it offers.
    required property bool hasMainMenu
    required property T.Action quitAction
    required property string quitKeys
    // Set once the window has drawn its first frame, which does not show the
    // entries' scroll bar: it is made then.
    required property bool hasFirstFrame
    // Set soon after the first frame, which does not show the setup screen
    // either: it is made then, so that its first checks run at launch.
    required property bool isSetupDue

    // From its own file, so that its types are read only then.
    onIsSetupDueChanged: if (isSetupDue)
        setupLoader.setSource("qrc:/qt/qml/Zor/setup/SetupView.qml",
                              {monitor: serviceMonitor, repairs: serviceRepairs, topPadding: 0})

    readonly property bool isSetupSelected: appState.selectedTab === AppState.AppTab.setup

    color: SetupTheme.windowBackground

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            objectName: "tabRow"
            Layout.fillWidth: true
            Layout.preferredHeight: 28
            Layout.leftMargin: sidebar.leadingPadding
            Layout.rightMargin: 20
            Layout.topMargin: 14
            Layout.bottomMargin: 20
            spacing: 4

            TabButton {
                objectName: "policiesTab"
                text: "Policies"
                isSelected: sidebar.appState.selectedTab === AppState.AppTab.policies
                onClicked: sidebar.appState.chooseTab(AppState.AppTab.policies)
            }

            TabButton {
                objectName: "sessionsTab"
                text: "Sessions"
                isSelected: sidebar.appState.selectedTab === AppState.AppTab.sessions
                onClicked: sidebar.appState.chooseTab(AppState.AppTab.sessions)
            }

            TabButton {
                objectName: "setupTab"
                text: "Setup"
                isSelected: sidebar.isSetupSelected
                onClicked: sidebar.appState.chooseTab(AppState.AppTab.setup)
            }

            Item {
                Layout.fillWidth: true
            }

            // The template, drawn as the tabs beside it are: a plate while
            // pointed at or pressed. The style's would be read at launch.
            T.ToolButton {
                id: mainMenuButton

                objectName: "mainMenuButton"
                visible: sidebar.hasMainMenu
                Layout.preferredWidth: 28
                Layout.preferredHeight: 28
                Accessible.name: "Main menu"
                // Attached from the template, so the style's tool tip is read only when one shows.
                T.ToolTip.text: Accessible.name
                T.ToolTip.visible: hovered
                T.ToolTip.delay: 500
                onClicked: mainMenu.open()

                // Three bars, drawn rather than taken from a font that may lack
                // them: each its own rectangle, as a repeater's model would
                // cost the window's first frame.
                contentItem: Item {
                    Rectangle {
                        anchors.centerIn: parent
                        anchors.verticalCenterOffset: -5
                        width: 14
                        height: 2
                        radius: 1
                        color: SetupTheme.secondaryText
                    }

                    Rectangle {
                        anchors.centerIn: parent
                        width: 14
                        height: 2
                        radius: 1
                        color: SetupTheme.secondaryText
                    }

                    Rectangle {
                        anchors.centerIn: parent
                        anchors.verticalCenterOffset: 5
                        width: 14
                        height: 2
                        radius: 1
                        color: SetupTheme.secondaryText
                    }
                }

                background: Rectangle {
                    radius: 6
                    color: mainMenuButton.down || mainMenuButton.hovered
                           ? SetupTheme.selectedTabBackground : "transparent"
                }

                FocusRing {
                    objectName: "mainMenuFocusRing"
                    isShown: mainMenuButton.visualFocus
                }

                LazyMenu {
                    id: mainMenu

                    // Over the button, so that the menu opens under it.
                    anchors.fill: parent
                    menu: Qt.resolvedUrl("MainMenu.qml")
                    menuProperties: ({quitAction: sidebar.quitAction, quitKeys: sidebar.quitKeys})
                }
            }
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true

            // Hidden rather than gone: it counts as shown, and keeps polling. Hidden
            // also keeps clicks, focus and assistive tools away from it.
            Loader {
                id: setupLoader

                objectName: "setupLoader"
                anchors.fill: parent
                asynchronous: true
                opacity: sidebar.isSetupSelected ? 1 : 0
                visible: sidebar.isSetupSelected
            }

            PromptsSidebar {
                objectName: "promptsSidebar"
                anchors.fill: parent
                visible: !sidebar.isSetupSelected
                model: sidebar.sidebarModels.shown
                title: sidebar.sidebarModels.shownTitle
                actions: sidebar.sidebarEntryActions
                isScrollBarMade: sidebar.hasFirstFrame
            }
        }
    }
}
