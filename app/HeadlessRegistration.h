#pragma once

#include "app/HeadlessExtensionDelegate.h"
#include "setup/CliLinkProbe.h"

#include <memory>

namespace zor {

class AppService;
class Clock;
class Console;
class FileManager;
class FilterManager;
class ServiceManagement;
class SystemExtensionManager;

// Installs the background services without a window: registers the daemon and
// the agent, links the command-line tool, activates the network extension and
// enables the content filter, printing one line per outcome. The process ends
// from the extension's or the filter's callback through Console::exit, with 0
// when both the daemon and the agent ended registered, else 1.
class HeadlessRegistration {
public:
    struct Services {
        ServiceManagement& serviceManagement;
        SystemExtensionManager& extensionManager;
        FilterManager& filterManager;
        Console& console;
        FileManager& fileManager;
        Clock& clock;
    };

    // `runningProgram` is this program's file, which the link step never removes.
    HeadlessRegistration(Services services, CliLinkPaths linkPaths, QString runningProgram);

    // Runs the steps up to the extension request, blocking the calling thread
    // for the service calls and pauses. The callbacks that follow need this
    // object alive: it keeps the request's delegate.
    void start();

private:
    void unregisterIfRegistered(AppService& service);
    bool registerDaemon();
    bool registerAgent();
    void createCliLink();
    void requestExtensionActivation(bool overallSuccess);
    void handleExtensionResult(const HeadlessExtensionDelegate::Result& result,
                               bool overallSuccess);
    void enableFilter(bool overallSuccess);
    void reportFilter(bool isEnabled, bool overallSuccess);
    void exitWith(bool overallSuccess);

    Services services;
    CliLinkPaths linkPaths;
    QString runningProgram;
    std::shared_ptr<HeadlessExtensionDelegate> extensionDelegate;
};

} // namespace zor
