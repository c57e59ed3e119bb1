import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T
import QtQuick.Layouts
import Zor

// The window's own menu, under its button at the tab row's end.
Menu {
    id: mainMenu

    required property T.Action quitAction
    required property string quitKeys

    objectName: "mainMenu"
    // Under the button it opens from, at its trailing end.
    x: parent ? parent.width - width : 0
    y: parent ? parent.height : 0

    PlainMenuItem {
        id: quitItem

        objectName: "quitMenuItem"
        action: mainMenu.quitAction
        // Its keys at the trailing end, as desktop menus show them.
        contentItem: RowLayout {
            spacing: 24

            Text {
                Layout.fillWidth: true
                text: quitItem.text
                font: quitItem.font
                color: quitItem.highlighted ? quitItem.palette.highlightedText
                                            : quitItem.palette.text
            }

            Text {
                objectName: "quitKeys"
                text: mainMenu.quitKeys
                font: quitItem.font
                color: quitItem.highlighted ? quitItem.palette.highlightedText
                                            : SetupTheme.secondaryText
            }
        }
    }
}
