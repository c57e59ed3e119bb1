#pragma once

#include <QString>
#include <optional>

namespace zor {

class Workspace;

// The shell script that shows a session's audit logs in a terminal: it prints
// the command, runs the command-line tool's "logs --session", prints the exit
// code and waits for Enter. Session ids come from the agent and are hostile
// until proven otherwise, so nothing of them is ever read by the shell as code.

// Single quotes, inside which the shell takes every character as it is.
QString shellQuoted(const QString& text);

// The script's five lines. The first line that prints the command prints it
// through printf's argument, never through a format or inside double quotes,
// where $(...), backticks, $VAR and backslashes would be interpreted.
QString sessionLogsScriptText(const QString& toolPath, const QString& sessionId);

// "zor-logs-" + the id with "/" as "_" + ".command", or none with the reason
// when the id cannot be part of a file name.
struct SessionLogsFileName {
    std::optional<QString> fileName;
    QString rejection; // why not, when there is no name
};
SessionLogsFileName sessionLogsScriptFileName(const QString& sessionId);

// Why the script could not work on this system: no executable tool at
// `toolPath`. Empty when it can.
QString sessionLogsUnavailableReason(const QString& toolPath);

// Writes the script for the session into `directory`, replacing an earlier
// one, makes it executable and runs it in a terminal. A session id that
// cannot name a file, or a script that cannot be written, gets a log line and
// nothing runs.
void openSessionLogs(Workspace& workspace, const QString& toolPath, const QString& directory,
                     const QString& sessionId);

} // namespace zor
