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

// Cuts a byte stream into messages. The length in front of each frame keeps
// the stream in step whatever a frame holds, so a frame that cannot be read
// (out of range, or not one JSON object) is skipped and reported, and the
// next one is read as usual. A frame over the limit is dropped as its bytes
// come, never held.
class FrameDecoder {
public:
    void append(const QByteArray& bytes);

    // The next whole frame: its message, or why it was skipped. Nothing when
    // more bytes are needed.
    std::optional<Decoded<Message>> next();

    // The bytes held: the stream's tail not yet read. Once next() has
    // returned nothing, at most the start of one frame within the limit.
    qsizetype heldSize() const { return buffer.size(); }

private:
    QByteArray buffer;
    qint64 bytesToSkip = 0; // the rest of a frame over the limit
};

} // namespace zor::local
