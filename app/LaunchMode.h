#pragma once

namespace zor {

enum class LaunchMode { windowed, headless };

// The switch that selects the headless service registration.
inline constexpr char kRegisterServicesSwitch[] = "--register-services";

// Chooses the mode from the whole argument vector, the program path included:
// headless when any argument is exactly the switch.
LaunchMode chooseLaunchMode(int argc, const char* const* argv);

} // namespace zor
