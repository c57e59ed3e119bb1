#include "shared/Denial.h"

#include "shared/JsonReader.h"

#include <QJsonArray>
#include <limits>

namespace zor {
namespace {

constexpr Denial::Kind kAllKinds[] = {Denial::Kind::file, Denial::Kind::network, Denial::Kind::exec,
                                      Denial::Kind::signal, Denial::Kind::ioDevice};

std::optional<Denial::Kind> kindFromTypeString(const QString& text) {
    for (Denial::Kind kind : kAllKinds)
        if (typeString(kind) == text)
            return kind;
    return std::nullopt;
}

QString networkTarget(const NetworkDenial& denial) {
    const QString host = denial.host.contains(u':') ? u'[' + denial.host + u']' : denial.host;
    return host + u':' + QString::number(denial.port);
}

QString execTarget(const ExecDenial& denial) {
    QString text = denial.path;
    for (const QString& arg : denial.args)
        text += u' ' + arg;
    return text;
}

QString signalTarget(const SignalDenial& denial) {
    QString text =
        QStringLiteral("signal %1 to pid %2").arg(denial.signalNumber).arg(denial.targetPid);
    if (denial.targetProcessName)
        text += QStringLiteral(" (%1)").arg(*denial.targetProcessName);
    return text;
}

void putOptional(QJsonObject& object, const char* key, const std::optional<QString>& value) {
    if (value)
        object.insert(QLatin1String(key), *value);
}

// Every field any kind may carry, collected before the kind is known: JSON
// does not order the members of an object.
struct DenialFields {
    std::optional<QString> kind;
    std::optional<QString> path;
    std::optional<QString> operation;
    std::optional<QString> host;
    std::optional<qint64> port;
    std::optional<QStringList> args;
    std::optional<qint64> signalNumber;
    std::optional<qint64> targetPid;
    std::optional<QString> targetProcessName;
    std::optional<QString> deviceClass;
    std::optional<QString> processName;
};

bool readText(JsonReader& reader, std::optional<QString>& out) {
    QString text;
    if (!reader.readString(text))
        return false;
    out = std::move(text);
    return true;
}

bool readOptionalText(JsonReader& reader, std::optional<QString>& out) {
    if (reader.readNullIfPresent()) {
        out.reset();
        return true;
    }
    return readText(reader, out);
}

bool readInteger(JsonReader& reader, std::optional<qint64>& out) {
    qint64 number = 0;
    if (!reader.readInteger(number))
        return false;
    out = number;
    return true;
}

bool readTextList(JsonReader& reader, std::optional<QStringList>& out) {
    QStringList list;
    if (!reader.beginArray())
        return false;
    while (reader.nextElement()) {
        QString text;
        if (!reader.readString(text))
            return false;
        list.append(std::move(text));
    }
    if (reader.hasFailed())
        return false;
    out = std::move(list);
    return true;
}

bool readField(JsonReader& reader, DenialFields& fields) {
    const QByteArrayView key = reader.key();
    if (key == "kind")
        return readText(reader, fields.kind);
    if (key == "path")
        return readText(reader, fields.path);
    if (key == "operation")
        return readText(reader, fields.operation);
    if (key == "host")
        return readText(reader, fields.host);
    if (key == "port")
        return readInteger(reader, fields.port);
    if (key == "args")
        return readTextList(reader, fields.args);
    if (key == "signalNumber")
        return readInteger(reader, fields.signalNumber);
    if (key == "targetPid")
        return readInteger(reader, fields.targetPid);
    if (key == "targetProcessName")
        return readOptionalText(reader, fields.targetProcessName);
    if (key == "deviceClass")
        return readText(reader, fields.deviceClass);
    if (key == "processName")
        return readOptionalText(reader, fields.processName);
    return reader.skipValue(); // written by a newer version
}

template <typename T>
bool require(JsonReader& reader, const std::optional<T>& field, const char* name,
             Denial::Kind kind) {
    if (field)
        return true;
    return reader.fail(QStringLiteral("missing field \"%1\" in a %2 denial")
                           .arg(QLatin1String(name), typeString(kind)));
}

bool requireInt32(JsonReader& reader, const std::optional<qint64>& field, const char* name,
                  Denial::Kind kind) {
    if (!require(reader, field, name, kind))
        return false;
    if (*field < std::numeric_limits<qint32>::min() || *field > std::numeric_limits<qint32>::max())
        return reader.fail(QStringLiteral("field \"%1\" is out of range").arg(QLatin1String(name)));
    return true;
}

bool build(JsonReader& reader, Denial::Kind kind, DenialFields& f, Denial& out) {
    switch (kind) {
    case Denial::Kind::file:
        if (!require(reader, f.path, "path", kind) ||
            !require(reader, f.operation, "operation", kind))
            return false;
        out = FileDenial{std::move(*f.path), std::move(*f.operation), std::move(f.processName)};
        return true;
    case Denial::Kind::network:
        if (!require(reader, f.host, "host", kind) || !require(reader, f.port, "port", kind))
            return false;
        if (*f.port < 0 || *f.port > std::numeric_limits<quint16>::max())
            return reader.fail(QStringLiteral("field \"port\" is out of range"));
        out = NetworkDenial{std::move(*f.host), quint16(*f.port), std::move(f.processName)};
        return true;
    case Denial::Kind::exec:
        if (!require(reader, f.path, "path", kind) || !require(reader, f.args, "args", kind))
            return false;
        out = ExecDenial{std::move(*f.path), std::move(*f.args), std::move(f.processName)};
        return true;
    case Denial::Kind::signal:
        if (!requireInt32(reader, f.signalNumber, "signalNumber", kind) ||
            !requireInt32(reader, f.targetPid, "targetPid", kind))
            return false;
        out = SignalDenial{qint32(*f.signalNumber), qint32(*f.targetPid),
                           std::move(f.targetProcessName), std::move(f.processName)};
        return true;
    case Denial::Kind::ioDevice:
        if (!require(reader, f.deviceClass, "deviceClass", kind))
            return false;
        out = IoDeviceDenial{std::move(*f.deviceClass), std::move(f.processName)};
        return true;
    }
    return false;
}

} // namespace

QString typeString(Denial::Kind kind) {
    switch (kind) {
    case Denial::Kind::file:
        return QStringLiteral("file");
    case Denial::Kind::network:
        return QStringLiteral("network");
    case Denial::Kind::exec:
        return QStringLiteral("exec");
    case Denial::Kind::signal:
        return QStringLiteral("signal");
    case Denial::Kind::ioDevice:
        return QStringLiteral("device");
    }
    return {};
}

QString Denial::typeString() const {
    return zor::typeString(kind());
}

QString Denial::target() const {
    return std::visit(
        [](const auto& denial) -> QString {
            using T = std::decay_t<decltype(denial)>;
            if constexpr (std::is_same_v<T, FileDenial>)
                return denial.path;
            else if constexpr (std::is_same_v<T, NetworkDenial>)
                return networkTarget(denial);
            else if constexpr (std::is_same_v<T, ExecDenial>)
                return execTarget(denial);
            else if constexpr (std::is_same_v<T, SignalDenial>)
                return signalTarget(denial);
            else
                return denial.deviceClass;
        },
        payload);
}

std::optional<QString> Denial::processName() const {
    return std::visit([](const auto& denial) { return denial.processName; }, payload);
}

QJsonObject Denial::toJson() const {
    QJsonObject object{{QLatin1String("kind"), typeString()}};
    std::visit(
        [&object](const auto& denial) {
            using T = std::decay_t<decltype(denial)>;
            if constexpr (std::is_same_v<T, FileDenial>) {
                object.insert(QLatin1String("path"), denial.path);
                object.insert(QLatin1String("operation"), denial.operation);
            } else if constexpr (std::is_same_v<T, NetworkDenial>) {
                object.insert(QLatin1String("host"), denial.host);
                object.insert(QLatin1String("port"), int(denial.port));
            } else if constexpr (std::is_same_v<T, ExecDenial>) {
                object.insert(QLatin1String("path"), denial.path);
                object.insert(QLatin1String("args"), QJsonArray::fromStringList(denial.args));
            } else if constexpr (std::is_same_v<T, SignalDenial>) {
                object.insert(QLatin1String("signalNumber"), denial.signalNumber);
                object.insert(QLatin1String("targetPid"), denial.targetPid);
                putOptional(object, "targetProcessName", denial.targetProcessName);
            } else {
                object.insert(QLatin1String("deviceClass"), denial.deviceClass);
            }
            putOptional(object, "processName", denial.processName);
        },
        payload);
    return object;
}

bool Denial::read(JsonReader& reader, Denial& out) {
    DenialFields fields;
    if (!reader.beginObject())
        return false;
    while (reader.nextMember())
        if (!readField(reader, fields))
            return false;
    if (reader.hasFailed())
        return false;
    if (!fields.kind)
        return reader.fail(QStringLiteral("missing field \"kind\" in a denial"));
    const std::optional<Kind> kind = kindFromTypeString(*fields.kind);
    if (!kind)
        return reader.fail(QStringLiteral("unknown denial kind \"%1\"").arg(*fields.kind));
    return build(reader, *kind, fields, out);
}

} // namespace zor
