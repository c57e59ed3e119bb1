#pragma once

#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace zor::testing {

// A child process whose output, both channels, is collected as it comes; it
// is killed when the test lets go of it.
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
        process.kill();
        process.waitForFinished();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    QProcess process;
    QString out;
};

// Runs a tool to its end, 15 seconds at most; its standard output, trimmed.
inline QString runTool(const QString& tool, const QStringList& arguments) {
    QProcess process;
    process.start(tool, arguments);
    if (!process.waitForFinished(15000))
        process.kill();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace zor::testing
