#pragma once

#include "shared/SerializablePromptItem.h"
#include "shared/ZorAgentProtocol.h"
#include "shared/ZorAppCallbackProtocol.h"

#include <QList>
#include <QString>
#include <functional>

namespace zor {

// The agent's side for development: holds prompt records, answers the app's
// calls, and turns command lines into pushes to the app.
class DevAgent final : public ZorAgentProtocol {
public:
    using Print = std::function<void(const QString& line)>;

    // `maxRecordLength` is the largest record (in bytes of JSON) that a push
    // to the app can carry; larger ones are refused.
    DevAgent(QString buildNumber, qsizetype maxRecordLength, Print printOut, Print printError);

    // Replaces the held prompts with a JSON array of records; false (and a
    // line on the error output) when it is not one.
    bool loadPrompts(const QByteArray& json);
    qsizetype promptCount() const { return prompts.size(); }

    // Where pushes go; none until an app side exists.
    void setApps(ZorAppCallbackProtocol* apps) { this->apps = apps; }

    // One line of input: "add JSON", "remove ID", "clear SESSION" or "quit".
    // False once the agent should stop.
    bool runCommand(const QString& line);

    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override;
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override;
    void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                  const QString& lifetime, const QString& policyPath,
                                  DecisionReply reply) override;
    void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) override;

private:
    // Settles the prompt: answers, then tells the app it is gone.
    void settle(const QString& promptId, const DecisionReply& reply);
    qsizetype indexOf(const QString& promptId) const;

    QString buildNumber;
    qsizetype maxRecordLength;
    Print printOut;
    Print printError;
    QList<SerializablePromptItem> prompts;
    ZorAppCallbackProtocol* apps = nullptr;
};

} // namespace zor
