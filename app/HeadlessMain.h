#pragma once

namespace zor {

// Registers the background services without any window and ends the process
// with the run's exit status; never returns.
[[noreturn]] void runHeadlessRegistration(int argc, char** argv);

} // namespace zor
