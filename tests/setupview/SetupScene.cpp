#include "SetupScene.h"

#include "platform/Worker.h"
#include "shared/BuildNumber.h"
#include "window/qml/FocusKeeper.h"
#include "window/qml/QuickViews.h"

#include <QDir>
#include <QFile>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

namespace zor::testing {

SetupScene::SetupScene() {
    linkPaths.linkDirectory = directory.filePath(QStringLiteral("bin"));
    linkPaths.linkPath = directory.filePath(QStringLiteral("bin/zor"));
    linkPaths.linkTarget = directory.filePath(QStringLiteral("Zor.app/Contents/MacOS/zor-cli"));
    QDir().mkpath(linkPaths.linkDirectory);
    QDir().mkpath(QFileInfo(linkPaths.linkTarget).path());
    QFile(linkPaths.linkTarget).open(QIODevice::WriteOnly); // the tool the link should lead to
    makeAllHealthy();

    monitor = std::make_unique<ServiceMonitor>(
        clock, services, filter, scripts, daemon,
        [this]() -> std::optional<QString> {
            QMutexLocker lock(&agentMutex);
            ++agentQueries;
            if (const std::function<void()> hook = agentQueryHook) {
                lock.unlock();
                hook();
                lock.relock();
            }
            return agentBuild;
        },
        linkPaths);
    repairs = std::make_unique<ServiceRepairs>(*monitor, clock, services, extensions, filter,
                                               scripts, workspace);
    monitor->setOnStatusChange(
        [this](bool isNothingToRepair) { reports.append(isNothingToRepair); });
}

SetupScene::~SetupScene() {
    // The screen goes first: it tells the monitor that it disappears.
    focusKeeper.reset();
    view.reset();
    finishFlows();
}

void SetupScene::finishFlows() {
    monitor->disappear();
    QList<std::shared_ptr<SystemExtensionRequestDelegate>> answered;
    for (;;) {
        bool hasAnswered = false;
        for (const auto& weak : extensions.delegates) {
            const auto delegate = weak.lock();
            if (delegate && !answered.contains(delegate)) {
                answered.append(delegate);
                delegate->requestDidFinish(RequestResult::completed);
                hasAnswered = true;
            }
        }
        QCoreApplication::processEvents(); // an answer resumes its flow through the loop
        // A resumed flow may start a check, whose probes run on workers.
        finishWorkerCalls();
        if (!clock.advanceToNextTimer() && !hasAnswered)
            return;
    }
}

void SetupScene::makeAllHealthy() {
    const QString build = zorBuildNumber();
    {
        QMutexLocker lock(&daemonConnection.mutex);
        daemonConnection.status = DaemonStatusRecord{0, QStringLiteral("1.0"), build};
        daemonConnection.pingAnswer = true;
        daemonConnection.extensionBuildNumber = build;
    }
    services.daemonStatus = ServiceStatus::enabled;
    services.agentStatus = ServiceStatus::enabled;
    filter.configuration = FilterProviderConfiguration{true, false};
    filter.enabled = true;
    setAgentBuildNumber(build);
    link(linkPaths.linkTarget);
}

void SetupScene::makeAgentOutdated() {
    makeAllHealthy();
    setAgentBuildNumber(zorBuildNumber() + QStringLiteral("-older"));
}

void SetupScene::makeDaemonUnreachable(ServiceStatus registration) {
    makeAllHealthy();
    QMutexLocker lock(&daemonConnection.mutex);
    daemonConnection.status.reset();
    services.daemonStatus = registration;
}

void SetupScene::makeUnsupported(std::optional<QString> agentBuildNumber) {
    {
        QMutexLocker lock(&daemonConnection.mutex);
        daemonConnection.status.reset();
        daemonConnection.pingAnswer = false;
        daemonConnection.extensionBuildNumber.reset();
    }
    services.isAvailable = false;
    filter.isAvailable = false;
    scripts.isAvailable = false;
    setAgentBuildNumber(std::move(agentBuildNumber));
    removeLink();
}

void SetupScene::removeLink() const {
    QFile::remove(linkPaths.linkPath);
}

void SetupScene::link(const QString& destination) const {
    removeLink();
    QFile::link(destination, linkPaths.linkPath);
}

void SetupScene::setAgentBuildNumber(std::optional<QString> buildNumber) {
    QMutexLocker lock(&agentMutex);
    agentBuild = std::move(buildNumber);
}

void SetupScene::onAgentQuery(std::function<void()> hook) {
    QMutexLocker lock(&agentMutex);
    agentQueryHook = std::move(hook);
}

int SetupScene::agentQueryCount() const {
    QMutexLocker lock(&agentMutex);
    return agentQueries;
}

bool SetupScene::appearAndSettle() {
    monitor->appear();
    return waitForReports(reports.size() + 1);
}

bool SetupScene::waitForReports(qsizetype count) {
    return QTest::qWaitFor([&] { return reports.size() >= count; }, 5000);
}

void SetupScene::runFor(Millis total) {
    constexpr Millis step = std::chrono::milliseconds(100);
    for (Millis moved{0}; moved < total; moved += step) {
        clock.advance(step);
        // A resumed probe may start the next one at once: wait until none is
        // left, and move time no further while one is.
        QVERIFY2(QTest::qWaitFor([] {
                     QCoreApplication::sendPostedEvents();
                     return workerCallsInFlight() == 0;
                 }),
                 "a probe was still under way after 5 s");
    }
}

bool SetupScene::show(int width, std::optional<int> height) {
    focusKeeper.reset();
    view = std::make_unique<QQuickView>();
    focusKeeper = std::make_unique<qml::FocusKeeper>(*view);
    prepareZorEngine(*view->engine());
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->setInitialProperties({{QStringLiteral("monitor"), QVariant::fromValue(monitor.get())},
                                {QStringLiteral("repairs"), QVariant::fromValue(repairs.get())}});
    view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Zor/setup/SetupView.qml")));
    if (view->status() != QQuickView::Ready) {
        for (const QQmlError& error : view->errors())
            qWarning("%s", qPrintable(error.toString()));
        return false;
    }
    isFixedHeight = height.has_value();
    view->resize(width, height.value_or(400));
    if (!isFixedHeight)
        fitHeight();
    view->show();
    return QTest::qWaitForWindowExposed(view.get());
}

bool SetupScene::isChecking() const {
    return monitor->daemonStep().isChecking || monitor->agentStep().isChecking ||
           monitor->neStep().isChecking || monitor->cliStep().isChecking;
}

bool SetupScene::settle() {
    return QTest::qWaitFor([this] { return !isChecking() && workerCallsInFlight() == 0; });
}

void SetupScene::fitHeight() {
    view->resize(view->width(), qCeil(view->rootObject()->implicitHeight()));
}

QImage SetupScene::grab() {
    // The first rendering lays the content out; the second shows all of it.
    view->grabWindow();
    if (isFixedHeight)
        return view->grabWindow();
    fitHeight();
    return view->grabWindow();
}

QQuickItem* SetupScene::item(const QString& objectName) const {
    return view->rootObject()->findChild<QQuickItem*>(objectName);
}

QQuickItem* SetupScene::inBox(const QString& box, const QString& objectName) const {
    return item(box)->findChild<QQuickItem*>(objectName);
}

void SetupScene::click(QQuickItem* target) const {
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(view.get(), Qt::LeftButton, {}, centre.toPoint());
}

} // namespace zor::testing
