#pragma once

#include "FakePlatform.h"
#include "VirtualClock.h"
#include "setup/DaemonClient.h"
#include "setup/SetupModel.h"
#include "shared/BuildNumber.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <memory>

namespace zor::testing {

// A setup model on fakes that all report healthy services, and a link in a
// temporary directory that points where it should.
class SetupRig {
public:
    SetupRig() {
        connection.status = DaemonStatusRecord{0, QStringLiteral("1.0"), zorBuildNumber()};
        connection.extensionBuildNumber = zorBuildNumber();
        filter.enabled = true;
        filter.configuration = FilterProviderConfiguration{true, false};
        filter.description = QStringLiteral("Zor");
        agentBuild = zorBuildNumber();

        paths.linkDirectory = dir.filePath(QStringLiteral("bin"));
        paths.linkPath = dir.filePath(QStringLiteral("bin/zor"));
        paths.linkTarget = dir.filePath(QStringLiteral("Zor.app/Contents/MacOS/zor-cli"));
        QDir().mkpath(paths.linkDirectory);
        QDir().mkpath(QFileInfo(paths.linkTarget).path());
        QFile tool(paths.linkTarget);
        tool.open(QIODevice::WriteOnly);
        link(paths.linkTarget);

        model = std::make_unique<SetupModel>(
            clock, services, extensions, filter, daemon, scripts, workspace,
            [this] {
                QMutexLocker lock(&agentMutex);
                ++agentQueries;
                return agentBuild;
            },
            paths);
        model->setOnStatusChange([this](bool isHealthy) { reports.append(isHealthy); });
    }

    // Lets probes under way come back while the model still exists; a pass
    // hops to a worker and back at most a few times.
    ~SetupRig() {
        for (int hop = 0; hop < 8; ++hop) {
            QThreadPool::globalInstance()->waitForDone();
            QCoreApplication::sendPostedEvents();
        }
    }

    // Replaces whatever is at the link path by a link to `destination`.
    void link(const QString& destination) const {
        QFile::remove(paths.linkPath);
        QFile::link(destination, paths.linkPath);
    }

    void setAgentBuild(std::optional<QString> build) {
        QMutexLocker lock(&agentMutex);
        agentBuild = std::move(build);
    }

    int agentQueryCount() {
        QMutexLocker lock(&agentMutex);
        return agentQueries;
    }

    // Worker results come back through the event loop, in real time.
    [[nodiscard]] bool waitForReports(qsizetype count) {
        return QTest::qWaitFor([&] { return reports.size() >= count; }, 5000);
    }

    // Runs the first full check and waits for its report.
    [[nodiscard]] bool appearAndSettle() {
        model->appear();
        return waitForReports(reports.size() + 1);
    }

    VirtualClock clock;
    FakeServiceManagement services{&clock};
    FakeSystemExtensionManager extensions;
    FakeFilterManager filter;
    FakeDaemonConnection connection;
    DaemonClient daemon{connection};
    FakeAdministratorScriptRunner scripts;
    FakeWorkspace workspace;
    QTemporaryDir dir;
    CliLinkPaths paths;
    QList<bool> reports;

private:
    QMutex agentMutex;
    std::optional<QString> agentBuild;
    int agentQueries = 0;

public:
    std::unique_ptr<SetupModel> model; // last: goes before the fakes it uses
};

} // namespace zor::testing
