#include "FuzzCheck.h"
#include "platform/local/LocalFraming.h"

#include <QJsonObject>
#include <QList>
#include <QtEndian>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>

// Any bytes as the stream on the agent's socket. The first byte picks the
// sizes of the pieces the rest arrives in; the frames must not depend on them.

namespace {

using zor::fuzz::check;
using zor::local::FrameDecoder;
using zor::local::Message;
using Frame = zor::Decoded<Message>;

bool isSame(const Frame& a, const Frame& b) {
    if (a.hasValue() != b.hasValue())
        return false;
    return a ? a.value() == b.value() : a.error() == b.error();
}

// What is held is the tail of what came; once drained, it must be the start
// of one frame within the limit, or less than a header.
void checkHeld(const FrameDecoder& decoder, QByteArrayView received) {
    const qsizetype held = decoder.heldSize();
    check(held <= received.size(), "the decoder holds only bytes it received");
    if (held < 4)
        return;
    const quint32 length = qFromBigEndian<quint32>(received.data() + received.size() - held);
    check(length > 0 && length <= zor::local::kMaxFrameLength && held < 4 + qsizetype(length),
          "a drained decoder holds at most one unfinished frame within the limit");
}

QList<Frame> drain(FrameDecoder& decoder, QByteArrayView received) {
    QList<Frame> frames;
    while (auto frame = decoder.next())
        frames.append(std::move(*frame));
    checkHeld(decoder, received);
    return frames;
}

// The message as the sending side builds it.
QJsonObject toJsonObject(const Message& message) {
    QJsonObject object;
    for (auto member = message.members.cbegin(); member != message.members.cend(); ++member)
        std::visit(
            [&](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                const QString name = QString::fromUtf8(member.key());
                if constexpr (std::is_same_v<T, std::nullptr_t>)
                    object.insert(name, QJsonValue::Null);
                else if constexpr (std::is_same_v<T, QByteArray>)
                    object.insert(name, QString::fromUtf8(value));
                else
                    object.insert(name, value);
            },
            *member);
    return object;
}

void checkReencoding(const Message& message) {
    const auto frame = zor::local::encodeFrame(toJsonObject(message));
    check(frame.hasValue(), "a message read from a frame fits in one", frame.error().toUtf8());
    FrameDecoder decoder;
    decoder.append(frame.value());
    const auto again = decoder.next();
    check(again && again->hasValue() && again->value() == message, "a message survives its frame",
          frame.value());
    check(!decoder.next() && decoder.heldSize() == 0, "one frame decodes to one message");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const quint8 seed = data[0];
    const QByteArray stream(reinterpret_cast<const char*>(data) + 1, qsizetype(size) - 1);

    FrameDecoder whole;
    whole.append(stream);
    const QList<Frame> expected = drain(whole, stream);

    FrameDecoder pieces;
    QList<Frame> received;
    std::minstd_rand sizes(seed + 1u);
    const qsizetype largestPiece = 1 + seed % 64;
    for (qsizetype at = 0; at < stream.size();) {
        const qsizetype piece = 1 + qsizetype(sizes() % largestPiece);
        pieces.append(stream.mid(at, piece));
        at += piece;
        received += drain(pieces, QByteArrayView(stream).first(std::min(at, stream.size())));
    }
    check(received.size() == expected.size() &&
              std::equal(received.begin(), received.end(), expected.begin(), isSame),
          "the frames do not depend on how the stream is cut");

    for (const Frame& frame : expected)
        if (frame)
            checkReencoding(frame.value());
    return 0;
}
