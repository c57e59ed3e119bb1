#include "platform/local/PeerCredentials.h"

#include <sys/socket.h>
#include <unistd.h>

namespace zor::local {

std::optional<uid_t> peerUserId(qintptr socketDescriptor) {
    const int fd = int(socketDescriptor);
    if (fd < 0)
        return std::nullopt;
#ifdef Q_OS_LINUX
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 ||
        length != sizeof credentials)
        return std::nullopt;
    return credentials.uid;
#else
    uid_t userId = 0;
    gid_t groupId = 0;
    if (getpeereid(fd, &userId, &groupId) != 0)
        return std::nullopt;
    return userId;
#endif
}

bool isTrustedPeer(std::optional<uid_t> peerUserId, uid_t ownUserId) {
    return peerUserId && *peerUserId == ownUserId;
}

std::optional<qint64> refusedPeerUserId(qintptr socketDescriptor) {
    // The effective user: the one the system records for either end.
    const std::optional<uid_t> peer = peerUserId(socketDescriptor);
    if (isTrustedPeer(peer, geteuid()))
        return std::nullopt;
    return peer ? qint64(*peer) : -1;
}

} // namespace zor::local
