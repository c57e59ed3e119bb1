// Later starts of the real zor, offscreen, against a running one in a
// runtime directory of the test's own.

#include "ChildProcess.h"
#include "platform/local/LocalSingleInstance.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <memory>
#include <vector>

using zor::LocalSingleInstance;
using zor::testing::appEnvironment;
using zor::testing::ChildProcess;

namespace {

const QString kId = QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438");

} // namespace

class TransportProcessTest : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;
    QProcessEnvironment environment;

private slots:
    void initTestCase() {
        QVERIFY(runtime.isValid());
        environment = appEnvironment(runtime.path(), "offscreen");
        // Without a session bus the app logs one line and carries on.
        environment.remove("DBUS_SESSION_BUS_ADDRESS");
    }

    // Idle connections do not hold up a link; a stopped app is reported,
    // not replaced, and is reached again once it runs.
    void laterStartsReachTheRunningAppOrSaySo() {
        ChildProcess running(ZOR_APP_PATH, {}, environment);
        QTRY_VERIFY2_WITH_TIMEOUT(running.out.contains("Zor.app launched"), qPrintable(running.out),
                                  20000);
        const QString socket = runtime.filePath("com.zorlabs.zor.instance");
        std::vector<std::unique_ptr<QLocalSocket>> idle;
        for (int i = 0; i < 20; ++i) {
            idle.push_back(std::make_unique<QLocalSocket>());
            idle.back()->connectToServer(socket);
            QVERIFY(idle.back()->waitForConnected(1000));
        }
        // Read one after another, the idle connections would each hold the
        // link up for the whole time the app gives a start to send.
        const int heldUp = int(idle.size() * LocalSingleInstance::kReadTimeout.count());
        QElapsedTimer elapsed;
        elapsed.start();
        ChildProcess link(ZOR_APP_PATH, {"zor://prompt/" + kId}, environment);
        QCOMPARE(link.finish(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(running.out.contains("No prompt found for " + kId.toUpper()),
                                 heldUp);
        QCOMPARE_LT(elapsed.elapsed(), heldUp);

        QCOMPARE(::kill(pid_t(running.process.processId()), SIGSTOP), 0);
        // Nothing here wakes it, not another child that ends and goes.
        {
            ChildProcess ended("true", {}, environment);
            QCOMPARE(ended.finish(), 0);
        }
        ChildProcess stopped(ZOR_APP_PATH, {"zor://prompt/" + kId}, environment);
        QCOMPARE(stopped.finish(), 1);
        QVERIFY2(stopped.out.contains("\nZor is already running but not responding\n"),
                 qPrintable(stopped.out));
        QVERIFY(QFileInfo(socket).exists());

        QCOMPARE(::kill(pid_t(running.process.processId()), SIGCONT), 0);
        ChildProcess again(ZOR_APP_PATH, {}, environment);
        QCOMPARE(again.finish(), 0);
        QVERIFY2(again.out.isEmpty(), qPrintable(again.out));
        QCOMPARE(running.process.state(), QProcess::Running);
    }

    // From a terminal without a display, as over ssh, a later start still
    // hands its link over. With no app running it cannot open a window, and
    // says so rather than abort.
    void aStartWithoutADisplay() {
        QProcessEnvironment bare = environment;
        for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            bare.remove(name);
        // Qt may be told of its platform on the command line instead.
        for (const char* option : {"-platform", "--platform"}) {
            ChildProcess told(ZOR_APP_PATH, {option, "offscreen"}, bare);
            QTRY_VERIFY2_WITH_TIMEOUT(told.out.contains("Zor.app launched"), qPrintable(told.out),
                                      20000);
            QCOMPARE(::kill(pid_t(told.process.processId()), SIGTERM), 0);
            QCOMPARE(told.finish(), 0);
        }
        {
            ChildProcess alone(ZOR_APP_PATH, {"zor://prompt/" + kId}, bare);
            QCOMPARE(alone.finish(), 1);
            QVERIFY2(alone.out.contains("Zor cannot open its window: there is no display "
                                        "(DISPLAY and WAYLAND_DISPLAY are not set)\n"),
                     qPrintable(alone.out));
        }
        ChildProcess running(ZOR_APP_PATH, {}, environment);
        QTRY_VERIFY2_WITH_TIMEOUT(running.out.contains("Zor.app launched"), qPrintable(running.out),
                                  20000);
        ChildProcess link(ZOR_APP_PATH, {"zor://prompt/" + kId}, bare);
        QCOMPARE(link.finish(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(running.out.contains("No prompt found for " + kId.toUpper()),
                                 5000);
    }
};

QTEST_GUILESS_MAIN(TransportProcessTest)
#include "tst_transport_process.moc"
