#include "platform/local/LocalAgentServer.h"

#include "platform/local/LocalAgentMessages.h"

#include <QLocalSocket>
#include <QPointer>

namespace zor {

using namespace local;

namespace {

// Writes to one app if it is still connected when the answer comes.
auto replySender(QLocalSocket* app, qint64 callId) {
    return [app = QPointer<QLocalSocket>(app), callId](const QJsonObject& fields) {
        if (!app || app->state() != QLocalSocket::ConnectedState)
            return;
        QJsonObject reply = makeReply(callId);
        for (auto field = fields.begin(); field != fields.end(); ++field)
            reply.insert(field.key(), field.value());
        app->write(encodeFrame(reply));
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
    server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&server, &QLocalServer::newConnection, this, &LocalAgentServer::acceptApps);
}

LocalAgentServer::~LocalAgentServer() {
    for (const auto& [app, decoder] : connectedApps) {
        app->disconnect(this);
        app->abort();
    }
}

bool LocalAgentServer::listen(const QString& name) {
    // Listening replaces whatever socket file is there, so look for a live agent first.
    QLocalSocket probe;
    probe.connectToServer(name);
    const bool isAnswered = probe.waitForConnected(1000);
    probe.abort();
    if (isAnswered) {
        lastError = QStringLiteral("another agent is listening on %1").arg(name);
        return false;
    }
    QLocalServer::removeServer(name);
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
        FrameDecoder& decoder = connectedApps.at(app);
        const auto call = decoder.next();
        if (!call) {
            if (decoder.hasFailed())
                dropApp(app, decoder.failure());
            return;
        }
        const QString problem = handleCall(app, *call);
        if (!problem.isEmpty()) {
            dropApp(app, problem);
            return;
        }
    }
}

QString LocalAgentServer::handleCall(QLocalSocket* app, const QJsonObject& call) {
    if (stringField(call, key::type) != type::call)
        return QStringLiteral("message is not a call");
    const auto callId = callIdField(call);
    if (!callId)
        return QStringLiteral("call without an id");
    const auto send = replySender(app, *callId);
    const auto name = stringField(call, key::method);
    const auto promptId = stringField(call, key::promptId);

    if (name == method::getPrompts) {
        agent.getPromptsWithReply([send](const QByteArray& data) {
            send(QJsonObject{{key::data, encodeData(data)}});
        });
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
    const QByteArray frame = encodeFrame(message);
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
