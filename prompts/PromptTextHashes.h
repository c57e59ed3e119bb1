#pragma once

#include "shared/TextHash.h"

namespace zor {

// The hashes of a prompt's session and policy path, as the store's indexes
// and the sidebars hold those texts: worked out once, as the prompt comes in,
// and kept with it until it goes.
struct PromptTextHashes {
    KeyHash sessionId;
    KeyHash policyPath;
};

} // namespace zor
