#include "setup/StepDisplay.h"

namespace zor {
namespace {

using Color = StatusColor;

StepDisplay checking() {
    return {QStringLiteral("Checking\u2026"), Color::gray, false, true, std::nullopt,
            ButtonState::inProgress()};
}

StepDisplay healthy(const QString& label) {
    return {label, Color::green, true, false, std::nullopt, ButtonState::ok()};
}

StepDisplay problem(const QString& label, Color color, const QString& instruction,
                    const ButtonState& button) {
    return {label, color, false, false, instruction, button};
}

StepDisplay unavailable(const QString& instruction) {
    return {QStringLiteral("Not Available"),
            Color::secondary,
            false,
            false,
            instruction,
            ButtonState::none(),
            true};
}

QString markdownLink(const QString& label, const char* url) {
    return u'[' + label + QStringLiteral("](") + QString::fromLatin1(url) + u')';
}

QString loginItemsLink() {
    return markdownLink(QStringLiteral("Settings \u2192 General \u2192 Login Items & Extensions"),
                        kLoginItemsSettingsLink);
}

QString fullDiskAccessLink() {
    return markdownLink(
        QStringLiteral("Settings \u2192 Privacy & Security \u2192 Full Disk Access"),
        kFullDiskAccessSettingsLink);
}

QString brokenBuildInstruction() {
    return QStringLiteral(
        "This Zor build is broken; please report the bug and update if possible.");
}

// Where `[label](url)` lies in an instruction.
struct LinkSpan {
    qsizetype start;
    qsizetype labelEnd;
    qsizetype end;
};

std::optional<LinkSpan> findLink(const QString& markdown) {
    const qsizetype start = markdown.indexOf(u'[');
    const qsizetype labelEnd = start < 0 ? -1 : markdown.indexOf(QStringLiteral("]("), start);
    const qsizetype end = labelEnd < 0 ? -1 : markdown.indexOf(u')', labelEnd);
    if (end < 0)
        return std::nullopt;
    return LinkSpan{start, labelEnd, end + 1};
}

} // namespace

QString StepDisplay::instructionPlainText() const {
    QString text = instructionText();
    if (const std::optional<LinkSpan> link = findLink(text))
        text.replace(link->start, link->end - link->start,
                     text.mid(link->start + 1, link->labelEnd - link->start - 1));
    return text;
}

QString StepDisplay::instructionLink() const {
    const QString text = instructionText();
    const std::optional<LinkSpan> link = findLink(text);
    return link ? text.mid(link->labelEnd + 2, link->end - link->labelEnd - 3) : QString();
}

QString StepDisplay::buttonName(const QString& piece) const {
    return button.label + u' ' + piece;
}

QString StepDisplay::statusName(const QString& piece) const {
    return piece + QStringLiteral(": ") + label;
}

StepDisplay display(DaemonStatus status) {
    switch (status) {
    case DaemonStatus::checking:
        return checking();
    case DaemonStatus::ok:
        return healthy(QStringLiteral("Running"));
    case DaemonStatus::staleVersion:
        return problem(
            QStringLiteral("Outdated"), Color::orange,
            QStringLiteral("Daemon is running an older version. Restart to apply the update."),
            ButtonState::cta(QStringLiteral("Restart")));
    case DaemonStatus::cannotConnect:
        return problem(QStringLiteral("Not Running"), Color::red,
                       QStringLiteral("Cannot connect to daemon. Click 'Enable' and approve in ") +
                           loginItemsLink() + u'.',
                       ButtonState::cta(QStringLiteral("Approve")));
    case DaemonStatus::needAuthForDaemonService:
        return problem(QStringLiteral("Requires Approval"), Color::yellow,
                       QStringLiteral("Approve the daemon in ") + loginItemsLink() + u'.',
                       ButtonState::cta(QStringLiteral("Approve")));
    case DaemonStatus::needAuthForFullDiskAccess:
        return problem(QStringLiteral("Full Disk Access Required"), Color::yellow,
                       QStringLiteral("Grant Full Disk Access to Zor in ") + fullDiskAccessLink() +
                           u'.',
                       ButtonState::cta(QStringLiteral("Approve")));
    case DaemonStatus::esInvalidArgument:
        return problem(QStringLiteral("ES Invalid Argument (Zor Bug)"), Color::red,
                       brokenBuildInstruction(), ButtonState::cta(QStringLiteral("Try Again")));
    case DaemonStatus::esInternalError:
        return problem(QStringLiteral("ES Internal Error"), Color::red,
                       QStringLiteral("The macOS Endpoint Security has run into an internal "
                                      "error; please report a bug and update your build if "
                                      "possible."),
                       ButtonState::cta(QStringLiteral("Try Again")));
    case DaemonStatus::esNotEntitled:
        return problem(QStringLiteral("ES Not Entitled (Zor Bug)"), Color::red,
                       brokenBuildInstruction(), ButtonState::cta(QStringLiteral("Try Again")));
    case DaemonStatus::esNotPrivileged:
        return problem(QStringLiteral("ES Not Privileged (Zor Bug)"), Color::red,
                       brokenBuildInstruction(), ButtonState::cta(QStringLiteral("Try Again")));
    case DaemonStatus::esTooManyClients:
        return problem(QStringLiteral("ES Too Many Clients (Zor Bug)"), Color::red,
                       brokenBuildInstruction(), ButtonState::cta(QStringLiteral("Try Again")));
    case DaemonStatus::unsupported:
        return unavailable(QStringLiteral("The sandbox daemon is not available on this system."));
    }
    Q_UNREACHABLE();
}

StepDisplay display(AgentStatus status) {
    switch (status) {
    case AgentStatus::checking:
        return checking();
    case AgentStatus::ok:
        return healthy(QStringLiteral("Running"));
    case AgentStatus::staleVersion:
        return problem(
            QStringLiteral("Outdated"), Color::orange,
            QStringLiteral("Agent is running an older version. Restart to apply the update."),
            ButtonState::cta(QStringLiteral("Restart")));
    case AgentStatus::cannotConnect:
        return problem(
            QStringLiteral("Not Running"), Color::red,
            QStringLiteral("Cannot connect to agent. Please register the notification agent."),
            ButtonState::cta(QStringLiteral("Register")));
    case AgentStatus::unsupported:
        return unavailable(QStringLiteral("This system cannot register the agent. Zor connects "
                                          "to one that is already running."));
    }
    Q_UNREACHABLE();
}

StepDisplay display(NEStatus status) {
    switch (status) {
    case NEStatus::checking:
        return checking();
    case NEStatus::ok:
        return healthy(QStringLiteral("Running"));
    case NEStatus::staleVersion:
        return problem(QStringLiteral("Outdated"), Color::orange,
                       QStringLiteral("Network extension is running an older version. Restart "
                                      "to apply the update."),
                       ButtonState::cta(QStringLiteral("Restart")));
    case NEStatus::cannotConnect:
        return problem(QStringLiteral("Not Responding"), Color::red,
                       QStringLiteral("The network filter is enabled but the extension process "
                                      "is not responding. Reboot if a previous version is "
                                      "pending removal, or click 'Enable' to reinstall."),
                       ButtonState::cta(QStringLiteral("Enable")));
    case NEStatus::cannotConnectToDaemon:
        return problem(QStringLiteral("Waiting on Daemon"), Color::red,
                       QStringLiteral("Cannot check network extension status because the daemon "
                                      "is not running. Fix daemon first."),
                       ButtonState::notice(QStringLiteral("Waiting")));
    case NEStatus::needSystemReboot:
        return problem(QStringLiteral("Reboot Required"), Color::orange,
                       QStringLiteral("Reboot to complete the network extension update."),
                       ButtonState::notice(QStringLiteral("Reboot Required")));
    case NEStatus::needAuthForNetworkExtension:
        return problem(QStringLiteral("Requires Approval"), Color::yellow,
                       QStringLiteral("Approve the network extension in ") + loginItemsLink() +
                           u'.',
                       ButtonState::cta(QStringLiteral("Approve")));
    case NEStatus::needAuthForNetworkFilter:
        return problem(QStringLiteral("Filter Disabled"), Color::orange,
                       QStringLiteral("Click 'Approve', toggle on ZorNetworkExtension in System "
                                      "Settings, and click 'Allow' when prompted to filter "
                                      "network content."),
                       ButtonState::cta(QStringLiteral("Enable")));
    case NEStatus::cannotLoadPreferences:
        return problem(QStringLiteral("Configuration Error"), Color::red,
                       QStringLiteral("Failed to load network filter preferences. Click 'Enable' "
                                      "to reinstall the extension."),
                       ButtonState::cta(QStringLiteral("Enable")));
    case NEStatus::unsupported:
        return unavailable(
            QStringLiteral("The network extension is not available on this system."));
    }
    Q_UNREACHABLE();
}

StepDisplay display(CLISymlinkStatus status) {
    switch (status) {
    case CLISymlinkStatus::checking:
        return checking();
    case CLISymlinkStatus::ok:
        return healthy(QStringLiteral("Linked"));
    case CLISymlinkStatus::missing:
        return problem(QStringLiteral("Not Linked"), Color::orange,
                       QStringLiteral("The zor command is not available. Click 'Add Link' to "
                                      "create the symlink."),
                       ButtonState::cta(QStringLiteral("Add Link")));
    case CLISymlinkStatus::wrongTarget:
        return problem(QStringLiteral("Wrong Target"), Color::red,
                       QStringLiteral("The symlink points to the wrong location. Click 'Relink' "
                                      "to fix it."),
                       ButtonState::cta(QStringLiteral("Relink")));
    case CLISymlinkStatus::notASymlink:
        return problem(QStringLiteral("Not a Symlink"), Color::red,
                       QStringLiteral("A non-symlink file exists at /usr/local/bin/zor. Click "
                                      "'Relink' to replace it."),
                       ButtonState::cta(QStringLiteral("Relink")));
    case CLISymlinkStatus::unsupported:
        return unavailable(QStringLiteral("The command link is not set up on this system."));
    }
    Q_UNREACHABLE();
}

bool isNothingToRepair(DaemonStatus daemon, AgentStatus agent, NEStatus ne, CLISymlinkStatus cli) {
    return (daemon == DaemonStatus::ok || daemon == DaemonStatus::unsupported) &&
           (agent == AgentStatus::ok || agent == AgentStatus::unsupported) &&
           (ne == NEStatus::ok || ne == NEStatus::unsupported) &&
           (cli == CLISymlinkStatus::ok || cli == CLISymlinkStatus::unsupported);
}

bool isAnyOutdated(DaemonStatus daemon, AgentStatus agent, NEStatus ne) {
    return daemon == DaemonStatus::staleVersion || agent == AgentStatus::staleVersion ||
           ne == NEStatus::staleVersion;
}

} // namespace zor
