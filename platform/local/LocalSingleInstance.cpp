#include "platform/local/LocalSingleInstance.h"

#include "platform/Log.h"
#include "shared/Identifiers.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QStringDecoder>
#include <memory>

namespace zor {

namespace local {

namespace {

constexpr int kConnectTimeoutMs = 1000;
constexpr int kWriteTimeoutMs = 2000;

bool hasControlCharacter(QStringView text) {
    for (const QChar c : text)
        if (c.category() == QChar::Other_Control)
            return true;
    return false;
}

} // namespace

QByteArray encodeStartMessage(const QStringList& arguments) {
    QByteArray out;
    for (const QString& argument : arguments)
        if (!argument.isEmpty() && !hasControlCharacter(argument))
            out += argument.toUtf8() + '\n';
    return out + '\n';
}

StartMessage parseStartMessage(const QByteArray& bytes) {
    using State = StartMessage::State;
    const qsizetype end = bytes.startsWith('\n') ? 0 : bytes.indexOf("\n\n");
    if (end < 0)
        return {bytes.size() < kMaxStartMessageBytes ? State::incomplete : State::broken, {}};
    const qsizetype length = end == 0 ? 1 : end + 2;
    if (length > kMaxStartMessageBytes || bytes.size() != length)
        return {State::broken, {}};

    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(bytes.first(end));
    if (utf8.hasError())
        return {State::broken, {}};
    const QStringList arguments = text.split(u'\n', Qt::SkipEmptyParts);
    if (arguments.size() > kMaxStartArguments)
        return {State::broken, {}};
    for (const QString& argument : arguments)
        if (hasControlCharacter(argument))
            return {State::broken, {}};
    return {State::complete, arguments};
}

QString instanceSocketName() {
    const QString override = qEnvironmentVariable("ZOR_INSTANCE_SOCKET");
    if (!override.isEmpty())
        return override;
    const QString name = QString::fromLatin1(kAppSubsystem) + QStringLiteral(".instance");
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? name : runtime + u'/' + name;
}

} // namespace local

using namespace local;

SingleInstance::Role LocalSingleInstance::start(const QStringList& arguments, Receiver onStart) {
    const QString name = instanceSocketName();
    QLocalSocket running;
    running.connectToServer(name);
    if (running.waitForConnected(kConnectTimeoutMs)) {
        running.write(encodeStartMessage(arguments));
        running.waitForBytesWritten(kWriteTimeoutMs);
        running.disconnectFromServer();
        if (running.state() != QLocalSocket::UnconnectedState)
            running.waitForDisconnected(kWriteTimeoutMs);
        return Role::handedOver;
    }
    receiver = std::move(onStart);
    if (!listen(name))
        logger(LogCategory::app)
            .error("Cannot listen for later starts: %{public}s", {server->errorString()});
    return Role::running;
}

bool LocalSingleInstance::listen(const QString& name) {
    server = new QLocalServer(QCoreApplication::instance());
    server->setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(server, &QLocalServer::newConnection, server, [this] { acceptStarts(); });
    if (server->listen(name))
        return true;
    // Nobody answered on the socket, so it was left behind by an app that ended.
    QLocalServer::removeServer(name);
    return server->listen(name);
}

void LocalSingleInstance::acceptStarts() {
    while (QLocalSocket* socket = server->nextPendingConnection()) {
        if (openStarts >= kMaxOpenStarts) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        ++openStarts;
        QObject::connect(socket, &QObject::destroyed, server, [this] { --openStarts; });
        QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto bytes = std::make_shared<QByteArray>();
        QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket, bytes] {
            *bytes += socket->read(kMaxStartMessageBytes + 1 - bytes->size());
            const StartMessage message = parseStartMessage(*bytes);
            if (message.state == StartMessage::State::incomplete)
                return;
            socket->abort();
            socket->deleteLater();
            if (message.state == StartMessage::State::complete && receiver)
                receiver(message.arguments);
        });
        clock.schedule(kMessageTimeout, socket, [socket] {
            socket->abort();
            socket->deleteLater();
        });
    }
}

} // namespace zor
