#include "shared/SerializablePromptItem.h"

#include "shared/DenialJson.h"
#include "shared/JsonWriter.h"
#include "shared/OutOfRangeNumbers.h"

#include <cmath>
#include <limits>
#include <string_view>

namespace zor {
namespace {

using Time = SerializablePromptItem::Time;

// Seconds since the Unix epoch, as a number: integral seconds stay exact and
// milliseconds survive the round trip.
double secondsSinceEpoch(Time time) {
    return double(time.time_since_epoch().count()) / 1000.0;
}

void writeRecord(JsonWriter& writer, const SerializablePromptItem& item) {
    writer.beginObject();
    writer.member("id", item.id);
    writer.member("sessionId", item.sessionId);
    writer.member("policyPath", item.policyPath);
    writer.key("denial");
    item.denial.writeJson(writer);
    writer.member("sessionEnded", item.isSessionEnded);
    writer.member("createdAt", secondsSinceEpoch(item.createdAt));
    writer.endObject();
}

bool readTime(StrictJson& json, JsonValue value, Time& out) {
    double seconds = 0;
    if (!json.readNumber(value, seconds))
        return false;
    const double millis = std::round(seconds * 1000.0);
    // Far beyond any real date, and safely inside the range of the representation.
    constexpr double kLimit = 1e15;
    if (!(millis > -kLimit && millis < kLimit))
        return json.fail(QStringLiteral("field \"createdAt\" is out of range"));
    out = Time(std::chrono::milliseconds(qint64(millis)));
    return true;
}

// The members a record must have, in the order of kRecordFields.
enum class RecordField : unsigned { id, sessionId, policyPath, denial, sessionEnded, createdAt };
constexpr std::string_view kRecordFields[] = {"id",     "sessionId",    "policyPath",
                                              "denial", "sessionEnded", "createdAt"};
constexpr unsigned kRecordFieldCount = std::size(kRecordFields);

bool readRecordField(StrictJson& json, unsigned field, JsonValue value,
                     SerializablePromptItem& out) {
    switch (RecordField(field)) {
    case RecordField::id:
        return json.readText(value, out.id);
    case RecordField::sessionId:
        return json.readSharedText(value, out.sessionId);
    case RecordField::policyPath:
        return json.readSharedText(value, out.policyPath);
    case RecordField::denial:
        return readDenial(json, value, out.denial);
    case RecordField::sessionEnded:
        return json.readBool(value, out.isSessionEnded);
    case RecordField::createdAt:
        return readTime(json, value, out.createdAt);
    }
    return false;
}

bool readRecord(StrictJson& json, JsonValue value, SerializablePromptItem& out) {
    // One bit per field.
    constexpr unsigned kAllFields = (1u << kRecordFieldCount) - 1;
    unsigned seen = 0;
    LastValueErrors<kRecordFieldCount> errors;
    const bool isRead = json.forEachMember(value, [&](std::string_view key, JsonValue member) {
        for (unsigned field = 0; field < kRecordFieldCount; ++field)
            if (key == kRecordFields[field]) {
                seen |= 1u << field;
                return errors.take(json, field, member, readRecordField(json, field, member, out));
            }
        return true; // written by a newer version, and checked with the rest
    });
    if (!isRead || !errors.check([&](unsigned field, JsonValue member) {
            return readRecordField(json, field, member, out);
        }))
        return false;
    if (seen != kAllFields) {
        for (unsigned field = 0; field < kRecordFieldCount; ++field)
            if (!(seen & (1u << field)))
                return json.fail(QStringLiteral("missing field \"%1\"")
                                     .arg(QLatin1String(kRecordFields[field].data(),
                                                        qsizetype(kRecordFields[field].size()))));
    }
    return true;
}

// The records of a parsed array, in batches; those at `unreadable` hold a
// number out of range, which was read as null.
Decoded<qsizetype> readPartialList(StrictJson& json, JsonValue root,
                                   const QSet<qsizetype>& unreadable, qsizetype batchSize,
                                   const SerializablePromptItem::BatchHandler& onBatch) {
    using PartialList = SerializablePromptItem::PartialList;
    const qsizetype count = StrictJson::elementCount(root);
    json.releaseParser();
    PartialList batch;
    qsizetype index = 0;
    qsizetype recordCount = 0;
    const bool isArray = json.forEachElement(root, [&](JsonValue element) {
        if (batch.records.isEmpty())
            batch.records.reserve(std::min(batchSize, count - index));
        if (unreadable.contains(index)) {
            batch.failures.append({index, QStringLiteral("a number out of range")});
        } else if (readRecord(json, element, batch.records.emplace_back())) {
            ++recordCount;
        } else {
            batch.records.removeLast();
            batch.failures.append({index, json.error()});
            json.clearError();
        }
        ++index;
        if (batch.records.size() + batch.failures.size() == batchSize)
            onBatch(std::exchange(batch, {}), count - index);
        return true;
    });
    if (!isArray)
        return Decoded<qsizetype>::failure(json.error());
    if (!batch.records.isEmpty() || !batch.failures.isEmpty())
        onBatch(std::move(batch), 0);
    return recordCount;
}

} // namespace

QByteArray SerializablePromptItem::toJson() const {
    QByteArray json;
    JsonWriter writer(json);
    writeRecord(writer, *this);
    return json;
}

QByteArray SerializablePromptItem::listToJson(const QList<SerializablePromptItem>& items) {
    QByteArray json;
    JsonWriter writer(json);
    writer.beginArray();
    for (const SerializablePromptItem& item : items)
        writeRecord(writer, item);
    writer.endArray();
    return json;
}

Decoded<SerializablePromptItem> SerializablePromptItem::fromJson(QByteArrayView text) {
    StrictJson json(text);
    JsonValue root;
    SerializablePromptItem item;
    if (!json.root(root) || !readRecord(json, root, item))
        return Decoded<SerializablePromptItem>::failure(json.error());
    return item;
}

Decoded<QList<SerializablePromptItem>> SerializablePromptItem::listFromJson(QByteArrayView text) {
    using Result = Decoded<QList<SerializablePromptItem>>;
    StrictJson json(text);
    JsonValue root;
    if (!json.root(root))
        return Result::failure(json.error());
    QList<SerializablePromptItem> items;
    items.reserve(StrictJson::elementCount(root));
    json.releaseParser();
    QString recordError;
    const bool isRead = json.forEachElement(root, [&](JsonValue element) {
        if (readRecord(json, element, items.emplace_back()))
            return true;
        recordError = QStringLiteral("record %1: %2").arg(items.size() - 1).arg(json.error());
        return false;
    });
    if (!isRead)
        return Result::failure(recordError.isEmpty() ? json.error() : recordError);
    return items;
}

Decoded<SerializablePromptItem::PartialList>
SerializablePromptItem::partialListFromJson(const QByteArray& text) {
    // One batch of everything.
    PartialList list;
    const Decoded<qsizetype> read =
        partialListFromJson(text, std::numeric_limits<qsizetype>::max(),
                            [&list](PartialList batch, qsizetype) { list = std::move(batch); });
    if (!read)
        return Decoded<PartialList>::failure(read.error());
    return list;
}

Decoded<qsizetype> SerializablePromptItem::partialListFromJson(const QByteArray& text,
                                                               qsizetype batchSize,
                                                               const BatchHandler& onBatch) {
    // The parse checks the whole text, so only text that is not one
    // well-formed array fails as a whole; then each record counts on its own.
    QString error;
    {
        StrictJson json(text);
        JsonValue root;
        if (json.root(root))
            return readPartialList(json, root, {}, batchSize, onBatch);
        error = json.error();
    }
    // A number beyond what the reader holds is well-formed all the same: the
    // record that holds one cannot be read, the others can. Set aside, they
    // leave the text to be read again, as strictly.
    const std::optional<OutOfRangeNumbers> found = nullOutOfRangeNumbers(text);
    if (!found)
        return Decoded<qsizetype>::failure(error);
    StrictJson json(found->text);
    JsonValue root;
    if (!json.root(root))
        return Decoded<qsizetype>::failure(json.error());
    return readPartialList(json, root, found->elements, batchSize, onBatch);
}

} // namespace zor
