#include "app/LaunchMode.h"

#include <algorithm>
#include <string_view>

namespace zor {

LaunchMode chooseLaunchMode(int argc, const char* const* argv) {
    const bool hasSwitch = std::any_of(argv, argv + std::max(argc, 0), [](const char* argument) {
        return argument && std::string_view(argument) == kRegisterServicesSwitch;
    });
    return hasSwitch ? LaunchMode::headless : LaunchMode::windowed;
}

} // namespace zor
