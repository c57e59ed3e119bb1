#include "platform/local/LocalAgentMessages.h"

namespace zor::local {

QJsonObject makeCall(QLatin1String method) {
    return QJsonObject{{key::type, type::call}, {key::method, method}};
}

QJsonObject makeReply(qint64 callId) {
    return QJsonObject{{key::type, type::reply}, {key::id, callId}};
}

QJsonObject makeCallback(QLatin1String method) {
    return QJsonObject{{key::type, type::callback}, {key::method, method}};
}

QJsonValue encodeData(const QByteArray& data) {
    return QString::fromLatin1(data.toBase64());
}

namespace {

template <typename T> const T* member(const Message& message, QLatin1String name) {
    const Message::Value* value = message.find(name);
    return value ? std::get_if<T>(value) : nullptr;
}

} // namespace

std::optional<QByteArray> dataField(const Message& message, QLatin1String name) {
    const QByteArray* text = member<QByteArray>(message, name);
    if (!text)
        return std::nullopt;
    auto decoded = QByteArray::fromBase64Encoding(*text, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return *decoded;
}

std::optional<QString> stringField(const Message& message, QLatin1String name) {
    const QByteArray* text = member<QByteArray>(message, name);
    if (!text)
        return std::nullopt;
    return QString::fromUtf8(*text);
}

std::optional<bool> boolField(const Message& message, QLatin1String name) {
    const bool* flag = member<bool>(message, name);
    return flag ? std::optional<bool>(*flag) : std::nullopt;
}

std::optional<qint64> callIdField(const Message& message) {
    const qint64* id = member<qint64>(message, key::id);
    return id ? std::optional<qint64>(*id) : std::nullopt;
}

std::optional<std::optional<QString>> optionalStringField(const Message& message,
                                                          QLatin1String name) {
    const Message::Value* value = message.find(name);
    if (!value || std::holds_alternative<std::nullptr_t>(*value))
        return std::optional<QString>();
    if (const auto text = stringField(message, name))
        return std::optional<QString>(*text);
    return std::nullopt;
}

SocketPlace agentSocketPlace(const QString& serviceName) {
    return privateSocketPlace("ZOR_AGENT_SOCKET", serviceName);
}

} // namespace zor::local
