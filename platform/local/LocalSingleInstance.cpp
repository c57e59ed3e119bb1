#include "platform/local/LocalSingleInstance.h"

#include "platform/Log.h"
#include "platform/local/PeerCredentials.h"
#include "platform/local/SocketFile.h"
#include "shared/Identifiers.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStringDecoder>
#include <cstdio>
#include <memory>

namespace zor {

namespace local {

namespace {

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

SocketPlace instanceSocketPlace() {
    return privateSocketPlace("ZOR_INSTANCE_SOCKET",
                              QString::fromLatin1(kAppSubsystem) + QStringLiteral(".instance"));
}

} // namespace local

using namespace local;

namespace {

const Logger& log() {
    return logger(LogCategory::app);
}

// What a later start has to say goes to the person who started it, as well
// as to the log.
void tellUser(const QString& line) {
    std::fputs(qPrintable(line + u'\n'), stderr);
    std::fflush(stderr);
}

SingleInstance::Role notResponding() {
    log().error("Zor is already running but not responding");
    tellUser(QStringLiteral("Zor is already running but not responding"));
    return SingleInstance::Role::notHandedOver;
}

} // namespace

LocalSingleInstance::~LocalSingleInstance() {
    delete server;
}

SingleInstance::Role LocalSingleInstance::start(const QStringList& arguments, Receiver onStart) {
    const Role role = takeTurn(arguments, true);
    if (role == Role::running)
        receiver = std::move(onStart);
    return role;
}

SingleInstance::Role LocalSingleInstance::handOver(const QStringList& arguments) {
    return takeTurn(arguments, false);
}

SingleInstance::Role LocalSingleInstance::takeTurn(const QStringList& arguments, bool isListening) {
    const SocketPlace place = instanceSocketPlace();
    if (!place.hasPath()) {
        // Never a shared path: another user could listen there first.
        log().error("No private place for Zor's sockets, later starts cannot reach this one: %s",
                    {place.problem});
        tellUser(QStringLiteral("No private place for Zor's sockets (%1): later starts "
                                "cannot reach this one.")
                     .arg(place.problem));
        return Role::running;
    }
    // Later starts take turns, so that none takes a socket file for stale
    // while another is listening on it anew.
    const QString lockPath = place.path + QStringLiteral(".lock");
    QLockFile turn(lockPath);
    turn.setStaleLockTime(0);
    if (!turn.tryLock(int((kConnectTimeout + kAnswerTimeout).count()))) {
        if (turn.error() == QLockFile::LockFailedError)
            return notResponding();
        // A full disk or a read-only directory: no other start holds the
        // turn, and the socket may still reach a running app.
        log().error("Could not lock %s, going on without taking turns with other starts",
                    {lockPath});
    }
    return claim(place.path, arguments, isListening);
}

void LocalSingleInstance::stop() {
    receiver = {};
    // Takes the socket file with it, and the starts being read, which are the
    // server's children: they end unanswered, and say so to their user.
    delete server;
}

SingleInstance::Role LocalSingleInstance::claim(const QString& path, const QStringList& arguments,
                                                bool isListening) {
    QLocalSocket running;
    const SocketAnswer answer = connectToSocket(running, path, kConnectTimeout);
    switch (answer) {
    case SocketAnswer::connected:
        return handOverTo(running, arguments);
    case SocketAnswer::unanswered:
        // A stopped or hung app still holds its socket: never take it away.
        return notResponding();
    case SocketAnswer::refused:
    case SocketAnswer::absent:
        break;
    }
    if (!isListening)
        return Role::running;
    // Left behind by an app that ended.
    if (answer == SocketAnswer::refused)
        removeSocketFile(path);
    if (!listen(path))
        log().error("Cannot listen for later starts: %{public}s", {server->errorString()});
    return Role::running;
}

SingleInstance::Role LocalSingleInstance::handOverTo(QLocalSocket& running,
                                                     const QStringList& arguments) {
    // The links would go to another user's process, and its answer would
    // keep this app from starting: neither is taken from a stranger.
    if (const auto stranger = refusedPeerUserId(running.socketDescriptor())) {
        log().error("Refused the running Zor's socket: it is served by user %ld", {*stranger});
        tellUser(QStringLiteral("Zor's socket is served by another user (%1): nothing was "
                                "handed over.")
                     .arg(*stranger));
        running.abort();
        return Role::notHandedOver;
    }
    const QByteArray message = encodeStartMessage(arguments);
    if (parseStartMessage(message).state != StartMessage::State::complete) {
        log().error("Too much to hand over to the running Zor: %ld arguments, %ld bytes",
                    {qint64(arguments.size()), qint64(message.size())});
        tellUser(QStringLiteral("Too much to hand over to the running Zor: a start hands over "
                                "at most %1 arguments of %2 bytes in all.")
                     .arg(kMaxStartArguments)
                     .arg(kMaxStartMessageBytes));
        return Role::notHandedOver;
    }
    running.write(message);
    // Handed over only once the running app says it has the arguments.
    QByteArray answer;
    const QDeadlineTimer deadline(kAnswerTimeout);
    while (!answer.contains('\n') && running.waitForReadyRead(int(deadline.remainingTime())))
        answer += running.read(sizeof kStartTaken);
    answer += running.read(sizeof kStartTaken);
    running.abort();
    return answer == kStartTaken ? Role::handedOver : notResponding();
}

bool LocalSingleInstance::listen(const QString& path) {
    server = new QLocalServer(QCoreApplication::instance());
    // Bound in place, without access options: with them Qt renames a fresh
    // socket over whatever lies at the path. The private directory keeps
    // others out.
    server->setSocketOptions(QLocalServer::NoOptions);
    QObject::connect(server, &QLocalServer::newConnection, server, [this] { acceptStarts(); });
    return server->listen(path);
}

void LocalSingleInstance::acceptStarts() {
    while (QLocalSocket* socket = server->nextPendingConnection()) {
        QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        if (const auto stranger = refusedPeerUserId(socket->socketDescriptor())) {
            log().error("Refused a later start from user %ld", {*stranger});
            socket->abort();
            socket->deleteLater();
            continue;
        }
        // Each start is read on its own and briefly, so that idle or slow
        // connections cannot hold up the next one.
        auto read = std::make_shared<StartRead>();
        QObject::connect(socket, &QLocalSocket::readyRead, socket,
                         [this, socket, read] { readStart(socket, *read); });
        clock.schedule(kReadTimeout, socket, [socket, read] {
            // What came while the app was busy elsewhere still counts.
            socket->waitForReadyRead(0);
            if (read->isFinished)
                return;
            socket->abort();
            socket->deleteLater();
        });
        if (socket->bytesAvailable() > 0)
            readStart(socket, *read);
    }
}

void LocalSingleInstance::readStart(QLocalSocket* socket, StartRead& read) {
    if (read.isFinished)
        return;
    read.bytes += socket->read(kMaxStartMessageBytes + 1 - read.bytes.size());
    const StartMessage message = parseStartMessage(read.bytes);
    if (message.state == StartMessage::State::incomplete)
        return;
    read.isFinished = true;
    if (message.state == StartMessage::State::broken) {
        log().error("Ignored a later start's message of %ld bytes", {qint64(read.bytes.size())});
        socket->abort();
        socket->deleteLater();
        return;
    }
    if (receiver)
        receiver(message.arguments);
    socket->write(kStartTaken);
    socket->flush();
    socket->disconnectFromServer();
}

} // namespace zor
