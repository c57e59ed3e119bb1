#include "platform/local/LocalAgentMessages.h"

#include <QStandardPaths>

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

std::optional<QByteArray> dataField(const QJsonObject& message, QLatin1String name) {
    const QJsonValue value = message.value(name);
    if (!value.isString())
        return std::nullopt;
    auto decoded = QByteArray::fromBase64Encoding(value.toString().toLatin1(),
                                                  QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return *decoded;
}

std::optional<QString> stringField(const QJsonObject& message, QLatin1String name) {
    const QJsonValue value = message.value(name);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<bool> boolField(const QJsonObject& message, QLatin1String name) {
    const QJsonValue value = message.value(name);
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

std::optional<qint64> callIdField(const QJsonObject& message) {
    const QJsonValue value = message.value(key::id);
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    const auto id = qint64(number);
    if (double(id) != number)
        return std::nullopt;
    return id;
}

std::optional<std::optional<QString>> optionalStringField(const QJsonObject& message,
                                                          QLatin1String name) {
    const QJsonValue value = message.value(name);
    if (value.isUndefined() || value.isNull())
        return std::optional<QString>();
    if (!value.isString())
        return std::nullopt;
    return std::optional<QString>(value.toString());
}

QString agentSocketName(const QString& serviceName) {
    const QString override = qEnvironmentVariable("ZOR_AGENT_SOCKET");
    if (!override.isEmpty())
        return override;
    // Per user, like the agent's service itself. Looked up once: Qt warns on
    // every lookup when the runtime folder is not set, and each reconnect
    // would repeat the warning.
    static const QString runtime =
        QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? serviceName : runtime + u'/' + serviceName;
}

} // namespace zor::local
