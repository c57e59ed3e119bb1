#include "platform/local/SocketFile.h"

#include <QFile>
#include <QLocalSocket>
#include <sys/stat.h>
#include <unistd.h>

namespace zor::local {

SocketAnswer connectToSocket(QLocalSocket& socket, const QString& path, Millis timeout) {
    socket.connectToServer(path);
    if (socket.waitForConnected(int(timeout.count())))
        return SocketAnswer::connected;
    switch (socket.error()) {
    case QLocalSocket::ConnectionRefusedError:
        return SocketAnswer::refused;
    case QLocalSocket::ServerNotFoundError:
        return SocketAnswer::absent;
    default:
        return SocketAnswer::unanswered;
    }
}

void removeSocketFile(const QString& path) {
    const QByteArray encoded = QFile::encodeName(path);
    struct stat status {};
    if (lstat(encoded.constData(), &status) == 0 && S_ISSOCK(status.st_mode))
        unlink(encoded.constData());
}

} // namespace zor::local
