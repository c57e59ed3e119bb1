#pragma once

#include "setup/ServiceStatus.h"

#include <optional>

namespace zor {

inline constexpr char kLoginItemsSettingsLink[] =
    "x-apple.systempreferences:com.apple.LoginItems-Settings.extension";
inline constexpr char kFullDiskAccessSettingsLink[] =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles";

// What a step's button offers: a call to action, a disabled notice, nothing
// (healthy), progress, or nothing because nothing can be done here.
class ButtonState {
    Q_GADGET
    Q_PROPERTY(zor::SetupStatus::ButtonKind kind MEMBER kind CONSTANT)
    Q_PROPERTY(QString label MEMBER label CONSTANT)

public:
    static ButtonState cta(const QString& label) { return {ButtonKind::cta, label}; }
    static ButtonState notice(const QString& label) { return {ButtonKind::notice, label}; }
    static ButtonState ok() { return {ButtonKind::ok, {}}; }
    static ButtonState inProgress() { return {ButtonKind::inProgress, {}}; }
    static ButtonState none() { return {ButtonKind::none, {}}; }

    bool operator==(const ButtonState&) const = default;

    ButtonKind kind = ButtonKind::ok;
    QString label;
};

// How one status is shown: label, colour, instruction and button.
class StepDisplay {
    Q_GADGET
    Q_PROPERTY(QString label MEMBER label CONSTANT)
    Q_PROPERTY(zor::SetupStatus::StatusColor color MEMBER color CONSTANT)
    Q_PROPERTY(bool isOK MEMBER isOK CONSTANT)
    Q_PROPERTY(bool isChecking MEMBER isChecking CONSTANT)
    Q_PROPERTY(bool hasInstruction READ hasInstruction CONSTANT)
    Q_PROPERTY(QString instructionText READ instructionText CONSTANT)
    Q_PROPERTY(QString instructionPlainText READ instructionPlainText CONSTANT)
    Q_PROPERTY(QString instructionLink READ instructionLink CONSTANT)
    Q_PROPERTY(zor::ButtonState button MEMBER button CONSTANT)
    Q_PROPERTY(bool isUnsupported MEMBER isUnsupported CONSTANT)

public:
    bool operator==(const StepDisplay&) const = default;

    bool hasInstruction() const { return instruction.has_value(); }
    QString instructionText() const { return instruction.value_or(QString()); }
    // The instruction as it reads on the screen, its link by its label, for
    // assistive tools; and where its link leads, empty when it has none.
    QString instructionPlainText() const;
    QString instructionLink() const;
    // What assistive tools read for the button and the status mark of the
    // step of `piece`, as named on its box: buttons of one text act on
    // different pieces, so each says which ("Approve Sandbox Daemon").
    Q_INVOKABLE QString buttonName(const QString& piece) const;
    Q_INVOKABLE QString statusName(const QString& piece) const;

    QString label;
    StatusColor color = StatusColor::gray;
    bool isOK = false;
    bool isChecking = false;
    // Inline Markdown, as the screen shows it; it may hold one link.
    std::optional<QString> instruction;
    ButtonState button;
    // This system does not have the piece: shown as such, not as a failure.
    bool isUnsupported = false;
};

StepDisplay display(DaemonStatus status);
StepDisplay display(AgentStatus status);
StepDisplay display(NEStatus status);
StepDisplay display(CLISymlinkStatus status);

// Every piece is healthy or unsupported: the screen could repair nothing, so
// the app need not open on it. One repairable failure beside unsupported
// pieces still counts, as the user can act on it.
bool isNothingToRepair(DaemonStatus daemon, AgentStatus agent, NEStatus ne, CLISymlinkStatus cli);
bool isAnyOutdated(DaemonStatus daemon, AgentStatus agent, NEStatus ne);

} // namespace zor
