#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace zor::local {

// A message on the local agent socket is a 4-byte big-endian length followed
// by that many bytes of UTF-8 JSON holding one object.
inline constexpr quint32 kMaxFrameLength = 16 * 1024 * 1024;

QByteArray encodeFrame(const QJsonObject& message);

// Cuts a byte stream into messages. Once the stream breaks (a length out of
// range, or bytes that are not one JSON object) it stays broken: the peer can
// no longer be understood.
class FrameDecoder {
public:
    void append(const QByteArray& bytes);

    // The next whole message; nothing when more bytes are needed or the stream broke.
    std::optional<QJsonObject> next();

    bool hasFailed() const { return !failureText.isEmpty(); }
    QString failure() const { return failureText; }

private:
    QByteArray buffer;
    QString failureText;
};

} // namespace zor::local
