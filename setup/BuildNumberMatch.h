#pragma once

#include <QString>

namespace zor {

// Whether a service's reported build number is this build's. Text equality up
// to Unicode canonical equivalence; there is no ordering, so newer is stale too.
bool isCurrentBuildNumber(const QString& reported);

} // namespace zor
