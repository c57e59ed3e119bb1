#pragma once

#include "shared/Denial.h"

#include <QString>

namespace zor {

// The heading of a prompt's row, by kind: "Write File" (the file operation
// with each word capitalised, whatever the operation), "Network Request",
// "Execute Process", "Signal", "IOKit Device".
QString promptTitle(const Denial& denial);

} // namespace zor
