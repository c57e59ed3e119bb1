#include "prompts/IncomingPrompt.h"

#include "shared/TextHash.h"

#include <utility>

namespace zor {

IncomingPrompt::IncomingPrompt()
    : IncomingPrompt(QUuid(), {}, {}, Denial(), false) {}

IncomingPrompt::IncomingPrompt(const QUuid& id, QString sessionId, QString policyPath,
                               Denial denial, bool isSessionEnded)
    : prompt{id, std::move(sessionId), std::move(policyPath), std::move(denial), {}, isSessionEnded}
    , denialType(prompt.denial.typeString())
    , denialTarget(prompt.denial.target())
    , hash(promptKeyHash(prompt.policyPath, denialType, denialTarget))
    , texts{textKeyHash(prompt.sessionId), textKeyHash(prompt.policyPath)} {}

IncomingPrompt::IncomingPrompt(SerializablePromptItem record)
    : IncomingPrompt(promptIdFromText(record.id), std::move(record.sessionId),
                     std::move(record.policyPath), std::move(record.denial),
                     record.isSessionEnded) {}

QList<IncomingPrompt> incomingPrompts(QList<SerializablePromptItem> records) {
    QList<IncomingPrompt> prompts;
    prompts.reserve(records.size());
    for (SerializablePromptItem& record : records)
        prompts.emplace_back(std::move(record));
    return prompts;
}

size_t promptKeyHash(QStringView policyPath, QStringView typeString, QStringView target) {
    // Put together in a buffer kept between calls: a fresh string for every
    // prompt of a sync cost more than the rest of its indexing.
    thread_local QString key;
    key.resize(0);
    key.reserve(policyPath.size() + typeString.size() + target.size() + 2);
    key += policyPath;
    key += u':';
    key += typeString;
    key += u':';
    key += target;
    return textKeyHash(key).value;
}

} // namespace zor
