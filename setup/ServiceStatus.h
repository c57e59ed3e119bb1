#pragma once

#include <QObject>
#include <QString>

namespace zor {

// The states of the four background pieces that the setup screen watches.
// Each description is the case name, as the log lines print it. `unsupported`:
// the piece is not working and this system has nothing that could set it up
// (no service manager, content filter or administrator scripts), so the
// screen has nothing to offer for it.
namespace SetupStatus {
Q_NAMESPACE

enum class DaemonStatus {
    checking,
    ok,
    staleVersion,
    cannotConnect,
    needAuthForDaemonService,
    needAuthForFullDiskAccess,
    esInvalidArgument,
    esInternalError,
    esNotEntitled,
    esNotPrivileged,
    esTooManyClients,
    unsupported,
};
Q_ENUM_NS(DaemonStatus)

enum class AgentStatus { checking, ok, staleVersion, cannotConnect, unsupported };
Q_ENUM_NS(AgentStatus)

enum class NEStatus {
    checking,
    ok,
    staleVersion,
    cannotConnect,
    cannotConnectToDaemon,
    needSystemReboot,
    needAuthForNetworkExtension,
    needAuthForNetworkFilter,
    cannotLoadPreferences,
    unsupported,
};
Q_ENUM_NS(NEStatus)

enum class CLISymlinkStatus { checking, ok, missing, wrongTarget, notASymlink, unsupported };
Q_ENUM_NS(CLISymlinkStatus)

// The platform's named colours that a status can take; secondary is the
// neutral one of text that needs no attention.
enum class StatusColor { gray, green, orange, yellow, red, secondary };
Q_ENUM_NS(StatusColor)

// What a step's action area shows; `ok` and `none` show nothing, for a
// healthy step and for one that nothing here can act on.
enum class ButtonKind { cta, notice, ok, inProgress, none };
Q_ENUM_NS(ButtonKind)

} // namespace SetupStatus

using SetupStatus::AgentStatus;
using SetupStatus::ButtonKind;
using SetupStatus::CLISymlinkStatus;
using SetupStatus::DaemonStatus;
using SetupStatus::NEStatus;
using SetupStatus::StatusColor;

QString description(DaemonStatus status);
QString description(AgentStatus status);
QString description(NEStatus status);
QString description(CLISymlinkStatus status);

} // namespace zor
