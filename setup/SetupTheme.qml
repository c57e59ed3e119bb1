pragma Singleton

import QtQuick
import Zor

// Colours and type sizes of the setup screen, after the platform's settings panes.
QtObject {
    readonly property color windowBackground: "#ececec"
    readonly property color groupBackground: "#ffffff"
    readonly property color groupBorder: "#d9d9d9"
    readonly property color separator: "#e6e6e6"
    readonly property color primaryText: "#1d1d1f"
    readonly property color secondaryText: "#6e6e73"
    readonly property color bannerBackground: "#fff4e2"
    readonly property color bannerBorder: "#f2cf96"

    readonly property color gray: "#8e8e93"
    readonly property color green: "#28b446"
    readonly property color orange: "#f08c00"
    readonly property color yellow: "#d6a400"
    readonly property color red: "#e5352b"

    readonly property int bodySize: 13
    readonly property int captionSize: 11
    readonly property int groupRadius: 10
    readonly property int groupPadding: 14

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
        default:
            return gray;
        }
    }
}
