#include "shared/SerializablePromptItem.h"

#include "shared/DenialJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <cmath>

namespace zor {
namespace {

using Time = SerializablePromptItem::Time;

// Seconds since the Unix epoch, as a number: integral seconds stay exact and
// milliseconds survive the round trip.
double secondsSinceEpoch(Time time) {
    return double(time.time_since_epoch().count()) / 1000.0;
}

QJsonObject toJsonObject(const SerializablePromptItem& item) {
    return QJsonObject{
        {QLatin1String("id"), item.id},
        {QLatin1String("sessionId"), item.sessionId},
        {QLatin1String("policyPath"), item.policyPath},
        {QLatin1String("denial"), item.denial.toJson()},
        {QLatin1String("sessionEnded"), item.isSessionEnded},
        {QLatin1String("createdAt"), secondsSinceEpoch(item.createdAt)},
    };
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

bool readRecord(StrictJson& json, JsonValue value, SerializablePromptItem& out) {
    // One bit per required field, in the order of `names` below.
    enum Field : unsigned {
        idBit = 1,
        sessionIdBit = 2,
        policyPathBit = 4,
        denialBit = 8,
        sessionEndedBit = 16,
        createdAtBit = 32,
    };
    constexpr unsigned kAllFields = 63;
    unsigned seen = 0;
    const bool isRead = json.forEachMember(value, [&](std::string_view key, JsonValue member) {
        if (key == "id") {
            seen |= idBit;
            return json.readText(member, out.id);
        }
        if (key == "sessionId") {
            seen |= sessionIdBit;
            return json.readText(member, out.sessionId);
        }
        if (key == "policyPath") {
            seen |= policyPathBit;
            return json.readText(member, out.policyPath);
        }
        if (key == "denial") {
            seen |= denialBit;
            return readDenial(json, member, out.denial);
        }
        if (key == "sessionEnded") {
            seen |= sessionEndedBit;
            return json.readBool(member, out.isSessionEnded);
        }
        if (key == "createdAt") {
            seen |= createdAtBit;
            return readTime(json, member, out.createdAt);
        }
        return json.skip(member); // written by a newer version
    });
    if (!isRead)
        return false;
    if (seen != kAllFields) {
        static const char* const names[] = {"id",     "sessionId",    "policyPath",
                                            "denial", "sessionEnded", "createdAt"};
        for (unsigned bit = 0; bit < std::size(names); ++bit)
            if (!(seen & (1u << bit)))
                return json.fail(
                    QStringLiteral("missing field \"%1\"").arg(QLatin1String(names[bit])));
    }
    return true;
}

} // namespace

QByteArray SerializablePromptItem::toJson() const {
    return QJsonDocument(toJsonObject(*this)).toJson(QJsonDocument::Compact);
}

QByteArray SerializablePromptItem::listToJson(const QList<SerializablePromptItem>& items) {
    QJsonArray array;
    for (const SerializablePromptItem& item : items)
        array.append(toJsonObject(item));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

Decoded<SerializablePromptItem> SerializablePromptItem::fromJson(QByteArrayView text) {
    StrictJson json(text);
    JsonValue root;
    SerializablePromptItem item;
    if (!json.root(root) || !readRecord(json, root, item) || !json.finish())
        return Decoded<SerializablePromptItem>::failure(json.error());
    return item;
}

Decoded<QList<SerializablePromptItem>> SerializablePromptItem::listFromJson(QByteArrayView text) {
    using Result = Decoded<QList<SerializablePromptItem>>;
    StrictJson json(text);
    JsonValue root;
    QList<SerializablePromptItem> items;
    QString recordError;
    const bool isRead = json.root(root) && json.forEachElement(root, [&](JsonValue element) {
        SerializablePromptItem item;
        if (!readRecord(json, element, item)) {
            recordError = QStringLiteral("record %1: %2").arg(items.size()).arg(json.error());
            return false;
        }
        items.append(std::move(item));
        return true;
    });
    if (!isRead || !json.finish())
        return Result::failure(recordError.isEmpty() ? json.error() : recordError);
    return items;
}

Decoded<SerializablePromptItem::PartialList>
SerializablePromptItem::partialListFromJson(QByteArrayView text) {
    using Result = Decoded<PartialList>;
    if (auto whole = listFromJson(text))
        return PartialList{std::move(whole).value(), {}};

    // Something failed. Only text that is not one well-formed array fails as a
    // whole, so check that first; then decode each element on its own.
    StrictJson json(text);
    JsonValue root;
    const bool isWellFormed = json.root(root) && json.forEachElement(root, [&](JsonValue element) {
        return json.skip(element);
    }) && json.finish();
    if (!isWellFormed)
        return Result::failure(json.error());
    PartialList list;
    json.rewind();
    json.root(root);
    qsizetype index = 0;
    json.forEachElement(root, [&](JsonValue element) {
        SerializablePromptItem item;
        if (readRecord(json, element, item))
            list.records.append(std::move(item));
        else
            list.failures.append(RecordFailure{index, json.error()});
        ++index;
        // The element is well-formed: the next one reads from a clean state.
        json.clearError();
        return true;
    });
    return list;
}

} // namespace zor
