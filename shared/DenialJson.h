#pragma once

#include "shared/Denial.h"
#include "shared/StrictJson.h"

namespace zor {

// Reads one denial object; on failure `json` holds the error.
bool readDenial(StrictJson& json, JsonValue value, Denial& out);

} // namespace zor
