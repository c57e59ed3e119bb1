// The real zor process, offscreen beside zor-dev-agent, in a runtime
// directory of its own and off the desktop's session bus: how it ends, and
// how the desktop starts it by its installed entry.

#include "ChildProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <optional>
#include <unistd.h>

using zor::testing::appEnvironment;
using zor::testing::ChildProcess;

namespace {

// A runtime directory of the test's own, off the desktop's session bus, with
// zor-dev-agent serving the sample's prompts there: the world an app runs in.
struct AgentBeside {
    QTemporaryDir runtime;
    const QString instanceSocket = runtime.filePath("zor.instance");
    QProcessEnvironment environment = appEnvironment(runtime.path(), "offscreen");
    std::optional<ChildProcess> agent;

    AgentBeside() {
        environment.insert("ZOR_INSTANCE_SOCKET", instanceSocket);
        environment.insert("ZOR_AGENT_SOCKET", runtime.filePath("zor.agent"));
        environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + runtime.filePath("no-bus"));
        agent.emplace(ZOR_DEV_AGENT_PATH, QStringList{"--prompts", ZOR_SAMPLE_PROMPTS},
                      environment);
    }
    [[nodiscard]] bool isListening() {
        return QTest::qWaitFor([this] { return agent->out.contains("listening on "); }, 20000);
    }
};

} // namespace

class AppProcessTest : public QObject {
    Q_OBJECT

private slots:
    void terminationSignalsQuitTheApp_data() {
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("name");
        QTest::newRow("a service manager's stop") << SIGTERM << "SIGTERM";
        QTest::newRow("Ctrl+C in the terminal") << SIGINT << "SIGINT";
        QTest::newRow("the terminal closed") << SIGHUP << "SIGHUP";
    }

    // As quitting does: the agent link closes with its line, the instance
    // socket goes, and the app ends well.
    void terminationSignalsQuitTheApp() {
        QFETCH(int, signal);
        QFETCH(QString, name);

        AgentBeside world;
        QVERIFY(world.isListening());
        const QString& instanceSocket = world.instanceSocket;
        ChildProcess app(ZOR_APP_PATH, {}, world.environment);
        QTRY_VERIFY2_WITH_TIMEOUT(app.out.contains("Synced 20 prompts from ZorAgent"),
                                  qPrintable(app.out), 20000);
        QVERIFY(QFileInfo::exists(instanceSocket));

        QCOMPARE(::kill(pid_t(app.process.processId()), signal), 0);
        QVERIFY2(app.process.waitForFinished(20000), qPrintable(app.out));
        QCOMPARE(app.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.process.exitCode(), 0);
        const qsizetype request = app.out.indexOf("Termination requested by " + name);
        QVERIFY2(request >= 0, qPrintable(app.out));
        QVERIFY2(app.out.indexOf("Disconnected from ZorAgent") > request, qPrintable(app.out));
        QVERIFY(!QFileInfo::exists(instanceSocket));
    }

    void aClosedOutputDoesNotEndTheApp_data() {
        QTest::addColumn<bool>("isClosedAtStart");
        QTest::newRow("its reader gone") << false;
        QTest::newRow("closed at start") << true;
    }

    // Whoever read the app's output may go first: a pager closed, or
    // `zor | head`; or the output was closed before it started (`zor 2>&-`).
    // A line written after that is lost, never written into another file the
    // app opened under its number; the app runs on.
    void aClosedOutputDoesNotEndTheApp() {
        QFETCH(bool, isClosedAtStart);
        AgentBeside world;
        QVERIFY(world.isListening());
        const QString& instanceSocket = world.instanceSocket;

        QProcess app;
        app.setProcessEnvironment(world.environment);
        app.setProcessChannelMode(QProcess::ForwardedChannels);
        if (isClosedAtStart) {
            app.setChildProcessModifier([] {
                ::close(1);
                ::close(2);
            });
        } else {
            app.setChildProcessModifier([] {
                // Both outputs into a pipe nobody reads any more.
                int ends[2];
                if (::pipe(ends) != 0 || ::close(ends[0]) != 0 || ::dup2(ends[1], 1) < 0 ||
                    ::dup2(ends[1], 2) < 0)
                    _exit(127);
            });
        }
        app.start(ZOR_APP_PATH, {});
        const auto stop = qScopeGuard([&app] {
            app.kill();
            app.waitForFinished();
        });
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(instanceSocket), 20000);
        if (isClosedAtStart) {
            for (const int stream : {1, 2})
                QCOMPARE(
                    QFileInfo(QStringLiteral("/proc/%1/fd/%2").arg(app.processId()).arg(stream))
                        .symLinkTarget(),
                    "/dev/null");
        }

        // It takes a later start, and logs that, as a running app does.
        ChildProcess later(ZOR_APP_PATH, {}, world.environment);
        QCOMPARE(later.finish(), 0);
        QCOMPARE(app.state(), QProcess::Running);
        QCOMPARE(::kill(pid_t(app.processId()), SIGTERM), 0);
        QVERIFY(app.waitForFinished(20000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 0);
        QVERIFY(!QFileInfo::exists(instanceSocket));
    }

    void theDesktopStartsTheAppWhereverItIsInstalled_data() {
        QTest::addColumn<QString>("prefix");
        QTest::newRow("plain") << "zor";
        QTest::newRow("a space") << "Zor Apps";
        QTest::newRow("a shell's characters") << R"(a "b" $HOME `c`)";
        QTest::newRow("a line break and a tab") << "a\nb\tc";
    }

    // Installed under the prefix, the entry's Exec line is read by GLib as
    // xdg-open and the desktops do. The installed program is then swapped for
    // a stand-in that writes down its arguments: the link must arrive alone.
    void theDesktopStartsTheAppWhereverItIsInstalled() {
        QFETCH(QString, prefix);
        const QString gio = QStandardPaths::findExecutable("gio");
        if (gio.isEmpty())
            QSKIP("gio is not installed; scripts/install-deps.sh installs it");

        QTemporaryDir dir;
        const QString root = dir.filePath(prefix);
        QProcess install;
        install.setProcessChannelMode(QProcess::MergedChannels);
        install.start(ZOR_CMAKE_COMMAND, {"--install", ZOR_BUILD_DIR, "--prefix", root});
        QVERIFY(install.waitForFinished(60000));
        QVERIFY2(install.exitCode() == 0, install.readAll().constData());

        const QString program = root + "/" ZOR_INSTALL_BINDIR "/zor";
        QVERIFY(QFile::remove(program));
        QFile standIn(program);
        QVERIFY(standIn.open(QIODevice::WriteOnly));
        standIn.write("#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" > \"$ZOR_TEST_RECORD\"\n");
        standIn.close();
        QVERIFY(standIn.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

        const QString record = dir.filePath("record");
        QProcessEnvironment environment;
        environment.insert("PATH", "/usr/bin:/bin");
        environment.insert("HOME", dir.path());
        environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + dir.filePath("no-bus"));
        environment.insert("ZOR_TEST_RECORD", record);
        const QString link = "zor://prompt/8d3c1e2a-5b4f-4c6d-9e7a-0f1b2c3d4e5f";
        const QString entry =
            root + "/" ZOR_INSTALL_DATADIR "/applications/com.zorlabs.zor.desktop";
        ChildProcess launch(gio, {"launch", entry, link}, environment);
        QVERIFY2(launch.finish() == 0, qPrintable(launch.out));

        QFile recorded(record);
        QTRY_VERIFY_WITH_TIMEOUT(recorded.exists() && recorded.size() > 0, 20000);
        QVERIFY(recorded.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(recorded.readAll()), program + "\n" + link + "\n");
    }
};

QTEST_GUILESS_MAIN(AppProcessTest)
#include "tst_app_process.moc"
