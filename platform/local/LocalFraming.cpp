#include "platform/local/LocalFraming.h"

#include "shared/StrictJson.h"

#include <QJsonDocument>
#include <QtEndian>

namespace zor::local {

namespace {

constexpr qsizetype kHeaderLength = 4;

// One member's value, if it is of a type that messages use.
bool readMember(StrictJson& json, JsonValue value, std::optional<Message::Value>& out) {
    switch (value.type()) {
    case simdjson::dom::element_type::STRING: {
        std::string_view text;
        if (!json.readUtf8(value, text))
            return false;
        out = QByteArray(text.data(), qsizetype(text.size()));
        return true;
    }
    case simdjson::dom::element_type::BOOL: {
        bool flag = false;
        if (!json.readBool(value, flag))
            return false;
        out = flag;
        return true;
    }
    case simdjson::dom::element_type::NULL_VALUE:
        out = nullptr;
        return true;
    case simdjson::dom::element_type::INT64: {
        qint64 number = 0;
        if (!json.readInteger(value, number))
            return false;
        out = number;
        return true;
    }
    default: // checked with the rest, and of no use to a message
        return true;
    }
}

} // namespace

const Message::Value* Message::find(QLatin1String name) const {
    const auto found = members.constFind(QByteArray(name.data(), name.size()));
    return found == members.cend() ? nullptr : &*found;
}

Decoded<Message> decodeMessage(QByteArrayView body) {
    StrictJson json(body);
    JsonValue root;
    if (!json.root(root))
        return Decoded<Message>::failure(QStringLiteral("not JSON: %1").arg(json.error()));
    if (!root.is_object())
        return Decoded<Message>::failure(QStringLiteral("not a JSON object"));
    Message message;
    const bool isRead = json.forEachMember(root, [&](std::string_view key, JsonValue value) {
        std::optional<Message::Value> member;
        if (!readMember(json, value, member))
            return false;
        if (member)
            message.members[QByteArray(key.data(), qsizetype(key.size()))] = std::move(*member);
        return true;
    });
    if (!isRead)
        return Decoded<Message>::failure(QStringLiteral("not JSON: %1").arg(json.error()));
    return message;
}

Decoded<QByteArray> encodeFrame(const QJsonObject& message) {
    const QByteArray body = QJsonDocument(message).toJson(QJsonDocument::Compact);
    if (body.size() > qsizetype(kMaxFrameLength))
        return Decoded<QByteArray>::failure(
            QStringLiteral("a message of %1 bytes is over the frame limit of %2 bytes")
                .arg(body.size())
                .arg(kMaxFrameLength));
    QByteArray frame(kHeaderLength, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), frame.data());
    frame.append(body);
    return frame;
}

void FrameDecoder::append(const QByteArray& bytes) {
    if (!hasFailed)
        buffer.append(bytes);
}

std::optional<Decoded<Message>> FrameDecoder::next() {
    if (hasFailed || buffer.size() < kHeaderLength)
        return std::nullopt;
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (length == 0 || length > kMaxFrameLength)
        return fail(QStringLiteral("frame length %1 out of range").arg(length));
    if (buffer.size() - kHeaderLength < qsizetype(length))
        return std::nullopt;
    auto message = decodeMessage(QByteArrayView(buffer).sliced(kHeaderLength, qsizetype(length)));
    if (!message)
        return fail(QStringLiteral("frame of %1 bytes is %2").arg(length).arg(message.error()));
    buffer.remove(0, kHeaderLength + qsizetype(length));
    return message;
}

Decoded<Message> FrameDecoder::fail(const QString& error) {
    hasFailed = true;
    buffer.clear();
    buffer.squeeze();
    return Decoded<Message>::failure(error);
}

} // namespace zor::local
