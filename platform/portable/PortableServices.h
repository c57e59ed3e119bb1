#pragma once

// Implementations for systems that have no equivalent of the macOS services:
// each operation reports "not supported on this platform".

#include "platform/AdministratorScript.h"
#include "platform/Clipboard.h"
#include "platform/Console.h"
#include "platform/NetworkFilter.h"
#include "platform/ServiceManagement.h"
#include "platform/SystemExtensions.h"
#include "platform/Workspace.h"
#include "shared/DaemonConnection.h"

namespace zor {

class PortableServiceManagement final : public ServiceManagement {
public:
    bool isSupported() const override { return false; }
    std::unique_ptr<AppService> daemonService(const QString& plistName) override;
    std::unique_ptr<AppService> agentService(const QString& plistName) override;
};

class PortableSystemExtensionManager final : public SystemExtensionManager {
public:
    void submitActivationRequest(const QString& bundleIdentifier,
                                 std::weak_ptr<SystemExtensionRequestDelegate> delegate) override;
};

class PortableFilterManager final : public FilterManager {
public:
    bool isSupported() const override { return false; }
    void loadFromPreferences(Completion completion) override;
    void saveToPreferences(Completion completion) override;
    std::optional<FilterProviderConfiguration> providerConfiguration() const override;
    void setProviderConfiguration(const FilterProviderConfiguration& configuration) override;
    QString localizedDescription() const override;
    void setLocalizedDescription(const QString& description) override;
    bool isEnabled() const override;
    void setEnabled(bool enabled) override;

private:
    std::optional<FilterProviderConfiguration> configuration;
    QString description;
    bool enabled = false;
};

// No daemon runs on these systems, so it is never reachable.
class UnreachableDaemonConnection final : public DaemonConnection {
public:
    std::optional<DaemonStatusRecord> getStatus() override;
    bool pingNetworkExtension(std::optional<double> timeoutSeconds) override;
    std::optional<QString> getNetworkExtensionBuildNumber() override;
};

class PortableAdministratorScriptRunner final : public AdministratorScriptRunner {
public:
    bool isSupported() const override { return false; }
    ScriptRunResult run(const QString& source) override;
};

// The desktop's URL handlers, its file manager and a terminal where one is installed.
class DesktopWorkspace final : public Workspace {
public:
    bool openUrl(const QUrl& url) override;
    void revealInFileManager(const QString& filePath) override;
    QString revealInFileManagerLabel() const override;
    void openFile(const QString& filePath) override;
    void runScriptInTerminal(const QString& scriptPath) override;
};

// The command-line tool, installed beside the application's executable.
QString commandLineToolBesideExecutable();

class GuiClipboard final : public Clipboard {
public:
    void setText(const QString& text) override;
};

class StandardConsole final : public Console {
public:
    void printLine(const QString& line) override;
    void exit(int status) override;
};

} // namespace zor
