#pragma once

#include <QtGlobal>
#include <optional>
#include <sys/types.h>

namespace zor::local {

// Everything on the app's local sockets grants access or carries prompts, so
// each side speaks only to processes of its own user.

// The user of the process at the other end of a connected local socket, as
// the system recorded it when the connection was made; nothing when the
// system cannot tell.
std::optional<uid_t> peerUserId(qintptr socketDescriptor);

// A peer is trusted only when it is known to run as `ownUserId`.
bool isTrustedPeer(std::optional<uid_t> peerUserId, uid_t ownUserId);

// For a connected socket: nothing when its peer runs as this process's user;
// else the peer's user id for the log, -1 when unknown.
std::optional<qint64> refusedPeerUserId(qintptr socketDescriptor);

} // namespace zor::local
