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
    // Lines stand out from the window and from the lists alike.
    readonly property color separator: Contrast.toReach(Contrast.toReach(mix(system.windowText, 0.3), system.base, Contrast.markRatio),
                                                        system.window, Contrast.markRatio)
    readonly property color primaryText: system.windowText
    readonly property color secondaryText: Contrast.toReach(Contrast.toReach(mix(system.windowText, 0.6), system.base, Contrast.textRatio),
                                                            system.window, Contrast.textRatio)
    // Links, from the palette, readable on the lists.
    readonly property color link: Contrast.toReach(Contrast.paletteLink, system.base, Contrast.textRatio)
    // Where keyboard focus is.
    readonly property color focusRing: Contrast.toReach(accent, system.base, Contrast.markRatio)
    readonly property color bannerBackground: Qt.tint(groupBackground, Qt.rgba(orange.r, orange.g, orange.b, 0.14))
    readonly property color bannerBorder: Qt.tint(groupBackground, Qt.rgba(orange.r, orange.g, orange.b, 0.45))
    // The primary colour at 10%.
    readonly property color selectedTabBackground: Qt.rgba(primaryText.r, primaryText.g, primaryText.b, 0.1)
    // The system's accent colour.
    readonly property color accent: system.highlight
    // The accent as a fill under white text: darkened where it is too light.
    readonly property color accentFill: Contrast.toReach(accent, "white", Contrast.textRatio + 0.1)

    readonly property color gray: "#8e8e93"
    readonly property color green: isDark ? "#30d158" : "#28b446"
    readonly property color orange: isDark ? "#ff9f0a" : "#f08c00"
    readonly property color yellow: isDark ? "#ffd60a" : "#d6a400"
    readonly property color red: isDark ? "#ff453a" : "#e5352b"

    // The decisions: filled buttons that read on the list, green to allow and
    // red to deny, with black or white text, whichever reads; the groups'
    // chips a pale tint of the same colour with text in its darker shade.
    readonly property color allowFill: decisionFill(green)
    readonly property color denyFill: decisionFill(red)
    readonly property color allowChip: Qt.tint(system.base, Qt.rgba(green.r, green.g, green.b, 0.18))
    readonly property color denyChip: Qt.tint(system.base, Qt.rgba(red.r, red.g, red.b, 0.18))
    readonly property color allowChipText: Contrast.toReach(green, allowChip, Contrast.textRatio)
    readonly property color denyChipText: Contrast.toReach(red, denyChip, Contrast.textRatio)

    // A prompt row's background, plain, highlighted in the focused list, and
    // highlighted otherwise; the row's colours read on all three, so that a
    // row picks them without working them out.
    readonly property color rowHighlight: Contrast.flatten(Qt.rgba(accent.r, accent.g, accent.b, 0.22), system.base)
    readonly property color rowSelection: Contrast.flatten(selectedTabBackground, system.base)
    readonly property color rowSecondaryText: onRows(secondaryText, Contrast.textRatio)
    readonly property color rowSeparator: onRows(separator, Contrast.markRatio)
    readonly property color rowGlyph: onRows(orange, Contrast.markRatio)
    readonly property color allowOutline: onRows(allowFill, Contrast.markRatio)
    readonly property color denyOutline: onRows(denyFill, Contrast.markRatio)
    readonly property color allowFillText: Contrast.textOn(allowFill)
    readonly property color denyFillText: Contrast.textOn(denyFill)
    readonly property color selectedText: Contrast.textOn(accent)

    readonly property int bodySize: 13
    readonly property int captionSize: 11
    readonly property int groupRadius: 10
    readonly property int groupPadding: 14

    // `color` laid over the window's background at `amount`: the secondary
    // shades of text and lines without transparency.
    function mix(color, amount) {
        return Qt.tint(system.window, Qt.rgba(color.r, color.g, color.b, amount));
    }

    function onRows(color, ratio) {
        return Contrast.toReach(Contrast.toReach(Contrast.toReach(color, system.base, ratio), rowHighlight, ratio),
                                rowSelection, ratio);
    }

    function decisionFill(tint) {
        return Contrast.toReach(tint, system.base, isDark ? Contrast.markRatio : Contrast.textRatio + 0.5);
    }

    // `color`, as dark or light as text on `background` needs.
    function readable(color, background) {
        return Contrast.toReach(color, background, Contrast.textRatio);
    }

    // `color` as text on a button, whose face the style shades on either side
    // of the palette's button colour.
    function readableOnButton(color) {
        return readable(readable(color, Qt.lighter(system.button, 1.4)), Qt.darker(system.button, 1.2));
    }

    // A status's colour as its texts and marks show it in a step's box.
    function statusColor(color) {
        return readable(statusTint(color), groupBackground);
    }

    function statusTint(color) {
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
