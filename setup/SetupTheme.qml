pragma Singleton

import QtQuick
import Zor

// Colours and type sizes of the app's screens, after the platform's settings
// panes, drawn from the system palette so that light and dark both follow it.
QtObject {
    readonly property SystemPalette system: SystemPalette {
        colorGroup: SystemPalette.Active
    }
    readonly property bool isDark: system.window.hslLightness < 0.5

    readonly property color windowBackground: system.window
    readonly property color groupBackground: isDark ? Qt.lighter(system.window, 1.35) : system.base
    readonly property color groupBorder: mix(system.windowText, 0.14)
    readonly property color separator: mix(system.windowText, 0.1)
    readonly property color primaryText: system.windowText
    readonly property color secondaryText: mix(system.windowText, 0.6)
    readonly property color bannerBackground: Qt.tint(groupBackground, Qt.rgba(orange.r, orange.g, orange.b, 0.14))
    readonly property color bannerBorder: Qt.tint(groupBackground, Qt.rgba(orange.r, orange.g, orange.b, 0.45))
    // The primary colour at 10%.
    readonly property color selectedTabBackground: Qt.rgba(primaryText.r, primaryText.g, primaryText.b, 0.1)
    // The system's accent colour.
    readonly property color accent: system.highlight

    readonly property color gray: "#8e8e93"
    readonly property color green: isDark ? "#30d158" : "#28b446"
    readonly property color orange: isDark ? "#ff9f0a" : "#f08c00"
    readonly property color yellow: isDark ? "#ffd60a" : "#d6a400"
    readonly property color red: isDark ? "#ff453a" : "#e5352b"

    readonly property int bodySize: 13
    readonly property int captionSize: 11
    readonly property int groupRadius: 10
    readonly property int groupPadding: 14

    // `color` laid over the window's background at `amount`: the secondary
    // shades of text and lines without transparency.
    function mix(color, amount) {
        return Qt.tint(system.window, Qt.rgba(color.r, color.g, color.b, amount));
    }

    function statusColor(color) {
        switch (color) {
        case SetupStatus.StatusColor.green:
            return green;
        case SetupStatus.StatusColor.orange:
            return orange;
        case SetupStatus.StatusColor.yellow:
            return yellow;
        case SetupStatus.StatusColor.red:
            return red;
        case SetupStatus.StatusColor.secondary:
            return secondaryText;
        default:
            return gray;
        }
    }
}
