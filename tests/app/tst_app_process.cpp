// The real zor process, offscreen beside zor-dev-agent, in a runtime
// directory of its own and off the desktop's session bus: how it ends.

#include "ChildProcess.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

using zor::testing::appEnvironment;
using zor::testing::ChildProcess;

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

        QTemporaryDir runtime;
        const QString instanceSocket = runtime.filePath("zor.instance");
        QProcessEnvironment environment = appEnvironment(runtime.path(), "offscreen");
        environment.insert("ZOR_INSTANCE_SOCKET", instanceSocket);
        environment.insert("ZOR_AGENT_SOCKET", runtime.filePath("zor.agent"));
        environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + runtime.filePath("no-bus"));

        ChildProcess agent(ZOR_DEV_AGENT_PATH, {"--prompts", ZOR_SAMPLE_PROMPTS}, environment);
        QTRY_VERIFY_WITH_TIMEOUT(agent.out.contains("listening on "), 20000);
        ChildProcess app(ZOR_APP_PATH, {}, environment);
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
};

QTEST_GUILESS_MAIN(AppProcessTest)
#include "tst_app_process.moc"
