import QtQuick
import QtQuick.Templates as T
import QtQuick.Layouts
import Zor

// One sidebar entry: its label and policy path, and the count of its prompts
// on a capsule. Selected, it takes the accent colour: faint in light
// appearance, full in dark, darkened as far as white text needs.
Rectangle {
    id: row

    required property string label
    required property string subtitle
    required property bool hasSubtitle
    required property var count
    required property string tooltip
    required property bool isSelected

    signal clicked
    signal contextMenuRequested(real x, real y)

    readonly property color accent: SetupTheme.accentFill
    readonly property color background: !isSelected ? SetupTheme.windowBackground
                                        : SetupTheme.isDark ? accent
                                        : Contrast.flatten(Qt.rgba(SetupTheme.accent.r, SetupTheme.accent.g, SetupTheme.accent.b, 0.15),
                                                           SetupTheme.windowBackground)
    readonly property color labelColor: isSelected && SetupTheme.isDark ? "white" : SetupTheme.primaryText
    readonly property color subtitleColor: Contrast.toReach(isSelected && SetupTheme.isDark ? Qt.rgba(1, 1, 1, 0.8) : SetupTheme.secondaryText,
                                                            background, Contrast.textRatio)
    readonly property color capsuleColor: !isSelected ? SetupTheme.secondaryText
                                          : SetupTheme.isDark ? "white" : accent

    implicitHeight: content.implicitHeight + 2 * 8
    radius: 8
    color: isSelected ? background : "transparent"

    Accessible.role: Accessible.ListItem
    Accessible.name: AccessibleText.join([label, hasSubtitle ? subtitle : "", countText.text])
    Accessible.description: tooltip
    Accessible.selected: isSelected

    RowLayout {
        id: content

        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 8

        ColumnLayout {
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignVCenter
            spacing: 2

            // The template's labels: each sets its own colour, all that the
            // style's adds, whose file would be read at launch.
            T.Label {
                objectName: "entryLabel"
                Layout.fillWidth: true
                text: row.label
                // Labels and paths come from the agent: never read as markup.
                textFormat: Text.PlainText
                // The window reads left to right, whatever script a text starts with.
                horizontalAlignment: Text.AlignLeft
                color: row.labelColor
                font.pixelSize: 14
                elide: Text.ElideMiddle
            }

            T.Label {
                objectName: "entrySubtitle"
                Layout.fillWidth: true
                visible: row.hasSubtitle
                text: row.subtitle
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                color: row.subtitleColor
                font.pixelSize: SetupTheme.captionSize
                elide: Text.ElideMiddle
            }
        }

        Rectangle {
            objectName: "countCapsule"
            Layout.alignment: Qt.AlignVCenter
            implicitWidth: Math.max(countText.implicitWidth + 2 * 6, implicitHeight)
            implicitHeight: countText.implicitHeight + 2 * 2
            radius: height / 2
            color: row.capsuleColor

            T.Label {
                id: countText

                anchors.centerIn: parent
                text: row.count
                color: !row.isSelected ? Contrast.textOn(row.capsuleColor) : SetupTheme.isDark ? row.accent : "white"
                font.pixelSize: SetupTheme.captionSize
            }
        }
    }

    HoverHandler {
        id: hover
    }

    // The policy path, as it is. Made when hovered: most entries never show
    // theirs. From its file, which is read only then: named here, its type
    // would be read before the window's first frame.
    Loader {
        active: hover.hovered && row.tooltip.length > 0
        onActiveChanged: if (active)
            setSource("qrc:/qt/qml/Zor/window/PlainToolTip.qml", {
                parent: row, text: Qt.binding(() => row.tooltip), delay: 600, visible: true
            })
    }

    TapHandler {
        onTapped: row.clicked()
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: (eventPoint) => row.contextMenuRequested(eventPoint.position.x, eventPoint.position.y)
    }
}
