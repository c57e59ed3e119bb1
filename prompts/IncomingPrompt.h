#pragma once

#include "prompts/PromptItem.h"
#include "prompts/PromptTextHashes.h"
#include "shared/Denial.h"
#include "shared/SerializablePromptItem.h"
#include "shared/TextHash.h"

#include <QList>
#include <QString>
#include <QStringView>
#include <QUuid>

namespace zor {

// A prompt on its way into the store, with the parts of its de-duplication
// key worked out beforehand. Making one is safe on any thread: a sync makes
// them on the thread that reads the reply, so that the main thread, where
// the store adds them, has less to do per prompt. Read-only once made, so
// that the key always fits the prompt.
class IncomingPrompt {
public:
    // No prompt, as a list's room holds.
    IncomingPrompt();
    IncomingPrompt(const QUuid& id, QString sessionId, QString policyPath, Denial denial,
                   bool isSessionEnded);
    // The agent's record, under the id its text stands for (see promptIdFromText()).
    explicit IncomingPrompt(SerializablePromptItem record);

    // Not yet stamped with the time the store adds it.
    const PromptItem& item() const { return prompt; }
    const QString& typeString() const { return denialType; }
    const QString& target() const { return denialTarget; }
    // promptKeyHash() of the key's parts.
    size_t keyHash() const { return hash; }
    const PromptTextHashes& textHashes() const { return texts; }

    // The prompt itself, for the store to keep; the key's parts stay.
    PromptItem takeItem() { return std::move(prompt); }

private:
    PromptItem prompt;
    QString denialType;
    QString denialTarget;
    size_t hash = 0;
    PromptTextHashes texts;
};

// The records as prompts to add, in their order; the records are spent.
QList<IncomingPrompt> incomingPrompts(QList<SerializablePromptItem> records);

// The hash of the de-duplication key "policyPath:typeString:target", the same
// on every thread of the process.
size_t promptKeyHash(QStringView policyPath, QStringView typeString, QStringView target);

} // namespace zor
