// Times the main window, as the app builds it, from its creation to its first
// frame offscreen, and beside it a bare Qt Quick Controls window on the same
// path, in the same process, taking turns. The main window's first launch and
// its median must each come within twice the bare window's; the benchmark
// exits with status 1 when they do not.

#include "SetupScene.h"
#include "prompts/AppState.h"
#include "window/MainWindow.h"
#include "window/qml/QuickViews.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

using namespace zor;
using namespace zor::testing;

namespace {

constexpr int rounds = 20;
constexpr double budgetRatio = 2.0;
constexpr int frameTimeoutMs = 10000;

// Shows the window and returns once it has rendered a frame; false on timeout.
bool showUntilFirstFrame(QQuickWindow& window) {
    QEventLoop loop;
    bool hasFrame = false;
    QObject::connect(&window, &QQuickWindow::frameSwapped, &loop, [&] {
        hasFrame = true;
        loop.quit();
    });
    QTimer::singleShot(frameTimeoutMs, &loop, &QEventLoop::quit);
    window.show();
    if (!hasFrame)
        loop.exec();
    return hasFrame;
}

// One launch of the bare window: a fresh engine, an empty Window.
qint64 timeBareWindow() {
    QElapsedTimer timer;
    timer.start();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQuick.Controls\nApplicationWindow { width: 761; height: 500 }\n",
                      QUrl());
    std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow*>(component.create()));
    if (!window || !showUntilFirstFrame(*window))
        qFatal("startup-benchmark: the bare window did not render");
    return timer.nsecsElapsed();
}

// One launch of the main window, on a setup screen whose fakes are made beforehand.
qint64 timeMainWindow() {
    SetupScene scene;
    AppState appState;
    QElapsedTimer timer;
    timer.start();
    MainWindow mainWindow(appState, {*scene.monitor, *scene.repairs});
    mainWindow.show();
    if (!showUntilFirstFrame(*mainWindow.window()))
        qFatal("startup-benchmark: the main window did not render");
    const qint64 elapsed = timer.nsecsElapsed();
    // What the window makes after its first frame, the prompt list and the
    // setup screen, and that screen's first checks end before the scene goes,
    // so that none of it runs into the next launch.
    const QQuickWindow* window = mainWindow.window();
    const QObject* setupLoader = window->findChild<QObject*>("setupLoader");
    if (!setupLoader || !QTest::qWaitFor([&] {
            return window->findChild<QObject*>("promptList") &&
                   setupLoader->property("item").value<QObject*>();
        }))
        qFatal("startup-benchmark: the window's later views were not made");
    if (!scene.settle())
        qFatal("startup-benchmark: the setup checks did not finish");
    return elapsed;
}

struct Figures {
    double first;
    double median;
    double worst;
};

// In milliseconds; the first launch, which pays for loading and caches, apart.
Figures figures(const QList<qint64>& nanoseconds) {
    QList<qint64> later = nanoseconds.mid(1);
    std::sort(later.begin(), later.end());
    const auto ms = [](qint64 ns) { return double(ns) / 1e6; };
    return {ms(nanoseconds.first()), ms(later[later.size() / 2]), ms(later.last())};
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
    useDesktopControlsStyle();

    QList<qint64> bare;
    QList<qint64> main;
    for (int round = 0; round <= rounds; ++round) {
        bare << timeBareWindow();
        main << timeMainWindow();
    }
    const Figures b = figures(bare);
    const Figures m = figures(main);
    std::printf(
        "time to first frame, ms     first   median    worst  (%d rounds after the first)\n",
        rounds);
    std::printf("bare Qt Quick window     %8.1f %8.1f %8.1f\n", b.first, b.median, b.worst);
    std::printf("Zor main window          %8.1f %8.1f %8.1f\n", m.first, m.median, m.worst);
    const double firstRatio = m.first / b.first;
    const double medianRatio = m.median / b.median;
    std::printf("ratio (budget %.1f)       %8.2f %8.2f %8.2f\n", budgetRatio, firstRatio,
                medianRatio, m.worst / b.worst);
    const bool isMet = firstRatio <= budgetRatio && medianRatio <= budgetRatio;
    std::printf("%s\n", isMet ? "every budget met" : "a budget was missed");
    return isMet ? 0 : 1;
}
