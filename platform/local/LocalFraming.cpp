#include "platform/local/LocalFraming.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QtEndian>

namespace zor::local {

namespace {
constexpr qsizetype kHeaderLength = 4;
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
    const qint64 skipped = std::min(bytesToSkip, qint64(bytes.size()));
    bytesToSkip -= skipped;
    buffer.append(QByteArrayView(bytes).sliced(skipped));
}

std::optional<Decoded<QJsonObject>> FrameDecoder::next() {
    using Frame = Decoded<QJsonObject>;
    if (buffer.size() < kHeaderLength)
        return std::nullopt;
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (length == 0 || length > kMaxFrameLength) {
        const qsizetype held = std::min(buffer.size() - kHeaderLength, qsizetype(length));
        bytesToSkip = qint64(length) - held;
        buffer.remove(0, kHeaderLength + held);
        return Frame::failure(QStringLiteral("frame length %1 out of range").arg(length));
    }
    if (buffer.size() - kHeaderLength < qsizetype(length))
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(buffer.mid(kHeaderLength, qsizetype(length)), &error);
    buffer.remove(0, kHeaderLength + qsizetype(length));
    if (error.error != QJsonParseError::NoError)
        return Frame::failure(QStringLiteral("frame is not JSON: %1").arg(error.errorString()));
    if (!document.isObject())
        return Frame::failure(QStringLiteral("frame is not a JSON object"));
    return document.object();
}

} // namespace zor::local
