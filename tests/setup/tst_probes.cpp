#include "FakePlatform.h"
#include "LogCapture.h"
#include "SetupTests.h"
#include "VirtualClock.h"
#include "platform/MainThread.h"
#include "setup/BuildNumberMatch.h"
#include "setup/CliLinkProbe.h"
#include "setup/CompletionAwaiter.h"
#include "setup/DaemonProbe.h"
#include "setup/FilterConfiguration.h"
#include "setup/NetworkExtensionProbe.h"
#include "setup/SystemExtensionDelegate.h"
#include "shared/BuildNumber.h"
#include "shared/Identifiers.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <thread>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

// A bare coroutine whose frame the test owns, so that one left suspended on
// purpose is still freed.
class OwnedCoroutine {
public:
    struct promise_type {
        OwnedCoroutine get_return_object() {
            return OwnedCoroutine(std::coroutine_handle<promise_type>::from_promise(*this));
        }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_always final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
    explicit OwnedCoroutine(std::coroutine_handle<promise_type> handle)
        : handle(handle) {}
    OwnedCoroutine(OwnedCoroutine&& other) noexcept
        : handle(std::exchange(other.handle, {})) {}
    ~OwnedCoroutine() {
        if (handle)
            handle.destroy();
    }

private:
    std::coroutine_handle<promise_type> handle;
};

struct Received {
    QList<int> values;
    bool wasOnMainThread = false;
};

OwnedCoroutine awaitInto(QObject* context, std::function<void(std::function<void(int)>)> start,
                         Received& received) {
    received.values.append(co_await awaitCompletion<int>(context, std::move(start)));
    received.wasOnMainThread = isMainThread();
}

PlatformError failure(const char* text) {
    return PlatformError{QString::fromLatin1(text), 1};
}

// Completes every call from a pool thread, as the system's filter manager may.
class OffThreadFilterManager final : public FilterManager {
public:
    void loadFromPreferences(Completion completion) override {
        QThreadPool::globalInstance()->start(
            [this, completion] { inner.loadFromPreferences(completion); });
    }
    void saveToPreferences(Completion completion) override {
        QThreadPool::globalInstance()->start(
            [this, completion] { inner.saveToPreferences(completion); });
    }
    std::optional<FilterProviderConfiguration> providerConfiguration() const override {
        return inner.providerConfiguration();
    }
    void setProviderConfiguration(const FilterProviderConfiguration& value) override {
        inner.setProviderConfiguration(value);
    }
    QString localizedDescription() const override { return inner.localizedDescription(); }
    void setLocalizedDescription(const QString& value) override {
        inner.setLocalizedDescription(value);
    }
    bool isEnabled() const override { return inner.isEnabled(); }
    void setEnabled(bool value) override {
        wereChangesOnMainThread = wereChangesOnMainThread && isMainThread();
        inner.setEnabled(value);
    }

    FakeFilterManager inner;
    bool wereChangesOnMainThread = true;
};

} // namespace

class ProbeTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QThreadPool::globalInstance()->waitForDone(); }

    void endpointSecurityCodes_data() {
        QTest::addColumn<qint32>("code");
        QTest::addColumn<DaemonStatus>("status");
        QTest::addColumn<QString>("line"); // empty: nothing logged

        using D = DaemonStatus;
        QTest::newRow("0 success") << 0 << D::ok << QString();
        QTest::newRow("1 invalid argument")
            << 1 << D::esInvalidArgument
            << "unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INVALID_ARGUMENT";
        QTest::newRow("2 internal")
            << 2 << D::esInternalError
            << "unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_INTERNAL";
        QTest::newRow("3 not entitled")
            << 3 << D::esNotEntitled
            << "unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_ENTITLED";
        QTest::newRow("4 not permitted")
            << 4 << D::needAuthForFullDiskAccess
            << "Zor does not yet have full disk access (ES_NEW_CLIENT_RESULT_ERR_NOT_PERMITTED)";
        QTest::newRow("5 not privileged")
            << 5 << D::esNotPrivileged
            << "unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_NOT_PRIVILEGED";
        QTest::newRow("6 too many clients")
            << 6 << D::esTooManyClients
            << "unexpected ES client result: ES_NEW_CLIENT_RESULT_ERR_TOO_MANY_CLIENTS";
        QTest::newRow("7 unknown") << 7 << D::cannotConnect << "unexpected ES client result: 7";
        QTest::newRow("-1 unknown") << -1 << D::cannotConnect << "unexpected ES client result: -1";
    }

    void endpointSecurityCodes() {
        QFETCH(qint32, code);
        QFETCH(QString, line);
        FakeDaemonConnection connection;
        connection.status = DaemonStatusRecord{code, QStringLiteral("1.0"), zorBuildNumber()};
        FakeServiceManagement services;
        LogCapture log;

        QTEST(checkDaemon(connection, services), "status");
        const QList<LogRecord> records = log.records();
        QCOMPARE(records.size(), line.isEmpty() ? 0 : 1);
        if (!line.isEmpty()) {
            QCOMPARE(records[0].message(), line);
            QCOMPARE(records[0].level, LogLevel::error);
            QCOMPARE(records[0].category, LogCategory::setup);
            QCOMPARE(records[0].redactedMessage(), line); // the code is public
        }
        QVERIFY(services.calls().isEmpty()); // an answering daemon needs no service lookup
    }

    void buildNumbers_data() {
        QTest::addColumn<QString>("reported");
        QTest::addColumn<bool>("isCurrent");
        const QString current = zorBuildNumber();
        QTest::newRow("same") << current << true;
        QTest::newRow("newer") << current + u'1' << false;
        QTest::newRow("older") << current.chopped(1) << false;
        QTest::newRow("empty") << QString() << false;
    }

    void buildNumbers() {
        QFETCH(QString, reported);
        QTEST(isCurrentBuildNumber(reported), "isCurrent");
    }

    void unreachableDaemonAsksTheServiceManager_data() {
        QTest::addColumn<ServiceStatus>("service");
        QTest::addColumn<DaemonStatus>("status");
        QTest::newRow("awaiting approval")
            << ServiceStatus::requiresApproval << DaemonStatus::needAuthForDaemonService;
        QTest::newRow("enabled") << ServiceStatus::enabled << DaemonStatus::cannotConnect;
        QTest::newRow("not registered")
            << ServiceStatus::notRegistered << DaemonStatus::cannotConnect;
        QTest::newRow("not found") << ServiceStatus::notFound << DaemonStatus::cannotConnect;
    }

    void unreachableDaemonAsksTheServiceManager() {
        FakeDaemonConnection connection; // no status: unreachable
        FakeServiceManagement services;
        QFETCH(ServiceStatus, service);
        services.daemonStatus = service;
        QTEST(checkDaemon(connection, services), "status");
        QCOMPARE(services.operations(), QStringList{"daemon.status"});
        QCOMPARE(services.calls().first().plistName, QString::fromLatin1(kDaemonPlistName));
    }

    void linkProbe_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<CLISymlinkStatus>("status");
        using L = CLISymlinkStatus;
        QTest::newRow("nothing") << "nothing" << L::missing;
        QTest::newRow("dangling link") << "dangling" << L::missing;
        QTest::newRow("regular file") << "file" << L::notASymlink;
        QTest::newRow("link to the tool") << "absolute" << L::ok;
        QTest::newRow("relative link to the tool") << "relative" << L::wrongTarget;
        QTest::newRow("link elsewhere") << "elsewhere" << L::wrongTarget;
    }

    void linkProbe() {
        QFETCH(QString, setup);
        QTemporaryDir dir;
        const CliLinkPaths paths{dir.filePath("bin/zor"), dir.filePath("bin"),
                                 dir.filePath("Zor.app/Contents/MacOS/zor-cli")};
        QVERIFY(QDir().mkpath(paths.linkDirectory));
        QVERIFY(QDir().mkpath(dir.filePath("Zor.app/Contents/MacOS")));
        QFile tool(paths.linkTarget);
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.close();
        QFile other(dir.filePath("other"));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.close();

        if (setup == "dangling")
            QVERIFY(QFile::link(dir.filePath("gone"), paths.linkPath));
        if (setup == "file")
            QVERIFY(QFile::copy(paths.linkTarget, paths.linkPath));
        if (setup == "absolute")
            QVERIFY(QFile::link(paths.linkTarget, paths.linkPath));
        if (setup == "relative") {
            QVERIFY(QFile::link("../Zor.app/Contents/MacOS/zor-cli", paths.linkPath));
            QVERIFY(QFileInfo(paths.linkPath).canonicalFilePath() ==
                    QFileInfo(paths.linkTarget).canonicalFilePath());
        }
        if (setup == "elsewhere")
            QVERIFY(QFile::link(other.fileName(), paths.linkPath));

        QTEST(checkCLISymlink(paths), "status");
    }

    void completionReportedDuringTheCallDoesNotSuspend() {
        QObject context;
        Received received;
        const OwnedCoroutine flow = awaitInto(
            &context, [](std::function<void(int)> done) { done(7); }, received);
        QCOMPARE(received.values, QList<int>{7}); // no event loop turn needed
        QVERIFY(received.wasOnMainThread);
    }

    void completionFromAnotherThreadResumesOnTheMainThread() {
        QObject context;
        Received received;
        std::thread reporter;
        const OwnedCoroutine flow = awaitInto(
            &context,
            [&](std::function<void(int)> done) {
                reporter = std::thread([done] {
                    done(1);
                    done(2); // a second report is dropped
                });
            },
            received);
        reporter.join();
        QTRY_COMPARE(received.values, QList<int>{1});
        QVERIFY(received.wasOnMainThread);
    }

    void completionAfterTheContextIsGoneResumesNothing() {
        Received received;
        std::function<void(int)> report;
        auto context = std::make_unique<QObject>();
        const OwnedCoroutine flow = awaitInto(
            context.get(), [&](std::function<void(int)> done) { report = done; }, received);
        context.reset();
        report(3);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        QVERIFY(received.values.isEmpty());
    }

    void enableFilter_data() {
        QTest::addColumn<bool>("wasEnabled");
        QTest::addColumn<bool>("loadFails");
        QTest::addColumn<QList<bool>>("saveFails");
        QTest::addColumn<QList<bool>>("saved");
        QTest::addColumn<QStringList>("lines");

        const QString cycling = "Filter already enabled, cycling to force startFilter()";
        QTest::newRow("disabled: saved once")
            << false << false << QList<bool>{} << QList<bool>{true}
            << QStringList{"Network filter enabled successfully"};
        QTest::newRow("enabled: saved off, then on")
            << true << false << QList<bool>{} << QList<bool>{false, true}
            << QStringList{cycling, "Network filter re-enabled successfully"};
        QTest::newRow("load fails") << true << true << QList<bool>{} << QList<bool>{}
                                    << QStringList{"Failed to load filter preferences: denied"};
        QTest::newRow("switching off fails")
            << true << false << QList<bool>{true} << QList<bool>{false}
            << QStringList{cycling, "Failed to disable filter for cycle: denied"};
        QTest::newRow("switching on again fails")
            << true << false << QList<bool>{false, true} << QList<bool>{false, true}
            << QStringList{cycling, "Failed to enable filter: denied"};
        QTest::newRow("enabling fails") << false << false << QList<bool>{true} << QList<bool>{true}
                                        << QStringList{"Failed to enable filter: denied"};
    }

    void enableFilter() {
        QFETCH(bool, wasEnabled);
        QFETCH(bool, loadFails);
        QFETCH(QList<bool>, saveFails);
        FakeFilterManager filter;
        filter.enabled = wasEnabled;
        filter.configuration = FilterProviderConfiguration{true, true};
        filter.description = "Mine";
        if (loadFails)
            filter.loadError = failure("denied");
        for (bool fails : saveFails)
            filter.saveErrors.push_back(fails ? std::optional(failure("denied")) : std::nullopt);
        LogCapture log;
        QObject context;

        bool isDone = false;
        enableFilterConfiguration(&context, filter).then([&] { isDone = true; });
        QTRY_VERIFY(isDone);
        QTEST(filter.savedEnabledStates, "saved");
        QTEST(log.messages(LogCategory::setup), "lines");
        // An existing configuration is kept as it is.
        QVERIFY(filter.configuration->filterPackets);
        QCOMPARE(filter.description, QStringLiteral("Mine"));
    }

    void enableFilterCreatesAMissingConfiguration() {
        FakeFilterManager filter;
        QObject context;
        bool isDone = false;
        enableFilterConfiguration(&context, filter).then([&] { isDone = true; });
        QTRY_VERIFY(isDone);
        QVERIFY(filter.configuration.has_value());
        QVERIFY(filter.configuration->filterSockets);
        QVERIFY(!filter.configuration->filterPackets);
        QCOMPARE(filter.description, QStringLiteral("Zor"));
        QCOMPARE(filter.savedEnabledStates, QList<bool>{true});
    }

    void enableFilterActsOnTheMainThreadWhateverThreadCompletes() {
        OffThreadFilterManager filter;
        filter.inner.enabled = true;
        QObject context;
        bool isDone = false;
        enableFilterConfiguration(&context, filter).then([&] { isDone = true; });
        QTRY_VERIFY(isDone);
        QCOMPARE(filter.inner.savedEnabledStates, (QList<bool>{false, true}));
        QVERIFY(filter.wereChangesOnMainThread);
    }

    void extensionProbe_data() {
        QTest::addColumn<bool>("loadFails");
        QTest::addColumn<bool>("isEnabled");
        QTest::addColumn<DaemonStatus>("daemon");
        QTest::addColumn<QList<bool>>("pings");
        QTest::addColumn<std::optional<QString>>("build");
        QTest::addColumn<NEStatus>("status");
        QTest::addColumn<int>("pingCount");

        using D = DaemonStatus;
        using N = NEStatus;
        const std::optional<QString> current = zorBuildNumber();
        const std::optional<QString> other = QStringLiteral("1");
        const std::optional<QString> none;
        const QList<bool> answers{true};
        QTest::newRow("healthy") << false << true << D::ok << answers << current << N::ok << 1;
        QTest::newRow("no build number counts as current")
            << false << true << D::ok << answers << none << N::ok << 1;
        QTest::newRow("other build")
            << false << true << D::ok << answers << other << N::staleVersion << 1;
        QTest::newRow("preferences unreadable")
            << true << true << D::ok << answers << current << N::cannotLoadPreferences << 0;
        QTest::newRow("filter off")
            << false << false << D::ok << answers << current << N::needAuthForNetworkFilter << 0;
        QTest::newRow("daemon unreachable") << false << true << D::cannotConnect << answers
                                            << current << N::cannotConnectToDaemon << 0;
        QTest::newRow("daemon awaiting approval")
            << false << true << D::needAuthForDaemonService << answers << current
            << N::cannotConnectToDaemon << 0;
        QTest::newRow("daemon without disk access")
            << false << true << D::needAuthForFullDiskAccess << answers << current
            << N::cannotConnectToDaemon << 0;
        QTest::newRow("daemon outdated still asks")
            << false << true << D::staleVersion << answers << current << N::ok << 1;
        QTest::newRow("daemon ES error still asks")
            << false << true << D::esInternalError << answers << current << N::ok << 1;
        QTest::newRow("no answer twice") << false << true << D::ok << QList<bool>{false, false}
                                         << current << N::cannotConnect << 2;
    }

    void extensionProbe() {
        QFETCH(bool, loadFails);
        QFETCH(bool, isEnabled);
        QFETCH(DaemonStatus, daemon);
        QFETCH(QList<bool>, pings);
        QFETCH(std::optional<QString>, build);
        VirtualClock clock;
        FakeFilterManager filter;
        filter.enabled = isEnabled;
        if (loadFails)
            filter.loadError = failure("gone");
        FakeDaemonConnection connection;
        connection.pingAnswers.assign(pings.begin(), pings.end());
        connection.extensionBuildNumber = build;
        QObject context;

        std::optional<NEStatus> result;
        checkNetworkExtension(&context, clock, filter, connection, [&] {
            return daemon;
        }).then([&](NEStatus status) { result = status; });
        // The 4-second pause before a second ping passes in virtual time.
        QVERIFY(QTest::qWaitFor(
            [&] {
                clock.advance(100ms);
                return result.has_value();
            },
            5000));
        QTEST(*result, "status");
        QTEST(connection.pingCalls, "pingCount");
    }

    void silentExtensionGetsOneReenableAndOnePingFourSecondsLater() {
        VirtualClock clock;
        FakeFilterManager filter;
        filter.enabled = true;
        filter.configuration = FilterProviderConfiguration{true, false};
        FakeDaemonConnection connection;
        connection.pingAnswers = {false, true};
        LogCapture log;
        QObject context;

        std::optional<NEStatus> result;
        checkNetworkExtension(&context, clock, filter, connection, [] {
            return DaemonStatus::ok;
        }).then([&](NEStatus status) { result = status; });
        QTRY_COMPARE(clock.pendingTimerCount(), 1);
        QCOMPARE(log.messages().first(),
                 QStringLiteral("NE not responding, re-enabling filter configuration"));
        QCOMPARE(filter.savedEnabledStates, (QList<bool>{false, true}));
        QCOMPARE(connection.pingCalls, 1);

        clock.advance(3999ms);
        QCOMPARE(connection.pingCalls, 1);
        clock.advance(1ms);
        QTRY_COMPARE(result, std::optional(NEStatus::ok));
        QCOMPARE(connection.pingCalls, 2);
        QCOMPARE(filter.savedEnabledStates.size(), 2); // re-enabled once only
    }

    void delegateReportsEveryAnswer_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<SystemExtensionDelegate::Result::Kind>("kind");
        QTest::addColumn<QString>("line");
        QTest::addColumn<LogLevel>("level");

        using K = SystemExtensionDelegate::Result::Kind;
        QTest::newRow("approval") << "approval" << K::requiresApproval
                                  << "Network extension requires user approval in System Settings"
                                  << LogLevel::info;
        QTest::newRow("completed") << "completed" << K::success
                                   << "Network extension activation completed" << LogLevel::info;
        QTest::newRow("after reboot")
            << "reboot" << K::needsReboot << "Network extension will complete after reboot"
            << LogLevel::info;
        QTest::newRow("unknown result")
            << "unknown" << K::success << "Unknown result: 7" << LogLevel::error;
        QTest::newRow("failed") << "failed" << K::failure
                                << "Network extension request failed: denied" << LogLevel::error;
    }

    void delegateReportsEveryAnswer() {
        QFETCH(QString, answer);
        QList<SystemExtensionDelegate::Result> results;
        SystemExtensionDelegate delegate(
            [&](const SystemExtensionDelegate::Result& result) { results.append(result); });
        LogCapture log;

        if (answer == "approval")
            delegate.requestNeedsUserApproval();
        if (answer == "completed")
            delegate.requestDidFinish(RequestResult::completed);
        if (answer == "reboot")
            delegate.requestDidFinish(RequestResult::willCompleteAfterReboot);
        if (answer == "unknown")
            delegate.requestDidFinish(RequestResult(7));
        if (answer == "failed")
            delegate.requestDidFail(failure("denied"));

        QCOMPARE(results.size(), 1);
        QTEST(results[0].kind, "kind");
        QCOMPARE(results[0].error.has_value(), answer == "failed");
        QCOMPARE(log.records().size(), 1);
        QTEST(log.records()[0].message(), "line");
        QTEST(log.records()[0].level, "level");
    }

    void delegateAlwaysReplacesTheOlderExtension() {
        SystemExtensionDelegate delegate([](const auto&) {});
        LogCapture log;
        const ReplacementAction action = delegate.actionForReplacingExtension(
            {kNetworkExtensionBundleId, "41", "1.0"}, {kNetworkExtensionBundleId, "42", "1.1"});
        QCOMPARE(action, ReplacementAction::replace);
        QCOMPARE(log.messages(), QStringList{"Replacing existing extension 41 with 42"});
    }
};

int runProbeTests(int argc, char** argv) {
    ProbeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_probes.moc"
