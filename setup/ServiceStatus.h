#pragma once

#include <QObject>
#include <QString>

namespace zor {

// The states of the four background pieces that the setup screen watches.
// Each description is the case name, as the log lines print it.
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
};
Q_ENUM_NS(DaemonStatus)

enum class AgentStatus { checking, ok, staleVersion, cannotConnect };
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
};
Q_ENUM_NS(NEStatus)

enum class CLISymlinkStatus { checking, ok, missing, wrongTarget, notASymlink };
Q_ENUM_NS(CLISymlinkStatus)

// The platform's named colours that a status can take.
enum class StatusColor { gray, green, orange, yellow, red };
Q_ENUM_NS(StatusColor)

// What a step's action area shows.
enum class ButtonKind { cta, notice, ok, inProgress };
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
