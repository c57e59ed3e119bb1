#include "ChildRun.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

namespace zor::testing {
namespace {

constexpr char kChildVariable[] = "ZOR_TEST_CHILD_RUN";

} // namespace

bool isChildRun() {
    return qEnvironmentVariable(kChildVariable) == QLatin1String(QTest::currentTestFunction());
}

ChildRun runInChild() {
    const QString function = QString::fromLatin1(QTest::currentTestFunction());
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(kChildVariable), function);
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    // Of a table's row, that row alone.
    const char* row = QTest::currentDataTag();
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("-nocrashhandler"),
                 row ? function + u':' + QString::fromUtf8(row) : function});
    child.waitForFinished(60000);
    return {child.exitStatus() == QProcess::CrashExit, child.readAll()};
}

} // namespace zor::testing
