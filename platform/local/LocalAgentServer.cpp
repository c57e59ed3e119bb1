#include "platform/local/LocalAgentServer.h"

#include "platform/local/LocalAgentMessages.h"
#include "platform/local/PeerCredentials.h"
#include "platform/local/SocketFile.h"

#include <QLocalSocket>
#include <QPointer>

namespace zor {

using namespace local;

namespace {

// Writes to one app if it is still connected when the answer comes. Data too
// large for one frame goes in parts.
auto replySender(LocalAgentServer* server, QLocalSocket* app, qint64 callId) {
    return [server = QPointer<LocalAgentServer>(server), app = QPointer<QLocalSocket>(app),
            callId](const QJsonObject& fields, const std::optional<QByteArray>& data = {}) {
        if (!server || !app || app->state() != QLocalSocket::ConnectedState)
            return;
        QList<QByteArray> frames;
        for (qsizetype offset = 0; data && offset + kReplyPartLength < data->size();
             offset += kReplyPartLength) {
            QJsonObject part = makeReply(callId);
            part.insert(key::data, encodeData(data->sliced(offset, kReplyPartLength)));
            part.insert(key::more, true);
            frames.append(encodeFrame(part).value());
        }
        QJsonObject reply = makeReply(callId);
        for (auto field = fields.begin(); field != fields.end(); ++field)
            reply.insert(field.key(), field.value());
        if (data)
            reply.insert(key::data,
                         encodeData(data->sliced(qsizetype(frames.size()) * kReplyPartLength)));
        const auto last = encodeFrame(reply);
        if (!last) {
            emit server->sendFailed(
                QStringLiteral("reply to call %1 not sent: %2").arg(callId).arg(last.error()));
            return;
        }
        frames.append(last.value());
        for (const QByteArray& frame : std::as_const(frames))
            app->write(frame);
    };
}

template <typename Send> DecisionReply decisionReply(Send send) {
    return [send](bool success, std::optional<QString> error) {
        send(QJsonObject{{key::success, success},
                         {key::error, error ? QJsonValue(*error) : QJsonValue(QJsonValue::Null)}});
    };
}

} // namespace

LocalAgentServer::LocalAgentServer(ZorAgentProtocol& agent, QObject* parent)
    : QObject(parent)
    , agent(agent) {
    // Bound in place, so that listening never replaces anything at the path
    // (with access options Qt renames a fresh socket over it).
    server.setSocketOptions(QLocalServer::NoOptions);
    connect(&server, &QLocalServer::newConnection, this, &LocalAgentServer::acceptApps);
}

LocalAgentServer::~LocalAgentServer() {
    for (const auto& [app, decoder] : connectedApps) {
        app->disconnect(this);
        app->abort();
    }
}

bool LocalAgentServer::listen(const QString& name) {
    // Only a socket file that refuses connections is left over; one that
    // does not answer in time may belong to an agent that is stopped.
    QLocalSocket probe;
    switch (connectToSocket(probe, name, Millis(1000))) {
    case SocketAnswer::connected:
        lastError = QStringLiteral("another agent is listening on %1").arg(name);
        return false;
    case SocketAnswer::unanswered:
        lastError = QStringLiteral("another agent holds %1 but does not answer").arg(name);
        return false;
    case SocketAnswer::refused:
        removeSocketFile(name);
        break;
    case SocketAnswer::absent:
        break;
    }
    if (server.listen(name))
        return true;
    lastError = server.errorString();
    return false;
}

QString LocalAgentServer::errorString() const {
    return lastError;
}

QString LocalAgentServer::fullServerName() const {
    return server.fullServerName();
}

int LocalAgentServer::appCount() const {
    return int(connectedApps.size());
}

ZorAppCallbackProtocol& LocalAgentServer::apps() {
    return broadcast;
}

void LocalAgentServer::acceptApps() {
    while (QLocalSocket* app = server.nextPendingConnection()) {
        if (const auto stranger = refusedPeerUserId(app->socketDescriptor())) {
            emit appRefused(*stranger);
            app->abort();
            app->deleteLater();
            continue;
        }
        connectedApps.emplace(app, FrameDecoder{});
        connect(app, &QLocalSocket::readyRead, this, [this, app] { readCalls(app); });
        connect(app, &QLocalSocket::disconnected, this, [this, app] {
            if (connectedApps.erase(app) == 0)
                return;
            app->deleteLater();
            emit appDisconnected();
        });
        emit appConnected();
        if (app->bytesAvailable() > 0)
            readCalls(app);
    }
}

void LocalAgentServer::readCalls(QLocalSocket* app) {
    if (!connectedApps.contains(app))
        return;
    connectedApps.at(app).append(app->readAll());
    // The agent may answer, and the app may go, while a call is handled.
    while (connectedApps.contains(app)) {
        const auto call = connectedApps.at(app).next();
        if (!call)
            return;
        if (!*call) {
            dropApp(app, call->error());
            return;
        }
        const QString problem = handleCall(app, call->value());
        if (!problem.isEmpty()) {
            dropApp(app, problem);
            return;
        }
    }
}

QString LocalAgentServer::handleCall(QLocalSocket* app, const Message& call) {
    if (stringField(call, key::type) != type::call)
        return QStringLiteral("message is not a call");
    const auto callId = callIdField(call);
    if (!callId)
        return QStringLiteral("call without an id");
    const auto send = replySender(this, app, *callId);
    const auto name = stringField(call, key::method);
    const auto promptId = stringField(call, key::promptId);

    if (name == method::getPrompts) {
        agent.getPromptsWithReply([send](const QByteArray& data) { send({}, data); });
    } else if (name == method::getBuildNumber) {
        agent.getBuildNumberWithReply([send](const QString& buildNumber) {
            send(QJsonObject{{key::buildNumber, buildNumber}});
        });
    } else if (name == method::handlePrompt) {
        const auto action = stringField(call, key::action);
        const auto lifetime = stringField(call, key::lifetime);
        const auto policyPath = stringField(call, key::policyPath);
        if (!promptId || !action || !lifetime || !policyPath)
            return QStringLiteral("handlePrompt call without its arguments");
        agent.handlePromptWithPromptId(*promptId, *action, *lifetime, *policyPath,
                                       decisionReply(send));
    } else if (name == method::dismissPrompt) {
        if (!promptId)
            return QStringLiteral("dismissPrompt call without its prompt id");
        agent.dismissPromptWithPromptId(*promptId, decisionReply(send));
    } else {
        return QStringLiteral("unknown method %1").arg(name.value_or(QString()));
    }
    return {};
}

void LocalAgentServer::dropApp(QLocalSocket* app, const QString& reason) {
    emit protocolError(reason);
    app->abort();
    if (connectedApps.erase(app) == 0)
        return;
    app->deleteLater();
    emit appDisconnected();
}

void LocalAgentServer::sendToAll(const QJsonObject& message) {
    const auto encoded = encodeFrame(message);
    if (!encoded) {
        emit sendFailed(QStringLiteral("%1 not sent: %2")
                            .arg(message.value(key::method).toString(), encoded.error()));
        return;
    }
    const QByteArray& frame = encoded.value();
    QList<QLocalSocket*> targets;
    for (const auto& [app, decoder] : connectedApps)
        targets.append(app);
    for (QLocalSocket* app : std::as_const(targets))
        app->write(frame);
}

void LocalAgentServer::Broadcast::promptAddedWithPromptData(const QByteArray& promptData) {
    QJsonObject message = makeCallback(method::promptAdded);
    message.insert(key::data, encodeData(promptData));
    server.sendToAll(message);
}

void LocalAgentServer::Broadcast::promptRemovedWithPromptId(const QString& promptId) {
    QJsonObject message = makeCallback(method::promptRemoved);
    message.insert(key::promptId, promptId);
    server.sendToAll(message);
}

void LocalAgentServer::Broadcast::promptsClearedWithSessionId(const QString& sessionId) {
    QJsonObject message = makeCallback(method::promptsCleared);
    message.insert(key::sessionId, sessionId);
    server.sendToAll(message);
}

} // namespace zor
