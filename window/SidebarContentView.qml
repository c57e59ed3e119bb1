import QtQuick
import QtQuick.Layouts
import Zor

// The sidebar pane: the tab row, and below it the selected tab's content.
// The setup screen stays alive on every tab so that its checks run from launch.
Rectangle {
    id: sidebar

    required property QtObject appState
    required property ServiceMonitor serviceMonitor
    required property ServiceRepairs serviceRepairs
    // The prompts sidebar's entries on the policies and on the sessions tab.
    required property PromptsSidebarModel policiesSidebarModel
    required property PromptsSidebarModel sessionsSidebarModel
    required property SidebarEntryActions sidebarEntryActions
    // The room left at the row's leading end for the window's own buttons.
    required property real leadingPadding

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
                onClicked: sidebar.appState.selectedTab = AppState.AppTab.policies
            }

            TabButton {
                objectName: "sessionsTab"
                text: "Sessions"
                isSelected: sidebar.appState.selectedTab === AppState.AppTab.sessions
                onClicked: sidebar.appState.selectedTab = AppState.AppTab.sessions
            }

            TabButton {
                objectName: "setupTab"
                text: "Setup"
                isSelected: sidebar.isSetupSelected
                onClicked: sidebar.appState.selectedTab = AppState.AppTab.setup
            }

            Item {
                Layout.fillWidth: true
            }
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true

            // Hidden rather than gone: it counts as shown, and keeps polling. Hidden
            // also keeps clicks, focus and assistive tools away from it.
            SetupView {
                anchors.fill: parent
                monitor: sidebar.serviceMonitor
                repairs: sidebar.serviceRepairs
                // The tab row already leaves its room below.
                topPadding: 0
                opacity: sidebar.isSetupSelected ? 1 : 0
                visible: sidebar.isSetupSelected
            }

            PromptsSidebar {
                objectName: "promptsSidebar"
                anchors.fill: parent
                visible: !sidebar.isSetupSelected
                model: sidebar.appState.selectedTab === AppState.AppTab.sessions ? sidebar.sessionsSidebarModel
                                                                      : sidebar.policiesSidebarModel
                actions: sidebar.sidebarEntryActions
            }
        }
    }
}
