#include "FuzzCheck.h"
#include "shared/ParserRoom.h"
#include "shared/SerializablePromptItem.h"

#include <cstddef>
#include <cstdint>

// Any text as the agent's reply to a sync, read the ways the app can read
// it: the record-by-record reading, of the reply where the transport leaves
// it, keeps every record the strict one keeps in a copy of its own, accounts
// for what it skips, and what it keeps survives its JSON.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using zor::SerializablePromptItem;
    using zor::fuzz::check;
    const QByteArrayView view(data, qsizetype(size));
    QByteArray json = view.toByteArray();
    zor::makeParserRoom(json);
    const auto strict = SerializablePromptItem::listFromJson(view);
    const auto partial = SerializablePromptItem::partialListFromJson(json);
    if (strict)
        check(partial && partial.value().records == strict.value() &&
                  partial.value().failures.isEmpty(),
              "a list that decodes whole decodes the same record by record");
    else
        check(!partial || !partial.value().failures.isEmpty(),
              "a list refused whole is refused or has a record set aside");
    if (!partial)
        return 0;

    const auto& [records, failures] = partial.value();
    const qsizetype count = records.size() + failures.size();
    qsizetype previous = -1;
    for (const auto& failure : failures) {
        check(failure.index > previous && failure.index < count && !failure.error.isEmpty(),
              "each record set aside has its own position in the list, and a reason");
        previous = failure.index;
    }

    // In batches, as a sync reads it: the same records and failures.
    SerializablePromptItem::PartialList batched;
    const auto read = SerializablePromptItem::partialListFromJson(
        json, 2, [&batched](SerializablePromptItem::PartialList batch, qsizetype) {
            batched.records += batch.records;
            batched.failures += batch.failures;
        });
    check(read && read.value() == records.size() && batched.records == records &&
              batched.failures.size() == failures.size(),
          "a list read in batches reads as in one go");

    const QByteArray again = SerializablePromptItem::listToJson(records);
    const auto decodedAgain = SerializablePromptItem::listFromJson(again);
    check(decodedAgain.hasValue() && decodedAgain.value() == records,
          "the records kept survive their JSON", again);
    return 0;
}
