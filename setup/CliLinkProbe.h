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

class AdministratorScriptRunner;

// Reads the link synchronously; the target is compared as stored, unresolved.
// A link that is not right is unsupported where `scripts` could not put it right.
CLISymlinkStatus checkCLISymlink(const CliLinkPaths& paths,
                                 const AdministratorScriptRunner& scripts);

} // namespace zor
