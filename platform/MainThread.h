#pragma once

namespace zor {

bool isMainThread();

// Stops the process when called off the main thread: such a call is a programming error.
void requireMainThread(const char* where);

} // namespace zor
