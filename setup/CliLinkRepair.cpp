#include "setup/CliLinkRepair.h"

#include <QFileInfo>
#include <QStringList>

namespace zor {
namespace {

QString quoted(const QString& path) {
    return u'\'' + path + u'\'';
}

} // namespace

QString cliLinkScript(const CliLinkPaths& paths) {
    QStringList commands;
    if (!QFileInfo::exists(paths.linkDirectory))
        commands.append(QStringLiteral("mkdir -p ") + quoted(paths.linkDirectory));
    // exists() follows the link: a dangling one is not removed, and `ln` then fails.
    if (QFileInfo::exists(paths.linkPath))
        commands.append(QStringLiteral("rm -f ") + quoted(paths.linkPath));
    commands.append(QStringLiteral("ln -s ") + quoted(paths.linkTarget) + u' ' +
                    quoted(paths.linkPath));
    return QStringLiteral("do shell script \"") + commands.join(QStringLiteral(" && ")) +
           QStringLiteral("\" with administrator privileges");
}

} // namespace zor
