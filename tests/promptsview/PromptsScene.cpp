#include "PromptsScene.h"

#include "shared/SerializablePromptItem.h"

#include <QCoreApplication>
#include <QFile>

namespace zor::testing {

PromptsScene::PromptsScene(bool isConnected) {
    handler.setAppState(&appState);
    if (isConnected)
        connectToAgent();
}

PromptsScene::~PromptsScene() {
    handler.disconnect();
    queue.drain();
}

void PromptsScene::addSamplePrompts() {
    QFile file(QStringLiteral(ZOR_SAMPLE_PROMPTS_PATH));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("PromptsScene: cannot read the sample prompts");
    const auto records = SerializablePromptItem::listFromJson(file.readAll());
    if (!records)
        qFatal("PromptsScene: the sample prompts do not decode");
    for (const SerializablePromptItem& record : records.value())
        appState.promptStore()->addPrompt(promptIdFromText(record.id), record.sessionId,
                                          record.policyPath, record.denial, record.isSessionEnded);
}

std::shared_ptr<FakeAgentConnection> PromptsScene::connectToAgent() {
    handler.connect();
    auto connection = connector.connections.last();
    connection->replyToPrompts("[]");
    settle();
    return connection;
}

void PromptsScene::settle() {
    for (int round = 0; round < 3; ++round) {
        queue.drain();
        QCoreApplication::sendPostedEvents();
    }
}

} // namespace zor::testing
