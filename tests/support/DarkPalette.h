#pragma once

#include <QPalette>

namespace zor::testing {

// A dark palette as a system in dark appearance hands it to the app. The
// controls take their colours from the palette the application has when a
// window's views load.
QPalette darkPalette();

} // namespace zor::testing
