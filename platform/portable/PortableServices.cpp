#include "platform/portable/PortableServices.h"

#include "platform/Log.h"
#include "platform/portable/FileManagerReveal.h"
#include "platform/portable/LocalFileUrl.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QMetaObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <cstdio>
#include <cstdlib>

namespace zor {
namespace {

class PortableAppService final : public AppService {
public:
    ServiceStatus status() override { return ServiceStatus::notRegistered; }
    std::optional<PlatformError> registerService() override { return notSupportedError(); }
    std::optional<PlatformError> unregisterService() override { return notSupportedError(); }
    void unregisterService(Completion completion) override { completion(notSupportedError()); }
};

} // namespace

std::unique_ptr<AppService> PortableServiceManagement::daemonService(const QString&) {
    return std::make_unique<PortableAppService>();
}

std::unique_ptr<AppService> PortableServiceManagement::agentService(const QString&) {
    return std::make_unique<PortableAppService>();
}

void PortableSystemExtensionManager::submitActivationRequest(
    const QString&, std::weak_ptr<SystemExtensionRequestDelegate> delegate) {
    // The system answers later, on the main thread; so does this.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [delegate] {
            if (auto alive = delegate.lock())
                alive->requestDidFail(notSupportedError());
        },
        Qt::QueuedConnection);
}

void PortableFilterManager::loadFromPreferences(Completion completion) {
    completion(notSupportedError());
}

void PortableFilterManager::saveToPreferences(Completion completion) {
    completion(notSupportedError());
}

std::optional<FilterProviderConfiguration> PortableFilterManager::providerConfiguration() const {
    return configuration;
}

void PortableFilterManager::setProviderConfiguration(const FilterProviderConfiguration& value) {
    configuration = value;
}

QString PortableFilterManager::localizedDescription() const {
    return description;
}

void PortableFilterManager::setLocalizedDescription(const QString& value) {
    description = value;
}

bool PortableFilterManager::isEnabled() const {
    return enabled;
}

void PortableFilterManager::setEnabled(bool value) {
    enabled = value;
}

std::optional<DaemonStatusRecord> UnreachableDaemonConnection::getStatus() {
    return std::nullopt;
}

bool UnreachableDaemonConnection::pingNetworkExtension(std::optional<double>) {
    return false;
}

std::optional<QString> UnreachableDaemonConnection::getNetworkExtensionBuildNumber() {
    return std::nullopt;
}

ScriptRunResult PortableAdministratorScriptRunner::run(const QString&) {
    return ScriptRunResult{true, true, notSupportedError().localizedDescription};
}

bool DesktopWorkspace::openUrl(const QUrl& url) {
    return QDesktopServices::openUrl(url);
}

void DesktopWorkspace::revealInFileManager(const QString& filePath) {
    showInFileManager(filePath);
}

QString DesktopWorkspace::revealInFileManagerLabel() const {
    return QStringLiteral("Show in File Manager");
}

void DesktopWorkspace::openFile(const QString& filePath) {
    QDesktopServices::openUrl(localFileUrl(filePath));
}

void DesktopWorkspace::runScriptInTerminal(const QString& scriptPath) {
    // Terminals read the command after -e in their own ways, some through a
    // shell, so only a path that no parser splits or expands goes there. The
    // desktop gets any other path as a URL, which nothing runs as code.
    static const QRegularExpression plainPath(QStringLiteral("^/[A-Za-z0-9._/-]+$"));
    const QString terminal = QStandardPaths::findExecutable(QStringLiteral("x-terminal-emulator"));
    if (!terminal.isEmpty() && plainPath.match(scriptPath).hasMatch() &&
        QProcess::startDetached(terminal, {QStringLiteral("-e"), scriptPath}))
        return;
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(scriptPath)))
        logger(LogCategory::promptsView)
            .error("No terminal and no desktop handler could open the script %s", {scriptPath});
}

QString commandLineToolBesideExecutable() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/zor-cli");
}

void GuiClipboard::setText(const QString& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(text);
}

void StandardConsole::printLine(const QString& line) {
    std::fputs(line.toUtf8().append('\n').constData(), stdout);
    std::fflush(stdout);
}

void StandardConsole::exit(int status) {
    std::fflush(stdout);
    std::fflush(stderr);
    std::exit(status);
}

} // namespace zor
