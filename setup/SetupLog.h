#pragma once

#include "platform/Log.h"

namespace zor {

// The setup screen's probes, repairs and flows all log under one category.
inline const Logger& setupLog() {
    return logger(LogCategory::setup);
}

} // namespace zor
