#pragma once

#include "setup/CliLinkProbe.h"

#include <QStringList>

namespace zor {

// The shell commands that put the link in place, given what exists now. A
// dangling link counts as absent, so it is not removed and `ln` then fails.
QStringList cliLinkCommands(const CliLinkPaths& paths, bool hasDirectory, bool hasLink);

// Reads the file system and builds the commands for it.
QStringList cliLinkCommands(const CliLinkPaths& paths);

// The script that runs the commands with administrator privileges.
QString administratorScriptSource(const QStringList& commands);

} // namespace zor
