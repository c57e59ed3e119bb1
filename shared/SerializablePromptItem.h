#pragma once

#include "shared/Decoded.h"
#include "shared/Denial.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <chrono>
#include <functional>

namespace zor {

// A pending prompt as the agent sends it; docs/prompt-format.md has the JSON.
// Decoding is safe on any thread.
struct SerializablePromptItem {
    using Time = std::chrono::sys_time<std::chrono::milliseconds>;

    QString id; // the agent's UUID text
    QString sessionId;
    QString policyPath;
    Denial denial;
    bool isSessionEnded = false;
    Time createdAt{}; // when the agent created the prompt; the app does not use it

    bool operator==(const SerializablePromptItem&) const = default;

    QByteArray toJson() const;
    static QByteArray listToJson(const QList<SerializablePromptItem>& items);

    static Decoded<SerializablePromptItem> fromJson(QByteArrayView json);
    // The whole list, or an error when any record fails.
    static Decoded<QList<SerializablePromptItem>> listFromJson(QByteArrayView json);

    // A list read record by record: a record that does not decode is set
    // aside with its position and the reason, the others are kept.
    struct RecordFailure {
        qsizetype index;
        QString error;
    };
    struct PartialList {
        QList<SerializablePromptItem> records;
        QList<RecordFailure> failures;
    };
    // An error only when the text is not a JSON array at all. A text with
    // the parser's room after it (makeParserRoom) is read where it is.
    static Decoded<PartialList> partialListFromJson(const QByteArray& json);
    // The same in batches of `batchSize` elements at most, records and
    // failures together, each handed on as it is read with the number of
    // elements still to follow, so that the first can be used while the rest
    // are read, and a list of failures is never held whole. Failures keep
    // their index in the whole list. A text that is not a JSON array fails before
    // any batch; otherwise the value is the number of records read.
    using BatchHandler = std::function<void(PartialList batch, qsizetype toCome)>;
    static Decoded<qsizetype> partialListFromJson(const QByteArray& json, qsizetype batchSize,
                                                  const BatchHandler& onBatch);
};

} // namespace zor
