#include "platform/Platform.h"

#include "platform/local/LocalAgentConnector.h"
#include "platform/portable/PortableServices.h"

// The macOS implementations replace these portable ones once they exist; this
// file stays the only place that chooses.

namespace zor {

ServiceManagement& platformServiceManagement() {
    static PortableServiceManagement instance;
    return instance;
}

SystemExtensionManager& platformSystemExtensionManager() {
    static PortableSystemExtensionManager instance;
    return instance;
}

FilterManager& platformFilterManager() {
    static PortableFilterManager instance;
    return instance;
}

DaemonConnection& platformDaemonConnection() {
    static UnreachableDaemonConnection instance;
    return instance;
}

AdministratorScriptRunner& platformAdministratorScriptRunner() {
    static PortableAdministratorScriptRunner instance;
    return instance;
}

Workspace& platformWorkspace() {
    static DesktopWorkspace instance;
    return instance;
}

Clipboard& platformClipboard() {
    static GuiClipboard instance;
    return instance;
}

Console& platformConsole() {
    static StandardConsole instance;
    return instance;
}

QString platformCommandLineToolPath() {
    return commandLineToolBesideExecutable();
}

AgentConnector& platformAgentConnector() {
    static LocalAgentConnector instance;
    return instance;
}

LogSink* platformLogSink() {
    return nullptr;
}

} // namespace zor
