#pragma once

#include <QString>

namespace zor {

class AdministratorScriptRunner;
class AgentConnector;
class Announcer;
class AppActivation;
class AppReopen;
class Clipboard;
class Console;
class FileManager;
class DaemonConnection;
class FilterManager;
class IconBadge;
class LiveRegion;
class LogSink;
class ServiceManagement;
class SingleInstance;
class SystemExtensionManager;
class TerminationSignals;
class UserNotifications;
class Workspace;
class WindowChrome;

// The one place that picks the operating system's implementation of each
// service. Each is created on first use and lives for the whole process.
ServiceManagement& platformServiceManagement();
SystemExtensionManager& platformSystemExtensionManager();
FilterManager& platformFilterManager();
DaemonConnection& platformDaemonConnection();
AdministratorScriptRunner& platformAdministratorScriptRunner();
Workspace& platformWorkspace();
Clipboard& platformClipboard();
Console& platformConsole();
FileManager& platformFileManager();
// First thing in the process: a standard stream closed at start is opened on
// /dev/null, and writing to an output whose reader has gone fails, rather than
// ending the process.
void platformSurviveClosedOutput();
// Before the application object of a run without windows is made: its event
// loop must also serve what the system's services hand to the main thread.
// On macOS that is the main dispatch queue, which only the system's run loop
// serves, and a windowless Qt application runs another loop unless asked.
void platformPrepareLoopWithoutWindows();
// Where the command-line tool zor-cli lies in this installation.
QString platformCommandLineToolPath();
// Where the zor command's link leads: on macOS into the app in /Applications,
// as installers assume; elsewhere to the tool beside this program, as nothing
// puts an app in /Applications there.
QString platformCliLinkTarget();
// The user's own temporary directory, where no other user can put a file or
// a link: the system's per-user one on macOS, the private runtime directory
// elsewhere. Empty when there is none.
QString platformTemporaryDirectory();
// The main window's title bar and the room the tab row leaves for its buttons.
WindowChrome& platformWindowChrome();
// Whether a window could open: on Linux, whether Qt was told of a display or
// of a platform, by the environment or on the command line. Without one,
// making the application aborts the process.
bool platformHasDisplay(int argc, char** argv);
// Whether windows draw with Qt Quick's own software renderer: where the
// system has no graphics device, it outpaces OpenGL emulated on the processor.
bool platformPrefersSoftwareDrawing();
// Connections to the notification agent's service.
AgentConnector& platformAgentConnector();
// Bringing the app forward, and keeping it to one running app per user.
AppActivation& platformAppActivation();
SingleInstance& platformSingleInstance();
// The Dock's request to show the app again, where there is one.
AppReopen& platformAppReopen();
// The system's requests that the app end.
TerminationSignals& platformTerminationSignals();
// Where log lines go on this system; nullptr keeps standard error.
LogSink* platformLogSink();
// The pending count on the app's icon, the system's notifications, and
// announcements to screen readers.
IconBadge& platformIconBadge();
UserNotifications& platformUserNotifications();
Announcer& platformAnnouncer();
// The main window's element that announcements go through, where the system
// has no call for them; nullptr elsewhere.
LiveRegion* platformLiveRegion();

} // namespace zor
