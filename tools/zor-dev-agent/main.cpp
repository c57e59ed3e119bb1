// A stand-in for ZorAgent during development: serves prompt records to the app
// over the local transport and pushes changes typed on standard input.

#include "DevAgent.h"
#include "platform/local/LocalAgentMessages.h"
#include "platform/local/LocalAgentServer.h"
#include "shared/BuildNumber.h"
#include "shared/Identifiers.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

namespace {

void printTo(FILE* stream, const QString& line) {
    std::fputs(qPrintable(line + u'\n'), stream);
    std::fflush(stream);
}

// Reads command lines on a thread of its own, since standard input cannot be
// watched portably by the event loop, and hands each line to `receiver`'s
// thread. After "quit" it reads no further; at the end of input the
// application quits, once the lines before it have run.
void readCommands(QObject* receiver, std::function<void(const QString&)> run) {
    std::thread([receiver, run = std::move(run)] {
        std::string line;
        while (std::getline(std::cin, line)) {
            const QString text = QString::fromStdString(line);
            QMetaObject::invokeMethod(
                receiver, [run, text] { run(text); }, Qt::QueuedConnection);
            if (text.trimmed() == u"quit")
                return;
        }
        QMetaObject::invokeMethod(receiver, &QCoreApplication::quit, Qt::QueuedConnection);
    }).detach();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zor-dev-agent"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Serves prompts to Zor as its notification agent would. Commands on "
                       "standard input: add JSON, remove ID, clear SESSION, quit."));
    parser.addHelpOption();
    const QCommandLineOption promptsOption(
        QStringLiteral("prompts"), QStringLiteral("Prompt records to serve (a JSON array)."),
        QStringLiteral("file"));
    const QCommandLineOption buildNumberOption(QStringLiteral("build-number"),
                                               QStringLiteral("The build number to report."),
                                               QStringLiteral("text"), zor::zorBuildNumber());
    parser.addOption(promptsOption);
    parser.addOption(buildNumberOption);
    parser.process(app);

    const auto out = [](const QString& line) { printTo(stdout, line); };
    const auto err = [](const QString& line) {
        printTo(stderr, QStringLiteral("zor-dev-agent: ") + line);
    };
    zor::DevAgent agent(parser.value(buildNumberOption), zor::local::kMaxRecordLength, out, err);

    if (parser.isSet(promptsOption)) {
        QFile file(parser.value(promptsOption));
        if (!file.open(QIODevice::ReadOnly)) {
            err(QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString()));
            return 1;
        }
        if (!agent.loadPrompts(file.readAll()))
            return 1;
    }

    zor::LocalAgentServer server(agent);
    const zor::local::SocketPlace place =
        zor::local::agentSocketPlace(QString::fromLatin1(zor::kAgentMachServiceName));
    if (!place.hasPath()) {
        err(QStringLiteral("no private place for the socket: %1").arg(place.problem));
        return 1;
    }
    if (!server.listen(place.path)) {
        err(QStringLiteral("cannot listen on %1: %2").arg(place.path, server.errorString()));
        return 1;
    }
    agent.setApps(&server.apps());
    QObject::connect(&server, &zor::LocalAgentServer::appRefused, &app, [&](qint64 userId) {
        err(QStringLiteral("refused a connection from user %1").arg(userId));
    });
    QObject::connect(&server, &zor::LocalAgentServer::appConnected, &app,
                     [&] { err(QStringLiteral("app connected (%1)").arg(server.appCount())); });
    QObject::connect(&server, &zor::LocalAgentServer::appDisconnected, &app,
                     [&] { err(QStringLiteral("app disconnected (%1)").arg(server.appCount())); });
    QObject::connect(
        &server, &zor::LocalAgentServer::protocolError, &app,
        [&](const QString& reason) { err(QStringLiteral("dropped an app: ") + reason); });
    QObject::connect(&server, &zor::LocalAgentServer::sendFailed, &app,
                     [&](const QString& reason) { err(reason); });

    readCommands(&app, [&](const QString& line) {
        if (!agent.runCommand(line))
            QCoreApplication::quit();
    });
    out(QStringLiteral("listening on %1 with %2 prompts")
            .arg(server.fullServerName())
            .arg(agent.promptCount()));
    return app.exec();
}
