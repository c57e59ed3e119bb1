#include "shared/SerializablePromptItem.h"

#include "shared/JsonReader.h"

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

bool readTime(JsonReader& reader, Time& out) {
    double seconds = 0;
    if (!reader.readNumber(seconds))
        return false;
    const double millis = std::round(seconds * 1000.0);
    // Far beyond any real date, and safely inside the range of the representation.
    constexpr double kLimit = 1e15;
    if (!(millis > -kLimit && millis < kLimit))
        return reader.fail(QStringLiteral("field \"createdAt\" is out of range"));
    out = Time(std::chrono::milliseconds(qint64(millis)));
    return true;
}

bool readRecord(JsonReader& reader, SerializablePromptItem& out) {
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
    if (!reader.beginObject())
        return false;
    while (reader.nextMember()) {
        const QByteArrayView key = reader.key();
        bool ok = true;
        if (key == "id") {
            seen |= idBit;
            ok = reader.readString(out.id);
        } else if (key == "sessionId") {
            seen |= sessionIdBit;
            ok = reader.readString(out.sessionId);
        } else if (key == "policyPath") {
            seen |= policyPathBit;
            ok = reader.readString(out.policyPath);
        } else if (key == "denial") {
            seen |= denialBit;
            ok = Denial::read(reader, out.denial);
        } else if (key == "sessionEnded") {
            seen |= sessionEndedBit;
            ok = reader.readBool(out.isSessionEnded);
        } else if (key == "createdAt") {
            seen |= createdAtBit;
            ok = readTime(reader, out.createdAt);
        } else {
            ok = reader.skipValue(); // written by a newer version
        }
        if (!ok)
            return false;
    }
    if (reader.hasFailed())
        return false;
    if (seen != kAllFields) {
        static const char* const names[] = {"id",     "sessionId",    "policyPath",
                                            "denial", "sessionEnded", "createdAt"};
        for (unsigned bit = 0; bit < std::size(names); ++bit)
            if (!(seen & (1u << bit)))
                return reader.fail(
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

Decoded<SerializablePromptItem> SerializablePromptItem::fromJson(QByteArrayView json) {
    JsonReader reader(json);
    SerializablePromptItem item;
    if (!readRecord(reader, item) || !reader.finish())
        return Decoded<SerializablePromptItem>::failure(reader.error());
    return item;
}

Decoded<QList<SerializablePromptItem>> SerializablePromptItem::listFromJson(QByteArrayView json) {
    using Result = Decoded<QList<SerializablePromptItem>>;
    JsonReader reader(json);
    QList<SerializablePromptItem> items;
    if (!reader.beginArray())
        return Result::failure(reader.error());
    while (reader.nextElement()) {
        SerializablePromptItem item;
        if (!readRecord(reader, item))
            return Result::failure(
                QStringLiteral("record %1: %2").arg(items.size()).arg(reader.error()));
        items.append(std::move(item));
    }
    if (!reader.finish())
        return Result::failure(reader.error());
    return items;
}

Decoded<SerializablePromptItem::PartialList>
SerializablePromptItem::partialListFromJson(QByteArrayView json) {
    using Result = Decoded<PartialList>;
    if (auto whole = listFromJson(json))
        return PartialList{std::move(whole).value(), {}};

    // Something failed: walk the array's elements, checking only that each is
    // well-formed JSON, and decode each one on its own.
    PartialList list;
    JsonReader reader(json);
    if (!reader.beginArray())
        return Result::failure(reader.error());
    for (qsizetype index = 0; reader.nextElement(); ++index) {
        const qsizetype start = reader.position();
        if (!reader.skipValue())
            break;
        auto item = fromJson(json.sliced(start, reader.position() - start));
        if (item)
            list.records.append(std::move(item).value());
        else
            list.failures.append(RecordFailure{index, item.error()});
    }
    if (!reader.finish())
        return Result::failure(reader.error());
    return list;
}

} // namespace zor
