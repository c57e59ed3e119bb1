// Renders the setup screen offscreen, driven by a real model on fakes, into
// one PNG file per state, for review without a Mac.

#include "SetupScene.h"
#include "window/qml/QuickViews.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <cstdio>
#include <functional>

using namespace zor;
using namespace zor::testing;

namespace {

struct Shot {
    const char* fileName;
    std::function<void(SetupScene&)> arrange; // before the screen appears
    std::function<void(SetupScene&)> act;     // once the checks have settled
};

const QList<Shot>& shots() {
    static const QList<Shot> all = {
        {"01-all-healthy.png", [](SetupScene& s) { s.makeAllHealthy(); }, {}},
        {"02-agent-outdated.png", [](SetupScene& s) { s.makeAgentOutdated(); }, {}},
        {"03-daemon-unreachable.png",
         [](SetupScene& s) { s.makeDaemonUnreachable(ServiceStatus::notRegistered); },
         {}},
        {"04-daemon-awaiting-approval.png",
         [](SetupScene& s) { s.makeDaemonUnreachable(ServiceStatus::requiresApproval); },
         {}},
        // The restart waits on the extension's replacement, which the fake never answers.
        {"05-restarting.png", [](SetupScene& s) { s.makeAllHealthy(); },
         [](SetupScene& s) { s.click(s.item(QStringLiteral("restartButton"))); }},
    };
    return all;
}

bool render(const Shot& shot, const QDir& outDir) {
    SetupScene scene;
    shot.arrange(scene);
    if (!scene.show(640)) {
        std::fprintf(stderr, "zor-screenshots: %s: the screen did not load\n", shot.fileName);
        return false;
    }
    if (!scene.settle()) {
        std::fprintf(stderr, "zor-screenshots: %s: the checks did not finish\n", shot.fileName);
        return false;
    }
    if (shot.act)
        shot.act(scene);
    const QString path = outDir.filePath(QString::fromLatin1(shot.fileName));
    if (!scene.grab().save(path)) {
        std::fprintf(stderr, "zor-screenshots: cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
    useDesktopControlsStyle();

    const QStringList args = QCoreApplication::arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: zor-screenshots OUTDIR\n");
        return 2;
    }
    const QDir outDir(args[1]);
    if (!QDir().mkpath(outDir.path())) {
        std::fprintf(stderr, "zor-screenshots: cannot create %s\n", qPrintable(outDir.path()));
        return 1;
    }
    bool isComplete = true;
    for (const Shot& shot : shots())
        isComplete = render(shot, outDir) && isComplete;
    return isComplete ? 0 : 1;
}
