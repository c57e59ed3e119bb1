#pragma once

#include "shared/Identifiers.h"

#include <QString>
#include <optional>

namespace zor {

// The identifiers the services are signed with (scripts/macos-release.sh): the
// agent's executable's, and the daemon's bundle's.
inline constexpr char kAgentSigningIdentifier[] = ZOR_VENDOR ".zor.agent";
inline constexpr char kDaemonSigningIdentifier[] = ZOR_VENDOR ".zor-daemon";

// The code-signing requirement an XPC peer must meet: code signed through
// Apple's certificate chain by the app's own team, with the given identifier.
// Without a well-formed team identifier (an ad-hoc or unsigned app) it is one
// that no code meets, so that an unchecked peer is never trusted.
QString peerRequirement(const std::optional<QString>& teamIdentifier,
                        const QString& signingIdentifier);

} // namespace zor
