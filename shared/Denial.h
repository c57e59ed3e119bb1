#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <optional>
#include <type_traits>
#include <variant>

namespace zor {

class JsonWriter;

// What the sandbox refused. Each kind has its payload record; processName is
// the process that was refused, when the services know it.

struct FileDenial {
    QString path;
    QString operation; // as the sandbox names it, e.g. "write"
    std::optional<QString> processName;
    bool operator==(const FileDenial&) const = default;
};

struct NetworkDenial {
    QString host;
    quint16 port = 0;
    std::optional<QString> processName;
    bool operator==(const NetworkDenial&) const = default;
};

struct ExecDenial {
    QString path; // the executable
    QStringList args;
    std::optional<QString> processName;
    bool operator==(const ExecDenial&) const = default;
};

struct SignalDenial {
    qint32 signalNumber = 0;
    qint32 targetPid = 0;
    std::optional<QString> targetProcessName;
    std::optional<QString> processName;
    bool operator==(const SignalDenial&) const = default;
};

struct IoDeviceDenial {
    QString deviceClass; // the I/O Kit class of the device
    std::optional<QString> processName;
    bool operator==(const IoDeviceDenial&) const = default;
};

// One denial of any kind. typeString and target are what the user sees and
// what the de-duplication key is made of:
//
//   kind      typeString  target
//   file      "file"      the path
//   network   "network"   host:port, an IPv6 host in brackets ("[::1]:443")
//   exec      "exec"      the path, then each argument after one space
//   signal    "signal"    "signal 9 to pid 42", then " (name)" when the target's name is known
//   ioDevice  "device"    the device class
//
// typeString is also the "kind" text of the JSON form (docs/prompt-format.md).
class Denial {
    Q_GADGET

public:
    enum class Kind { file, network, exec, signal, ioDevice };
    Q_ENUM(Kind)

    Denial() = default;
    Denial(FileDenial denial)
        : payload(std::move(denial)) {}
    Denial(NetworkDenial denial)
        : payload(std::move(denial)) {}
    Denial(ExecDenial denial)
        : payload(std::move(denial)) {}
    Denial(SignalDenial denial)
        : payload(std::move(denial)) {}
    Denial(IoDeviceDenial denial)
        : payload(std::move(denial)) {}

    Kind kind() const { return Kind(payload.index()); }
    QString typeString() const;
    QString target() const;
    // The target as a view: of the denial's own text where it is that, else
    // of `scratch`, where it is put together. For a caller that looks at many
    // targets through one buffer.
    QStringView target(QString& scratch) const;
    const std::optional<QString>& processName() const;

    // The payload when it is of kind T, else null.
    template <typename T> const T* as() const { return std::get_if<T>(&payload); }

    bool operator==(const Denial&) const = default;

    // The JSON object of docs/prompt-format.md.
    void writeJson(JsonWriter& writer) const;

private:
    // In the order of Kind: kind() is the index of the alternative.
    using Payload =
        std::variant<FileDenial, NetworkDenial, ExecDenial, SignalDenial, IoDeviceDenial>;
    static_assert(
        std::is_same_v<std::variant_alternative_t<int(Kind::ioDevice), Payload>, IoDeviceDenial>);

    Payload payload;
};

// The typeString of a kind.
QString typeString(Denial::Kind kind);

} // namespace zor
