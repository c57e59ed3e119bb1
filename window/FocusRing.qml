import QtQuick
import Zor

// Where the keyboard is: a ring just outside the control it is laid on, shown
// while the control has the focus from the keyboard. Its colour is the
// theme's, as far from what lies around the control and from the control's
// own face as marks need.
Rectangle {
    id: ring

    // Whether the control has the focus from the keyboard: a Control's visualFocus.
    required property bool isShown
    // What the control lies on, and its face.
    property color outside: SetupTheme.windowBackground
    property color inside: outside
    property real gap: 1

    objectName: "controlFocusRing"
    anchors.fill: parent
    anchors.margins: -(gap + border.width)
    visible: isShown
    radius: 4
    color: "transparent"
    border.width: 2
    // Worked out only while shown: every control has a ring, and few show one.
    border.color: isShown ? Contrast.toReach(Contrast.toReach(SetupTheme.focusRing, outside, Contrast.markRatio),
                                             inside, Contrast.markRatio)
                          : "transparent"
}
