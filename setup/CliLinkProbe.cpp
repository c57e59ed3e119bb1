#include "setup/CliLinkProbe.h"

#include "platform/AdministratorScript.h"

#include <QFile>
#include <QFileInfo>
#include <filesystem>
#include <system_error>

namespace zor {

namespace {

CLISymlinkStatus linkStatus(const CliLinkPaths& paths) {
    // exists() follows the link, so a dangling link counts as missing.
    if (!QFileInfo::exists(paths.linkPath))
        return CLISymlinkStatus::missing;
    std::error_code error;
    const std::filesystem::path destination =
        std::filesystem::read_symlink(QFile::encodeName(paths.linkPath).toStdString(), error);
    if (error)
        return CLISymlinkStatus::notASymlink;
    return QFile::decodeName(QByteArray::fromStdString(destination.string())) == paths.linkTarget
               ? CLISymlinkStatus::ok
               : CLISymlinkStatus::wrongTarget;
}

} // namespace

CLISymlinkStatus checkCLISymlink(const CliLinkPaths& paths,
                                 const AdministratorScriptRunner& scripts) {
    const CLISymlinkStatus status = linkStatus(paths);
    if (status != CLISymlinkStatus::ok && !scripts.isSupported())
        return CLISymlinkStatus::unsupported;
    return status;
}

} // namespace zor
