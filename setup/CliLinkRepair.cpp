#include "setup/CliLinkRepair.h"

#include <QFileInfo>

namespace zor {
namespace {

QString quoted(const QString& path) {
    return u'\'' + path + u'\'';
}

} // namespace

QStringList cliLinkCommands(const CliLinkPaths& paths, bool hasDirectory, bool hasLink) {
    QStringList commands;
    if (!hasDirectory)
        commands.append(QStringLiteral("mkdir -p ") + quoted(paths.linkDirectory));
    if (hasLink)
        commands.append(QStringLiteral("rm -f ") + quoted(paths.linkPath));
    commands.append(QStringLiteral("ln -s ") + quoted(paths.linkTarget) + u' ' +
                    quoted(paths.linkPath));
    return commands;
}

QStringList cliLinkCommands(const CliLinkPaths& paths) {
    return cliLinkCommands(paths, QFileInfo::exists(paths.linkDirectory),
                           QFileInfo::exists(paths.linkPath));
}

QString administratorScriptSource(const QStringList& commands) {
    return QStringLiteral("do shell script \"") + commands.join(QStringLiteral(" && ")) +
           QStringLiteral("\" with administrator privileges");
}

} // namespace zor
