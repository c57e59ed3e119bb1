#include "prompts/SessionLogsScript.h"

#include "platform/Log.h"
#include "platform/Workspace.h"
#include "shared/VisibleText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <filesystem>
#include <system_error>

namespace zor {
namespace {

// The common limit of a file name's length in bytes (Linux, macOS).
constexpr qsizetype kMaxFileNameBytes = 255;

} // namespace

QString shellQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' + quoted + u'\'';
}

QString sessionLogsScriptText(const QString& toolPath, const QString& sessionId) {
    const QString command =
        shellQuoted(toolPath) + QStringLiteral(" logs --session ") + shellQuoted(sessionId);
    // The command as the terminal shows it: an escape sequence in the
    // agent's session id would act on the terminal, so it shows as text.
    return QStringList{
        QStringLiteral("#!/bin/bash"),
        QStringLiteral("printf '%s\\n' ") +
            shellQuoted(QStringLiteral("Running: ") + visibleText(command)),
        command,
        QStringLiteral("echo \"Exit code: $?\""),
        QStringLiteral("read -p \"Press enter to close\""),
    }
        .join(u'\n');
}

SessionLogsFileName sessionLogsScriptFileName(const QString& sessionId) {
    if (sessionId.contains(QChar(u'\0')))
        return {std::nullopt, QStringLiteral("it holds a NUL character")};
    const QString fileName = QStringLiteral("zor-logs-") + QString(sessionId).replace(u'/', u'_') +
                             QStringLiteral(".command");
    const QByteArray encoded = fileName.toUtf8();
    // Unpaired surrogates have no UTF-8 form: neither the file nor the tool could get the id.
    if (QString::fromUtf8(encoded) != fileName)
        return {std::nullopt, QStringLiteral("it is not valid Unicode")};
    if (encoded.size() > kMaxFileNameBytes)
        return {std::nullopt,
                QStringLiteral("its file name would exceed %1 bytes").arg(kMaxFileNameBytes)};
    return {fileName, {}};
}

QString sessionLogsUnavailableReason(const QString& toolPath) {
    const QFileInfo tool(toolPath);
    if (tool.isFile() && tool.isExecutable())
        return {};
    return QStringLiteral("Not available on this system: there is no zor-cli at %1.")
        .arg(QDir::toNativeSeparators(toolPath));
}

void openSessionLogs(Workspace& workspace, const QString& toolPath, const QString& directory,
                     const QString& sessionId) {
    const SessionLogsFileName name = sessionLogsScriptFileName(sessionId);
    const QString rejection =
        !name.fileName        ? name.rejection
        : directory.isEmpty() ? QStringLiteral("there is no temporary directory of this user's own")
                              : QString();
    if (!rejection.isEmpty()) {
        logger(LogCategory::promptsView)
            .error("No audit-log script for session %s: %{public}s", {sessionId, rejection});
        return;
    }
    const QString path = QDir(directory).filePath(*name.fileName);
    // Written whole under a name of its own, made anew, then renamed over the
    // script's name: the rename replaces whatever lies there, a link to
    // another file included, and never writes through it. Where the folder is
    // shared, a file that another user put there is not theirs to replace:
    // the rename fails.
    QTemporaryFile file(QDir(directory).filePath(QStringLiteral(".zor-logs-XXXXXX")));
    QString error;
    if (!file.open() || file.write(sessionLogsScriptText(toolPath, sessionId).toUtf8()) < 0 ||
        !file.flush() ||
        !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                             QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                             QFileDevice::ExeGroup | QFileDevice::ReadOther |
                             QFileDevice::ExeOther)) {
        error = file.errorString();
    } else if (std::error_code renamed;
               std::filesystem::rename(QFile::encodeName(file.fileName()).toStdString(),
                                       QFile::encodeName(path).toStdString(), renamed),
               renamed) {
        error = QString::fromStdString(renamed.message());
    } else {
        file.setAutoRemove(false);
    }
    if (!error.isEmpty()) {
        // Never run a file this app did not just write: in a temporary folder that
        // other users share, it could be anyone's script.
        logger(LogCategory::promptsView)
            .error("Failed to write the audit-log script %s: %s", {path, error});
        return;
    }
    workspace.runScriptInTerminal(path);
}

} // namespace zor
