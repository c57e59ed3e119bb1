#pragma once

#include "platform/AdministratorScript.h"
#include "platform/Clipboard.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/NetworkFilter.h"
#include "platform/ServiceManagement.h"
#include "platform/SystemExtensions.h"
#include "platform/Workspace.h"
#include "shared/DaemonConnection.h"

#include <QList>
#include <QMutex>
#include <QStringList>
#include <deque>
#include <functional>

namespace zor::testing {

// Records every call to the service manager, with the virtual time it came at,
// and answers from scripted outcomes.
class FakeServiceManagement final : public ServiceManagement {
public:
    struct Call {
        QString service; // "daemon" or "agent"
        QString plistName;
        QString operation; // "status", "register", "unregister", "unregisterAsync"
        std::chrono::milliseconds at{0};
    };

    explicit FakeServiceManagement(const zor::Clock* clock = nullptr)
        : clock(clock) {}

    bool isSupported() const override { return isAvailable; }
    std::unique_ptr<AppService> daemonService(const QString& plistName) override;
    std::unique_ptr<AppService> agentService(const QString& plistName) override;

    // False plays a system without a service manager.
    bool isAvailable = true;

    // Scripted outcomes per service ("daemon"/"agent"). Register results are
    // consumed in order; once used up, registration succeeds.
    ServiceStatus daemonStatus = ServiceStatus::notRegistered;
    ServiceStatus agentStatus = ServiceStatus::notRegistered;
    std::deque<std::optional<PlatformError>> daemonRegisterResults;
    std::deque<std::optional<PlatformError>> agentRegisterResults;
    std::optional<PlatformError> daemonUnregisterResult;
    std::optional<PlatformError> agentUnregisterResult;

    QList<Call> calls() const;
    QStringList operations() const; // "daemon.register", ...
    int count(const QString& operation) const;

    const zor::Clock* clock;

private:
    friend class FakeAppService;
    void record(const QString& service, const QString& plist, const QString& operation);
    mutable QMutex mutex;
    QList<Call> recorded;
};

// Keeps the delegate of each request so that a test can play the system's part.
class FakeSystemExtensionManager final : public SystemExtensionManager {
public:
    void submitActivationRequest(const QString& bundleIdentifier,
                                 std::weak_ptr<SystemExtensionRequestDelegate> delegate) override {
        bundleIdentifiers.append(bundleIdentifier);
        delegates.append(delegate);
        if (onSubmit)
            onSubmit(delegate);
    }

    std::shared_ptr<SystemExtensionRequestDelegate> lastDelegate() const {
        return delegates.isEmpty() ? nullptr : delegates.last().lock();
    }

    QStringList bundleIdentifiers;
    QList<std::weak_ptr<SystemExtensionRequestDelegate>> delegates;
    // Optional: answers the request at once, as a system would later.
    std::function<void(std::weak_ptr<SystemExtensionRequestDelegate>)> onSubmit;
};

// An in-memory filter configuration; completions run at once on the calling thread.
class FakeFilterManager final : public FilterManager {
public:
    bool isSupported() const override { return isAvailable; }
    void loadFromPreferences(Completion completion) override {
        ++loadCount;
        completion(loadError);
    }
    void saveToPreferences(Completion completion) override {
        savedEnabledStates.append(enabled);
        std::optional<PlatformError> error;
        if (!saveErrors.empty()) {
            error = saveErrors.front();
            saveErrors.pop_front();
        }
        completion(error);
    }
    std::optional<FilterProviderConfiguration> providerConfiguration() const override {
        return configuration;
    }
    void setProviderConfiguration(const FilterProviderConfiguration& value) override {
        configuration = value;
    }
    QString localizedDescription() const override { return description; }
    void setLocalizedDescription(const QString& value) override { description = value; }
    bool isEnabled() const override { return enabled; }
    void setEnabled(bool value) override { enabled = value; }

    bool isAvailable = true; // false: a system without a content filter
    std::optional<PlatformError> loadError;
    std::deque<std::optional<PlatformError>> saveErrors; // consumed in order; then saves succeed
    std::optional<FilterProviderConfiguration> configuration;
    QString description;
    bool enabled = false;
    int loadCount = 0;
    QList<bool> savedEnabledStates; // the enabled flag at each save
};

// A daemon client whose answers the test sets; calls are counted.
class FakeDaemonConnection final : public DaemonConnection {
public:
    std::optional<DaemonStatusRecord> getStatus() override {
        QMutexLocker lock(&mutex);
        ++statusCalls;
        if (onGetStatus) {
            lock.unlock();
            onGetStatus();
            lock.relock();
        }
        return status;
    }
    bool pingNetworkExtension(std::optional<double>) override {
        QMutexLocker lock(&mutex);
        ++pingCalls;
        if (!pingAnswers.empty()) {
            const bool answer = pingAnswers.front();
            pingAnswers.pop_front();
            return answer;
        }
        return pingAnswer;
    }
    std::optional<QString> getNetworkExtensionBuildNumber() override {
        QMutexLocker lock(&mutex);
        return extensionBuildNumber;
    }

    mutable QMutex mutex;
    std::optional<DaemonStatusRecord> status;
    std::function<void()> onGetStatus; // runs inside getStatus, on the worker
    bool pingAnswer = true;
    std::deque<bool> pingAnswers; // consumed first
    std::optional<QString> extensionBuildNumber;
    int statusCalls = 0;
    int pingCalls = 0;
};

class FakeAdministratorScriptRunner final : public AdministratorScriptRunner {
public:
    bool isSupported() const override { return isAvailable; }
    ScriptRunResult run(const QString& source) override {
        sources.append(source);
        return result;
    }
    bool isAvailable = true; // false: a system without one
    ScriptRunResult result;
    QStringList sources;
};

class FakeWorkspace final : public Workspace {
public:
    bool openUrl(const QUrl& url) override {
        opened.append(url);
        return true;
    }
    void revealInFileManager(const QString& filePath) override { revealed.append(filePath); }
    QString revealInFileManagerLabel() const override { return QStringLiteral("Reveal"); }
    void openFile(const QString& filePath) override { openedFiles.append(filePath); }
    void runScriptInTerminal(const QString& scriptPath) override { scriptsRun.append(scriptPath); }
    QList<QUrl> opened;
    QStringList revealed;
    QStringList openedFiles;
    QStringList scriptsRun;
};

class FakeClipboard final : public Clipboard {
public:
    void setText(const QString& text) override { texts.append(text); }
    QStringList texts; // every text put on the clipboard, in order
};

// Collects printed lines; exit() records the status instead of ending the process.
class FakeConsole final : public Console {
public:
    void printLine(const QString& line) override { lines.append(line); }
    void exit(int status) override { exitStatuses.append(status); }

    QStringList lines;
    QList<int> exitStatuses;
};

} // namespace zor::testing
