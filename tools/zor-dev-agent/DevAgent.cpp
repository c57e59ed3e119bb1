#include "DevAgent.h"

#include <QUuid>

namespace zor {

DevAgent::DevAgent(QString buildNumber, qsizetype maxRecordLength, Print printOut, Print printError)
    : buildNumber(std::move(buildNumber))
    , maxRecordLength(maxRecordLength)
    , printOut(std::move(printOut))
    , printError(std::move(printError)) {}

bool DevAgent::loadPrompts(const QByteArray& json) {
    auto decoded = SerializablePromptItem::listFromJson(json);
    if (!decoded) {
        printError(QStringLiteral("not a list of prompt records: %1").arg(decoded.error()));
        return false;
    }
    prompts = std::move(decoded).value();
    return true;
}

bool DevAgent::runCommand(const QString& line) {
    const QString trimmed = line.trimmed();
    const qsizetype space = trimmed.indexOf(u' ');
    const QString command = trimmed.left(space < 0 ? trimmed.size() : space);
    const QString argument = space < 0 ? QString() : trimmed.mid(space + 1).trimmed();

    if (command.isEmpty())
        return true;
    if (command == u"quit")
        return false;
    if (argument.isEmpty()) {
        printError(QStringLiteral("usage: add JSON | remove ID | clear SESSION | quit"));
        return true;
    }
    if (command == u"add") {
        auto decoded = SerializablePromptItem::fromJson(argument.toUtf8());
        if (!decoded) {
            printError(QStringLiteral("not a prompt record: %1").arg(decoded.error()));
            return true;
        }
        SerializablePromptItem item = std::move(decoded).value();
        if (const qsizetype length = item.toJson().size(); length > maxRecordLength) {
            printError(QStringLiteral("record of %1 bytes refused: a push carries at most %2")
                           .arg(length)
                           .arg(maxRecordLength));
            return true;
        }
        if (const qsizetype index = indexOf(item.id); index >= 0)
            prompts.removeAt(index);
        prompts.append(item);
        if (apps)
            apps->promptAddedWithPromptData(item.toJson());
    } else if (command == u"remove") {
        if (const qsizetype index = indexOf(argument); index >= 0)
            prompts.removeAt(index);
        // Pushed even for an unknown id, to see what the app makes of it.
        if (apps)
            apps->promptRemovedWithPromptId(argument);
    } else if (command == u"clear") {
        for (SerializablePromptItem& item : prompts)
            if (item.sessionId == argument)
                item.isSessionEnded = true;
        if (apps)
            apps->promptsClearedWithSessionId(argument);
    } else {
        printError(QStringLiteral("unknown command: %1").arg(command));
    }
    return true;
}

void DevAgent::getPromptsWithReply(std::function<void(const QByteArray&)> reply) {
    reply(SerializablePromptItem::listToJson(prompts));
}

void DevAgent::getBuildNumberWithReply(std::function<void(const QString&)> reply) {
    reply(buildNumber);
}

void DevAgent::handlePromptWithPromptId(const QString& promptId, const QString& action,
                                        const QString& lifetime, const QString& policyPath,
                                        DecisionReply reply) {
    printOut(
        QStringList{QStringLiteral("decision"), promptId, action, lifetime, policyPath}.join(u' '));
    settle(promptId, reply);
}

void DevAgent::dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) {
    printOut(QStringLiteral("dismiss %1").arg(promptId));
    settle(promptId, reply);
}

void DevAgent::settle(const QString& promptId, const DecisionReply& reply) {
    const qsizetype index = indexOf(promptId);
    if (index < 0) {
        reply(false, QStringLiteral("No pending prompt %1").arg(promptId));
        return;
    }
    const QString heldId = prompts.takeAt(index).id;
    reply(true, std::nullopt);
    if (apps)
        apps->promptRemovedWithPromptId(heldId);
}

qsizetype DevAgent::indexOf(const QString& promptId) const {
    // The app writes UUIDs in upper case; records may hold them in lower case.
    const QUuid uuid = QUuid::fromString(promptId);
    for (qsizetype i = 0; i < prompts.size(); ++i) {
        const QString& held = prompts[i].id;
        if (held == promptId || (!uuid.isNull() && QUuid::fromString(held) == uuid))
            return i;
    }
    return -1;
}

} // namespace zor
