#pragma once

#include "shared/Denial.h"

#include <QString>

namespace zor {

// The heading of a prompt's row, by kind: "Write File" (the file operation
// with each word capitalised, whatever the operation), "Network Request",
// "Execute Process", "Signal", "IOKit Device".
QString promptTitle(const Denial& denial);
// The same as a view: of fixed text, or of `scratch`, where a file's title is
// put together. For a caller that looks at many titles through one buffer.
QStringView promptTitle(const Denial& denial, QString& scratch);

} // namespace zor
