#pragma once

namespace zor {

// Runs the windowed application until it quits; returns its exit status.
int runWindowedApplication(int argc, char** argv);

} // namespace zor
