#pragma once

#include "shared/Decoded.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <optional>
#include <variant>

namespace zor::local {

// A message on the local agent socket is a 4-byte big-endian length followed
// by that many bytes of UTF-8 JSON holding one object.
inline constexpr quint32 kMaxFrameLength = 16 * 1024 * 1024;

// What a frame holds: the members of one message by name. Every member a
// message has is a text (kept in UTF-8 as it came, so that the base64 of
// large data is never widened), an integer, a boolean or null; members of
// other types are checked and left out.
struct Message {
    using Value = std::variant<std::nullptr_t, bool, qint64, QByteArray>;
    QHash<QByteArray, Value> members;

    const Value* find(QLatin1String name) const;
    bool operator==(const Message&) const = default;
};

// Reads one frame's text: one JSON object, strictly.
Decoded<Message> decodeMessage(QByteArrayView body);

// The frame for `message`; an error instead of a frame over the limit, which
// the peer would refuse.
Decoded<QByteArray> encodeFrame(const QJsonObject& message);

// Cuts a byte stream into messages. A frame that cannot be read (its length
// out of range, or not one JSON object) means that the peer does not speak
// the protocol, so nothing after it can be trusted: it is reported once, by
// its length and what is wrong with it, never its bytes, and the decoder
// takes nothing more. A length out of range is reported as soon as it comes,
// before any of its frame.
class FrameDecoder {
public:
    void append(const QByteArray& bytes);

    // The next whole frame: its message, or why the stream ends there.
    // Nothing when more bytes are needed, and after a failure.
    std::optional<Decoded<Message>> next();

    // The bytes held: the stream's tail not yet read. Once next() has
    // returned nothing, at most the start of one frame within the limit.
    qsizetype heldSize() const { return buffer.size(); }

private:
    Decoded<Message> fail(const QString& error);

    QByteArray buffer;
    bool hasFailed = false;
};

} // namespace zor::local
