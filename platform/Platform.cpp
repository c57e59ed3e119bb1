#include "platform/Platform.h"

#include "platform/AppReopen.h"
#include "platform/local/LocalAgentConnector.h"
#include "platform/local/LocalSingleInstance.h"
#include "platform/local/PrivateRuntimeDir.h"
#include "platform/portable/ClosedOutput.h"
#include "platform/portable/GraphicsDevice.h"
#include "platform/portable/LiveRegion.h"
#include "platform/portable/PortableAppActivation.h"
#include "platform/portable/PortableFileManager.h"
#include "platform/portable/PortableServices.h"
#include "platform/portable/PortableWindowChrome.h"
#include "platform/portable/PosixTerminationSignals.h"

#ifdef Q_OS_MACOS
#include "platform/macos/MacAdministratorScriptRunner.h"
#include "platform/macos/MacAnnouncer.h"
#include "platform/macos/MacAppActivation.h"
#include "platform/macos/MacAppReopen.h"
#include "platform/macos/MacClipboard.h"
#include "platform/macos/MacDockBadge.h"
#include "platform/macos/MacFileManager.h"
#include "platform/macos/MacFilterManager.h"
#include "platform/macos/MacServiceManagement.h"
#include "platform/macos/MacSystemExtensionManager.h"
#include "platform/macos/MacUserNotifications.h"
#include "platform/macos/MacWindowChrome.h"
#include "platform/macos/MacWorkspace.h"
#include "platform/macos/OsLogSink.h"
#include "platform/macos/XpcAgentConnector.h"
#include "platform/macos/XpcDaemonConnection.h"
#else
#include "platform/portable/FreedesktopNotifications.h"
#include "platform/portable/LauncherEntryBadge.h"
#endif
#include "shared/Identifiers.h"

#include <QDir>
#include <string_view>

// macOS gets the system's own services; other systems get portable stand-ins
// or "not supported on this platform". This file is the only place that chooses.

namespace zor {

ServiceManagement& platformServiceManagement() {
#ifdef Q_OS_MACOS
    static MacServiceManagement instance;
#else
    static PortableServiceManagement instance;
#endif
    return instance;
}

SystemExtensionManager& platformSystemExtensionManager() {
#ifdef Q_OS_MACOS
    static MacSystemExtensionManager instance;
#else
    static PortableSystemExtensionManager instance;
#endif
    return instance;
}

FilterManager& platformFilterManager() {
#ifdef Q_OS_MACOS
    static MacFilterManager instance;
#else
    static PortableFilterManager instance;
#endif
    return instance;
}

DaemonConnection& platformDaemonConnection() {
#ifdef Q_OS_MACOS
    static XpcDaemonConnection instance;
#else
    static UnreachableDaemonConnection instance;
#endif
    return instance;
}

AdministratorScriptRunner& platformAdministratorScriptRunner() {
#ifdef Q_OS_MACOS
    static MacAdministratorScriptRunner instance;
#else
    static PortableAdministratorScriptRunner instance;
#endif
    return instance;
}

Workspace& platformWorkspace() {
#ifdef Q_OS_MACOS
    static MacWorkspace instance;
#else
    static DesktopWorkspace instance;
#endif
    return instance;
}

Clipboard& platformClipboard() {
#ifdef Q_OS_MACOS
    static MacClipboard instance;
#else
    static GuiClipboard instance;
#endif
    return instance;
}

Console& platformConsole() {
    static StandardConsole instance;
    return instance;
}

FileManager& platformFileManager() {
#ifdef Q_OS_MACOS
    static MacFileManager instance;
#else
    static PortableFileManager instance;
#endif
    return instance;
}

void platformSurviveClosedOutput() {
    // Streams, pipes and their signal are POSIX's, on macOS as elsewhere.
    openClosedStandardStreams();
    survivePipesClosedUnderfoot();
}

void platformPrepareLoopWithoutWindows() {
#ifdef Q_OS_MACOS
    qputenv("QT_EVENT_DISPATCHER_CORE_FOUNDATION", "1");
#endif
}

QString platformCommandLineToolPath() {
    return commandLineToolBesideExecutable();
}

QString platformCliLinkTarget() {
#ifdef Q_OS_MACOS
    return QString::fromLatin1(kCliLinkTarget);
#else
    return commandLineToolBesideExecutable();
#endif
}

QString platformTemporaryDirectory() {
#ifdef Q_OS_MACOS
    return QDir::tempPath();
#else
    return local::privateRuntimeDirectory().path;
#endif
}

WindowChrome& platformWindowChrome() {
#ifdef Q_OS_MACOS
    static MacWindowChrome instance;
#else
    static PortableWindowChrome instance;
#endif
    return instance;
}

AgentConnector& platformAgentConnector() {
#ifdef Q_OS_MACOS
    static XpcAgentConnector instance;
#else
    static LocalAgentConnector instance(systemClock());
#endif
    return instance;
}

AppActivation& platformAppActivation() {
#ifdef Q_OS_MACOS
    static MacAppActivation instance;
#else
    static PortableAppActivation instance;
#endif
    return instance;
}

SingleInstance& platformSingleInstance() {
#ifdef Q_OS_MACOS
    // The system starts the app once and delivers later opens to it.
    static SystemSingleInstance instance;
#else
    static LocalSingleInstance instance(systemClock());
#endif
    return instance;
}

AppReopen& platformAppReopen() {
#ifdef Q_OS_MACOS
    static MacAppReopen instance;
#else
    static NoAppReopen instance;
#endif
    return instance;
}

TerminationSignals& platformTerminationSignals() {
    // Signals are POSIX's, on macOS as elsewhere.
    static PosixTerminationSignals instance;
    return instance;
}

bool platformHasDisplay(int argc, char** argv) {
#ifdef Q_OS_MACOS
    Q_UNUSED(argc);
    Q_UNUSED(argv);
    return true;
#else
    // The options Qt reads before it picks its platform, each with a value.
    const auto isToldOnCommandLine = [argc, argv] {
        for (int i = 1; i + 1 < argc; ++i) {
            const std::string_view option = argv[i];
            if ((option == "-platform" || option == "--platform" || option == "-display" ||
                 option == "--display") &&
                *argv[i + 1] != '\0')
                return true;
        }
        return false;
    };
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
           !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || isToldOnCommandLine();
#endif
}

bool platformPrefersSoftwareDrawing() {
#ifdef Q_OS_MACOS
    return false;
#else
    return !hasGraphicsDevice();
#endif
}

LogSink* platformLogSink() {
#ifdef Q_OS_MACOS
    static OsLogSink sink;
    return &sink;
#else
    return nullptr;
#endif
}

IconBadge& platformIconBadge() {
#ifdef Q_OS_MACOS
    static MacDockBadge instance;
#else
    static LauncherEntryBadge instance(QDBusConnection::sessionBus(),
                                       QString::fromLatin1(kAppBundleId) +
                                           QStringLiteral(".desktop"));
#endif
    return instance;
}

UserNotifications& platformUserNotifications() {
#ifdef Q_OS_MACOS
    static MacUserNotifications instance;
    return instance;
#else
    // Never destroyed: its bus proxy must not outlive the application object.
    static FreedesktopNotifications* const instance =
        new FreedesktopNotifications(QDBusConnection::sessionBus());
    return *instance;
#endif
}

Announcer& platformAnnouncer() {
#ifdef Q_OS_MACOS
    static MacAnnouncer instance;
    return instance;
#else
    return *platformLiveRegion();
#endif
}

LiveRegion* platformLiveRegion() {
#ifdef Q_OS_MACOS
    return nullptr;
#else
    static LiveRegion instance;
    return &instance;
#endif
}

} // namespace zor
