#include "shared/Denial.h"

#include "shared/DenialJson.h"
#include "shared/JsonWriter.h"

#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>

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

// Targets that are text of the denial's own.
const QString& ownTarget(const FileDenial& denial) {
    return denial.path;
}

const QString& ownTarget(const IoDeviceDenial& denial) {
    return denial.deviceClass;
}

// Targets put together, appended to `text`.
void appendNumber(QString& text, qint64 number) {
    char digits[24];
    const char* end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    text.append(QLatin1String(digits, end));
}

void appendTarget(QString& text, const NetworkDenial& denial) {
    const bool isBracketed = denial.host.contains(u':');
    if (isBracketed)
        text += u'[';
    text += denial.host;
    if (isBracketed)
        text += u']';
    text += u':';
    appendNumber(text, denial.port);
}

void appendTarget(QString& text, const ExecDenial& denial) {
    text += denial.path;
    for (const QString& arg : denial.args) {
        text += u' ';
        text += arg;
    }
}

void appendTarget(QString& text, const SignalDenial& denial) {
    text += u"signal ";
    appendNumber(text, denial.signalNumber);
    text += u" to pid ";
    appendNumber(text, denial.targetPid);
    if (denial.targetProcessName) {
        text += u" (";
        text += *denial.targetProcessName;
        text += u')';
    }
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

bool readText(StrictJson& json, JsonValue value, std::optional<QString>& out) {
    QString text;
    if (!json.readText(value, text))
        return false;
    out = std::move(text);
    return true;
}

// A text that repeats across records (a kind, an operation, a process name).
bool readName(StrictJson& json, JsonValue value, std::optional<QString>& out) {
    QString text;
    if (!json.readSharedText(value, text))
        return false;
    out = std::move(text);
    return true;
}

bool readOptionalName(StrictJson& json, JsonValue value, std::optional<QString>& out) {
    if (json.isNull(value)) {
        out.reset();
        return true;
    }
    return readName(json, value, out);
}

bool readInteger(StrictJson& json, JsonValue value, std::optional<qint64>& out) {
    qint64 number = 0;
    if (!json.readInteger(value, number))
        return false;
    out = number;
    return true;
}

bool readTextList(StrictJson& json, JsonValue value, std::optional<QStringList>& out) {
    QStringList list;
    const bool isRead = json.forEachElement(value, [&](JsonValue element) {
        QString text;
        if (!json.readText(element, text))
            return false;
        list.append(std::move(text));
        return true;
    });
    if (isRead)
        out = std::move(list);
    return isRead;
}

// The members a denial may have, in the order of kDenialFields.
enum class DenialField : unsigned {
    kind,
    path,
    operation,
    host,
    port,
    args,
    signalNumber,
    targetPid,
    targetProcessName,
    deviceClass,
    processName,
};
constexpr std::string_view kDenialFields[] = {
    "kind",         "path",      "operation",         "host",        "port",       "args",
    "signalNumber", "targetPid", "targetProcessName", "deviceClass", "processName"};
constexpr unsigned kDenialFieldCount = std::size(kDenialFields);

bool readField(StrictJson& json, unsigned field, JsonValue value, DenialFields& fields) {
    switch (DenialField(field)) {
    case DenialField::kind:
        return readName(json, value, fields.kind);
    case DenialField::path:
        return readText(json, value, fields.path);
    case DenialField::operation:
        return readName(json, value, fields.operation);
    case DenialField::host:
        return readText(json, value, fields.host);
    case DenialField::port:
        return readInteger(json, value, fields.port);
    case DenialField::args:
        return readTextList(json, value, fields.args);
    case DenialField::signalNumber:
        return readInteger(json, value, fields.signalNumber);
    case DenialField::targetPid:
        return readInteger(json, value, fields.targetPid);
    case DenialField::targetProcessName:
        return readOptionalName(json, value, fields.targetProcessName);
    case DenialField::deviceClass:
        return readText(json, value, fields.deviceClass);
    case DenialField::processName:
        return readOptionalName(json, value, fields.processName);
    }
    return false;
}

template <typename T>
bool require(StrictJson& json, const std::optional<T>& field, const char* name, Denial::Kind kind) {
    if (field)
        return true;
    return json.fail(QStringLiteral("missing field \"%1\" in a %2 denial")
                         .arg(QLatin1String(name), typeString(kind)));
}

bool requireInt32(StrictJson& json, const std::optional<qint64>& field, const char* name,
                  Denial::Kind kind) {
    if (!require(json, field, name, kind))
        return false;
    if (*field < std::numeric_limits<qint32>::min() || *field > std::numeric_limits<qint32>::max())
        return json.fail(QStringLiteral("field \"%1\" is out of range").arg(QLatin1String(name)));
    return true;
}

bool build(StrictJson& json, Denial::Kind kind, DenialFields& f, Denial& out) {
    switch (kind) {
    case Denial::Kind::file:
        if (!require(json, f.path, "path", kind) || !require(json, f.operation, "operation", kind))
            return false;
        out = FileDenial{std::move(*f.path), std::move(*f.operation), std::move(f.processName)};
        return true;
    case Denial::Kind::network:
        if (!require(json, f.host, "host", kind) || !require(json, f.port, "port", kind))
            return false;
        if (*f.port < 0 || *f.port > std::numeric_limits<quint16>::max())
            return json.fail(QStringLiteral("field \"port\" is out of range"));
        out = NetworkDenial{std::move(*f.host), quint16(*f.port), std::move(f.processName)};
        return true;
    case Denial::Kind::exec:
        if (!require(json, f.path, "path", kind) || !require(json, f.args, "args", kind))
            return false;
        out = ExecDenial{std::move(*f.path), std::move(*f.args), std::move(f.processName)};
        return true;
    case Denial::Kind::signal:
        if (!requireInt32(json, f.signalNumber, "signalNumber", kind) ||
            !requireInt32(json, f.targetPid, "targetPid", kind))
            return false;
        out = SignalDenial{qint32(*f.signalNumber), qint32(*f.targetPid),
                           std::move(f.targetProcessName), std::move(f.processName)};
        return true;
    case Denial::Kind::ioDevice:
        if (!require(json, f.deviceClass, "deviceClass", kind))
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
            if constexpr (requires { ownTarget(denial); }) {
                return ownTarget(denial);
            } else {
                QString text;
                appendTarget(text, denial);
                return text;
            }
        },
        payload);
}

QStringView Denial::target(QString& scratch) const {
    return std::visit(
        [&scratch](const auto& denial) -> QStringView {
            if constexpr (requires { ownTarget(denial); }) {
                return ownTarget(denial);
            } else {
                scratch.resize(0);
                appendTarget(scratch, denial);
                return scratch;
            }
        },
        payload);
}

const std::optional<QString>& Denial::processName() const {
    return std::visit(
        [](const auto& denial) -> const std::optional<QString>& { return denial.processName; },
        payload);
}

void Denial::writeJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.member("kind", typeString());
    std::visit(
        [&writer](const auto& denial) {
            using T = std::decay_t<decltype(denial)>;
            if constexpr (std::is_same_v<T, FileDenial>) {
                writer.member("path", denial.path);
                writer.member("operation", denial.operation);
            } else if constexpr (std::is_same_v<T, NetworkDenial>) {
                writer.member("host", denial.host);
                writer.member("port", qint64(denial.port));
            } else if constexpr (std::is_same_v<T, ExecDenial>) {
                writer.member("path", denial.path);
                writer.member("args", denial.args);
            } else if constexpr (std::is_same_v<T, SignalDenial>) {
                writer.member("signalNumber", qint64(denial.signalNumber));
                writer.member("targetPid", qint64(denial.targetPid));
                writer.member("targetProcessName", denial.targetProcessName);
            } else {
                writer.member("deviceClass", denial.deviceClass);
            }
            writer.member("processName", denial.processName);
        },
        payload);
    writer.endObject();
}

bool readDenial(StrictJson& json, JsonValue value, Denial& out) {
    DenialFields fields;
    LastValueErrors<kDenialFieldCount> errors;
    const bool isRead = json.forEachMember(value, [&](std::string_view key, JsonValue member) {
        for (unsigned field = 0; field < kDenialFieldCount; ++field)
            if (key == kDenialFields[field])
                return errors.take(json, field, member, readField(json, field, member, fields));
        return true; // written by a newer version, and checked with the rest
    });
    if (!isRead || !errors.check([&](unsigned field, JsonValue member) {
            return readField(json, field, member, fields);
        }))
        return false;
    if (!fields.kind)
        return json.fail(QStringLiteral("missing field \"kind\" in a denial"));
    const std::optional<Denial::Kind> kind = kindFromTypeString(*fields.kind);
    if (!kind)
        return json.fail(QStringLiteral("unknown denial kind"));
    return build(json, *kind, fields, out);
}

} // namespace zor
