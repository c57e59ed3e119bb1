#pragma once

#include "FakePlatform.h"
#include "VirtualClock.h"
#include "setup/DaemonClient.h"
#include "setup/SetupModel.h"

#include <QImage>
#include <QMutex>
#include <QTemporaryDir>
#include <memory>

class QQuickItem;
class QQuickView;

namespace zor::testing {

// A real setup model on fakes, and the setup screen showing it offscreen.
// The fakes play the services; the model finds their state by probing.
class SetupScene {
public:
    SetupScene();
    ~SetupScene();

    // Every service answers with this build; the link points where it should.
    void makeAllHealthy();
    // Healthy, except that the agent answers with an older build.
    void makeAgentOutdated();
    // The daemon does not answer; its registration is in `registration`. The
    // filter is enabled, so the extension waits on the daemon.
    void makeDaemonUnreachable(ServiceStatus registration);
    // No file at the link's path.
    void removeLink();

    // Loads the screen into a window `width` wide and as tall as its content.
    // The screen's appearance starts the full check.
    bool show(int width);
    // Waits, in real time, until no status is being checked: probes run on
    // worker threads. Virtual time does not move.
    bool settle();
    // Sizes the window to the screen's content.
    void fitHeight();
    // Renders the window, as tall as its content.
    QImage grab();

    QQuickItem* item(const QString& objectName) const;
    QString text(const QString& objectName) const;
    bool isShown(const QString& objectName) const;
    // The item named `objectName` inside the step box named `box`.
    QQuickItem* inBox(const QString& box, const QString& objectName) const;
    // Clicks the middle of `item` with the mouse.
    void click(QQuickItem* item) const;

    std::optional<QString> agentBuildNumber() const;
    void setAgentBuildNumber(std::optional<QString> buildNumber);

    QTemporaryDir directory;
    CliLinkPaths linkPaths;
    VirtualClock clock;
    FakeServiceManagement services{&clock};
    FakeSystemExtensionManager extensions;
    FakeFilterManager filter;
    FakeDaemonConnection daemonConnection;
    DaemonClient daemon{daemonConnection};
    FakeAdministratorScriptRunner scripts;
    FakeWorkspace workspace;
    std::unique_ptr<SetupModel> model;
    std::unique_ptr<QQuickView> view;

private:
    // Runs every started flow to its end: a flow left waiting when the model
    // goes would never be resumed.
    void finishFlows();

    mutable QMutex agentMutex;
    std::optional<QString> agentBuild;
};

} // namespace zor::testing
