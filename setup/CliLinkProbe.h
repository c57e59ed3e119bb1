#pragma once

#include "setup/ServiceStatus.h"
#include "shared/Identifiers.h"

#include <QString>

namespace zor {

// Where the zor command's link lives and what it must point to.
struct CliLinkPaths {
    QString linkPath = QString::fromLatin1(kCliLinkPath);
    QString linkDirectory = QString::fromLatin1(kCliLinkDirectory);
    QString linkTarget = QString::fromLatin1(kCliLinkTarget);
};

// Reads the link synchronously; the target is compared as stored, unresolved.
CLISymlinkStatus checkCLISymlink(const CliLinkPaths& paths);

} // namespace zor
