#include "FuzzCheck.h"
#include "shared/SerializablePromptItem.h"

#include <cstddef>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>

// Any bytes twice: as one record's JSON from the agent, where whatever
// decodes must encode and decode again to the same record; and as the values
// of a record, which must come back from its JSON unchanged. The second way
// reaches values (a port over 32767, an empty argument list) that mutating
// text seldom does.

namespace {

using zor::SerializablePromptItem;
using zor::fuzz::check;

void checkDecoded(QByteArrayView json) {
    const auto decoded = SerializablePromptItem::fromJson(json);
    if (!decoded)
        return;
    const QByteArray again = decoded.value().toJson();
    const auto redecoded = SerializablePromptItem::fromJson(again);
    check(redecoded.hasValue(), "an encoded record decodes",
          again + '\n' + redecoded.error().toUtf8());
    check(redecoded.value() == decoded.value(), "a record survives its JSON", again);
}

zor::Denial denialFrom(FuzzedDataProvider& bytes) {
    const auto text = [&bytes] { return QString::fromUtf8(bytes.ConsumeRandomLengthString(24)); };
    const auto maybeText = [&]() -> std::optional<QString> {
        return bytes.ConsumeBool() ? std::optional(text()) : std::nullopt;
    };
    // Braced lists evaluate in order, so the same bytes make the same denial.
    switch (bytes.ConsumeIntegralInRange(0, 4)) {
    case 0:
        return zor::FileDenial{text(), text(), maybeText()};
    case 1:
        return zor::NetworkDenial{text(), bytes.ConsumeIntegral<quint16>(), maybeText()};
    case 2: {
        QStringList args(bytes.ConsumeIntegralInRange(0, 3));
        for (QString& arg : args)
            arg = text();
        return zor::ExecDenial{text(), args, maybeText()};
    }
    case 3:
        return zor::SignalDenial{bytes.ConsumeIntegral<qint32>(), bytes.ConsumeIntegral<qint32>(),
                                 maybeText(), maybeText()};
    default:
        return zor::IoDeviceDenial{text(), maybeText()};
    }
}

void checkEncoded(FuzzedDataProvider& bytes) {
    SerializablePromptItem item;
    item.id = QString::fromUtf8(bytes.ConsumeRandomLengthString(40));
    item.sessionId = QString::fromUtf8(bytes.ConsumeRandomLengthString(24));
    item.policyPath = QString::fromUtf8(bytes.ConsumeRandomLengthString(24));
    item.denial = denialFrom(bytes);
    item.isSessionEnded = bytes.ConsumeBool();
    // Any moment within some 30,000 years of 1970.
    constexpr qint64 kMillis = 1'000'000'000'000'000;
    item.createdAt = SerializablePromptItem::Time(
        std::chrono::milliseconds(bytes.ConsumeIntegralInRange(-kMillis + 1, kMillis - 1)));
    const QByteArray json = item.toJson();
    const auto decoded = SerializablePromptItem::fromJson(json);
    check(decoded.hasValue() && decoded.value() == item, "a record comes back from its JSON",
          json + '\n' + decoded.error().toUtf8());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkDecoded(QByteArrayView(data, qsizetype(size)));
    FuzzedDataProvider bytes(data, size);
    checkEncoded(bytes);
    return 0;
}
