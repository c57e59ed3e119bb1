#pragma once

#include "shared/Denial.h"
#include "shared/SerializablePromptItem.h"

#include <QList>
#include <QString>
#include <QStringView>
#include <QUuid>

namespace zor {

// A prompt on its way into the store, with the parts of its de-duplication
// key worked out beforehand. Making one is safe on any thread: a sync makes
// them on the thread that reads the reply, so that the main thread, where
// the store adds them, has less to do per prompt.
struct IncomingPrompt {
    QUuid id;
    QString sessionId;
    QString policyPath;
    Denial denial;
    bool isSessionEnded = false;
    QString typeString; // of the denial
    QString target;     // of the denial
    size_t keyHash = 0; // promptKeyHash() of the three

    IncomingPrompt() = default;
    IncomingPrompt(const QUuid& id, QString sessionId, QString policyPath, Denial denial,
                   bool isSessionEnded);
    // The agent's record, under the id its text stands for (see promptIdFromText()).
    explicit IncomingPrompt(SerializablePromptItem record);
};

// The records as prompts to add, in their order; the records are spent.
QList<IncomingPrompt> incomingPrompts(QList<SerializablePromptItem> records);

// The hash of the de-duplication key "policyPath:typeString:target", the same
// on every thread of the process.
size_t promptKeyHash(QStringView policyPath, QStringView typeString, QStringView target);

} // namespace zor
