#include "platform/macos/TitleBarLayout.h"

namespace zor {

std::optional<TitleBarFrame> TitleBarLayout::containerFrame(const TitleBarFrame& current) {
    if (current.height == kHeight)
        return std::nullopt;
    return TitleBarFrame{current.x, current.y - (kHeight - current.height), current.width, kHeight};
}

std::optional<TitleBarFrame> TitleBarLayout::titleBarViewFrame(const TitleBarFrame& current) {
    if (current.height == kHeight && current.y == 0)
        return std::nullopt;
    return TitleBarFrame{current.x, 0, current.width, kHeight};
}

} // namespace zor
