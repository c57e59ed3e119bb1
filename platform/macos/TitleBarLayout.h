#pragma once

#include <array>
#include <optional>

namespace zor {

// The main window's title bar on macOS: taller than the system's, transparent,
// with the close, miniaturise and zoom buttons at fixed places. Lengths in
// points; frames in the system's coordinates, y growing upwards.
struct TitleBarFrame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const TitleBarFrame&) const = default;
};

struct TitleBarLayout {
    static constexpr double kHeight = 48;
    // The buttons' distance from the title bar's top and leading edges.
    static constexpr double kButtonPadding = 20;
    // Leading offsets of the close, miniaturise and zoom buttons.
    static constexpr std::array<double, 3> kButtonOffsets{0, 20, 40};
    static constexpr double kButtonWidth = 14;
    // What the tab row leaves free at its leading end: the buttons, which end
    // 74 points in, and a 30-point gap.
    static constexpr double kTabRowLeadingPadding = 104;

    // The container's frame made `kHeight` tall with its top edge where it
    // was; nothing when it already is.
    static std::optional<TitleBarFrame> containerFrame(const TitleBarFrame& current);
    // The title-bar view's frame filling the container from its bottom;
    // nothing when it already does.
    static std::optional<TitleBarFrame> titleBarViewFrame(const TitleBarFrame& current);
};

} // namespace zor
