#pragma once

#include <QString>

namespace zor {

// The build number of this product build; background services that report
// another one are outdated.
QString zorBuildNumber();

} // namespace zor
