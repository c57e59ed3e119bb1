#pragma once

#include "platform/local/LocalFraming.h"
#include "shared/ZorAgentProtocol.h"
#include "shared/ZorAppCallbackProtocol.h"

#include <QLocalServer>
#include <QObject>
#include <map>

class QLocalSocket;

namespace zor {

// The agent's side of the local transport: serves `agent` to every app that
// connects and pushes callbacks to all of them. Lives on the thread that
// created it; the agent is called there and must answer there.
class LocalAgentServer final : public QObject {
    Q_OBJECT
public:
    explicit LocalAgentServer(ZorAgentProtocol& agent, QObject* parent = nullptr);
    ~LocalAgentServer() override;

    // Takes over a socket left behind by an agent that no longer runs, but
    // never one that another agent still holds, answering or not.
    bool listen(const QString& name);
    QString errorString() const;
    QString fullServerName() const;
    int appCount() const;

    // Pushes to every connected app.
    ZorAppCallbackProtocol& apps();

signals:
    // Only the user's own processes are served; another user's is dropped
    // at once. -1 when the system cannot tell whose it is.
    void appRefused(qint64 userId);
    void appConnected();
    void appDisconnected();
    // An app sent something that is not a call of the interface; it was dropped.
    void protocolError(const QString& reason);
    // A message was too large for a frame and was not sent.
    void sendFailed(const QString& reason);

private:
    class Broadcast final : public ZorAppCallbackProtocol {
    public:
        explicit Broadcast(LocalAgentServer& server)
            : server(server) {}
        void promptAddedWithPromptData(const QByteArray& promptData) override;
        void promptRemovedWithPromptId(const QString& promptId) override;
        void promptsClearedWithSessionId(const QString& sessionId) override;

    private:
        LocalAgentServer& server;
    };

    void acceptApps();
    void readCalls(QLocalSocket* app);
    // Empty when the call was understood; else why not.
    QString handleCall(QLocalSocket* app, const local::Message& call);
    void dropApp(QLocalSocket* app, const QString& reason);
    void sendToAll(const QJsonObject& message);

    ZorAgentProtocol& agent;
    QLocalServer server;
    QString lastError;
    std::map<QLocalSocket*, local::FrameDecoder> connectedApps;
    Broadcast broadcast{*this};
};

} // namespace zor
