#pragma once

#include "FakePlatform.h"
#include "VirtualClock.h"
#include "setup/DaemonClient.h"
#include "setup/ServiceMonitor.h"
#include "setup/ServiceRepairs.h"

#include <QImage>
#include <QMutex>
#include <QTemporaryDir>
#include <memory>

class QQuickItem;
class QQuickView;

namespace zor::qml {
class FocusKeeper;
}

namespace zor::testing {

// The real setup monitor and repairs on fakes that start healthy, and on demand the setup
// screen showing it offscreen. The monitor finds the fakes' state by probing.
class SetupScene {
public:
    SetupScene();
    ~SetupScene();

    // Every service answers with this build; the link points where it should.
    void makeAllHealthy();
    // Healthy, except that the agent answers with an older build.
    void makeAgentOutdated();
    // The daemon does not answer; its registration is `registration`. The
    // filter is enabled, so the extension waits on the daemon.
    void makeDaemonUnreachable(ServiceStatus registration);
    // As on a system without the background services: no service manager,
    // content filter or administrator scripts, no daemon, no link. An agent
    // may still run, as a development agent does there.
    void makeUnsupported(std::optional<QString> agentBuildNumber = std::nullopt);
    void removeLink() const;
    void link(const QString& destination) const;
    void setAgentBuildNumber(std::optional<QString> buildNumber);
    // Runs inside each query of the agent's build number, on the worker.
    void onAgentQuery(std::function<void()> hook);
    int agentQueryCount() const;

    // Runs the full check and waits, in real time, for its report: probes run on workers.
    [[nodiscard]] bool appearAndSettle();
    [[nodiscard]] bool waitForReports(qsizetype count);
    // Moves virtual time on in 100 ms steps; at each, the probes it started
    // finish on their workers before time moves again. A probe that does not
    // finish fails the test, and the call moves time no further.
    void runFor(Millis total);

    // Loads the screen `width` wide and as tall as its content, or `height`
    // tall; its appearance starts the full check.
    bool show(int width, std::optional<int> height = std::nullopt);
    // Waits, in real time, until no status is being checked and no probe is
    // under way: two checks may overlap. Virtual time does not move.
    bool settle();
    // Renders the window, as tall as its content unless shown at a height.
    QImage grab();

    QQuickItem* item(const QString& objectName) const;
    QQuickItem* inBox(const QString& box, const QString& objectName) const;
    void click(QQuickItem* item) const;

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
    QList<bool> reports; // isNothingToRepair after each pass of checks
    std::unique_ptr<ServiceMonitor> monitor;
    std::unique_ptr<ServiceRepairs> repairs; // acts on the monitor, so goes first
    std::unique_ptr<QQuickView> view;
    // Keeps the view's keyboard focus on what shows, as in the window.
    std::unique_ptr<qml::FocusKeeper> focusKeeper;

private:
    // Runs every started flow to its end: a flow left waiting when the monitor
    // goes would never be resumed, and its frame would leak.
    void finishFlows();
    // Whether a status is being checked: a check under way.
    bool isChecking() const;
    void fitHeight();

    bool isFixedHeight = false;
    mutable QMutex agentMutex; // the agent is asked on a worker
    std::optional<QString> agentBuild;
    int agentQueries = 0;
    std::function<void()> agentQueryHook;
};

} // namespace zor::testing
