#pragma once

#include "setup/CliLinkProbe.h"

namespace zor {

// The script that puts the link in place with administrator privileges, for
// what exists now: the directory made if missing, a file at the link removed.
QString cliLinkScript(const CliLinkPaths& paths);

} // namespace zor
