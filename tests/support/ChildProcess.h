#pragma once

#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <csignal>

namespace zor::testing {

// A child process whose output, both channels, is collected as it comes; it
// is killed when the test lets go of it, stopped or not.
class ChildProcess {
public:
    ChildProcess(const QString& program, const QStringList& arguments,
                 const QProcessEnvironment& environment) {
        QObject::connect(&process, &QProcess::readyReadStandardOutput,
                         [this] { out += QString::fromUtf8(process.readAllStandardOutput()); });
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
    }
    ~ChildProcess() {
        // Only a process still there: a pid of 0 would wake every stopped
        // process of the test's group, other tests' children among them.
        if (const qint64 pid = process.processId(); pid > 0)
            ::kill(pid_t(pid), SIGCONT);
        process.kill();
        process.waitForFinished();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for the process to end, 20 seconds at most; its exit code, or
    // -1 when it crashed or is still running.
    int finish() {
        process.waitForFinished(20000);
        out += QString::fromUtf8(process.readAll());
        return process.state() == QProcess::NotRunning &&
                       process.exitStatus() == QProcess::NormalExit
                   ? process.exitCode()
                   : -1;
    }

    QProcess process;
    QString out;
};

// The environment of the real app as a test runs it: its sockets in
// `runtimeDir`, a private directory of the test's own, and Qt Quick drawing
// in software on `platform`. For a test started by hand too, the locale is
// the one ctest sets and what ctest clears is cleared.
inline QProcessEnvironment appEnvironment(const QString& runtimeDir, const QString& platform) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", runtimeDir);
    for (const char* name :
         {"ZOR_AGENT_SOCKET", "ZOR_INSTANCE_SOCKET", "LANGUAGE", "QT_HASH_SEED", "QT_LOGGING_RULES",
          "QT_DEBUG_PLUGINS", "QT_QPA_PLATFORMTHEME", "QT_SCALE_FACTOR", "DESTDIR",
          "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
        environment.remove(name);
    environment.insert("LC_ALL", "C.UTF-8");
    environment.insert("QT_QPA_PLATFORM", platform);
    environment.insert("QT_QUICK_BACKEND", "software");
    return environment;
}

// Runs a tool to its end, 15 seconds at most; its standard output, trimmed.
inline QString runTool(const QString& tool, const QStringList& arguments) {
    QProcess process;
    process.start(tool, arguments);
    if (!process.waitForFinished(15000))
        process.kill();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace zor::testing
