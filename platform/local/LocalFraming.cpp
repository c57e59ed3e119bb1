#include "platform/local/LocalFraming.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QtEndian>

namespace zor::local {

namespace {
constexpr qsizetype kHeaderLength = 4;
}

QByteArray encodeFrame(const QJsonObject& message) {
    const QByteArray body = QJsonDocument(message).toJson(QJsonDocument::Compact);
    QByteArray frame(kHeaderLength, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), frame.data());
    frame.append(body);
    return frame;
}

void FrameDecoder::append(const QByteArray& bytes) {
    if (!hasFailed())
        buffer.append(bytes);
}

std::optional<QJsonObject> FrameDecoder::next() {
    if (hasFailed() || buffer.size() < kHeaderLength)
        return std::nullopt;
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (length == 0 || length > kMaxFrameLength) {
        failureText = QStringLiteral("frame length %1 out of range").arg(length);
        buffer.clear();
        return std::nullopt;
    }
    if (buffer.size() - kHeaderLength < qsizetype(length))
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(buffer.mid(kHeaderLength, qsizetype(length)), &error);
    buffer.remove(0, kHeaderLength + qsizetype(length));
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        failureText = error.error != QJsonParseError::NoError
                          ? QStringLiteral("frame is not JSON: %1").arg(error.errorString())
                          : QStringLiteral("frame is not a JSON object");
        buffer.clear();
        return std::nullopt;
    }
    return document.object();
}

} // namespace zor::local
