#include "VirtualClock.h"
#include "platform/macos/ExportedObjectGate.h"
#include "platform/macos/LogFormats.h"
#include "platform/macos/NoticeCategories.h"
#include "platform/macos/PeerRequirement.h"
#include "platform/macos/PendingCalls.h"
#include "platform/macos/ReplyWait.h"
#include "platform/macos/SystemValues.h"
#include "platform/macos/TitleBarLayout.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

struct LogFormat {
    QString format;
    QStringList kinds;
};

#define ZOR_TEST_FORMAT_0(f) {QStringLiteral(f), {}},
#define ZOR_TEST_FORMAT_1(f, a) {QStringLiteral(f), {#a}},
#define ZOR_TEST_FORMAT_2(f, a, b) {QStringLiteral(f), {#a, #b}},
#define ZOR_TEST_FORMAT_3(f, a, b, c) {QStringLiteral(f), {#a, #b, #c}},
const QList<LogFormat> kFormats = {
    ZOR_LOG_FORMATS(ZOR_TEST_FORMAT_0, ZOR_TEST_FORMAT_1, ZOR_TEST_FORMAT_2, ZOR_TEST_FORMAT_3)};

// The value kind each placeholder takes, as os_log reads its argument.
QStringList placeholderKinds(const QString& format) {
    static const QRegularExpression placeholder(QStringLiteral("%(?:\\{\\w+\\})?(l?)([sdf])"));
    QStringList kinds;
    for (const auto& match : placeholder.globalMatch(format)) {
        const QString conversion = match.captured(1) + match.captured(2);
        kinds << (conversion == u"s"    ? QStringLiteral("STR")
                  : conversion == u"d"  ? QStringLiteral("INT")
                  : conversion == u"ld" ? QStringLiteral("LONG")
                  : conversion == u"f"  ? QStringLiteral("DOUBLE")
                                        : conversion);
    }
    return kinds;
}

// The format literals of every log call in `source`: the first argument of
// .debug/.info/.error/.fault or of a `logged` helper, adjacent literals joined,
// each branch of a conditional on its own.
QStringList logFormatsIn(const QString& source) {
    static const QString literals = uR"re(((?:"(?:[^"\\]|\\.)*"\s*)+))re"_qs;
    static const QRegularExpression call(
        uR"re((?:(?:\.|->)(?:debug|info|error|fault)|\blogged)\(\s*(?:\w+\s*\?\s*)?)re"_qs +
        literals + u"(?::\\s*"_qs + literals + u")?"_qs);
    static const QRegularExpression literal(uR"re("((?:[^"\\]|\\.)*)")re"_qs);
    QStringList formats;
    for (const auto& match : call.globalMatch(source))
        for (const QString& branch : {match.captured(1), match.captured(2)})
            if (!branch.isEmpty()) {
                formats.append(QString());
                for (const auto& part : literal.globalMatch(branch))
                    formats.last() += part.captured(1);
            }
    return formats;
}

class Callbacks final : public ZorAppCallbackProtocol {
public:
    void promptAddedWithPromptData(const QByteArray&) override {}
    void promptRemovedWithPromptId(const QString& promptId) override { removed << promptId; }
    void promptsClearedWithSessionId(const QString&) override {}
    QStringList removed;
};

} // namespace

class MacosTest : public QObject {
    Q_OBJECT

private slots:
    void systemValuesMapToThePlatformValues() {
        for (const auto& [raw, status] : {std::pair{0L, ServiceStatus::notRegistered},
                                          {1L, ServiceStatus::enabled},
                                          {2L, ServiceStatus::requiresApproval},
                                          {3L, ServiceStatus::notFound},
                                          {-1L, ServiceStatus::notFound}})
            QCOMPARE(serviceStatusFromSystem(raw), status);

        QCOMPARE(requestResultFromSystem(0), RequestResult::completed);
        QCOMPARE(requestResultFromSystem(1), RequestResult::willCompleteAfterReboot);
        QCOMPARE(int(requestResultFromSystem(7)), 7);
        QCOMPARE(replacementActionToSystem(ReplacementAction::replace), 1L);
        QCOMPARE(replacementActionToSystem(ReplacementAction::cancel), 0L);

        QCOMPARE(errorFromSystem(u"denied"_qs, 1).localizedDescription, u"denied"_qs);
        QCOMPARE(errorFromSystem(QString(), 4).localizedDescription, u"Unknown error"_qs);
    }

    void everyCallEndsOnce() {
        PendingCalls calls;
        QStringList ends;
        auto onError = [&](const QString& name) {
            return [&ends, name](const PlatformError& error) {
                ends << name + u':' + error.localizedDescription;
            };
        };
        const auto replied = calls.open(onError(QStringLiteral("replied")));
        const auto failed = calls.open(onError(QStringLiteral("failed")));
        const auto open = calls.open(onError(QStringLiteral("open")));

        QVERIFY(calls.finish(replied));
        calls.fail(replied, {QStringLiteral("late"), 1});
        calls.fail(failed, {QStringLiteral("proxy"), 2});
        QVERIFY(!calls.finish(failed));
        // A handler may start the next call while the connection's end is reported.
        calls.failAll({QStringLiteral("invalidated"), 4099});
        calls.failAll({QStringLiteral("again"), 4099});
        QVERIFY(!calls.finish(open));

        QCOMPARE(ends, (QStringList{"failed:proxy", "open:invalidated"}));
    }

    void aReplyWaitTakesTheFirstEnd() {
        VirtualClock clock;
        ReplyWait<QString> answered;
        answered.answer(QStringLiteral("1000"));
        answered.fail();
        QCOMPARE(answered.wait(clock, Millis(5000)), std::optional<QString>(u"1000"_qs));

        ReplyWait<QString> failed;
        failed.fail();
        failed.answer(QStringLiteral("1000"));
        QCOMPARE(failed.wait(clock, Millis(5000)), std::nullopt);

        // An answer after the caller gave up goes nowhere.
        ReplyWait<QString> late;
        QCOMPARE(late.wait(clock, Millis(0)), std::nullopt);
        late.answer(QStringLiteral("1000"));
    }

    void theGateStopsCallbacksOnceClosed() {
        Callbacks callbacks;
        ExportedObjectGate gate(callbacks);
        gate.deliver([&](ZorAppCallbackProtocol& app) {
            app.promptRemovedWithPromptId(QStringLiteral("a"));
            // Closing from inside a callback must not wait for itself.
            gate.close();
        });
        gate.deliver([](ZorAppCallbackProtocol& app) {
            app.promptRemovedWithPromptId(QStringLiteral("b"));
        });
        QCOMPARE(callbacks.removed, QStringList{"a"});
    }

    void aPeerMustBeSignedByTheAppsTeam_data() {
        QTest::addColumn<std::optional<QString>>("team");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("requirement");
        const QString agent = QString::fromLatin1(kAgentSigningIdentifier);
        QTest::newRow("the app's team")
            << std::optional<QString>(u"A1B2C3D4E5"_qs) << agent
            << u"anchor apple generic and certificate leaf[subject.OU] "
               u"= \"A1B2C3D4E5\" and identifier \"com.zorlabs.zor.agent\""_qs;
        QTest::newRow("the daemon")
            << std::optional<QString>(u"A1B2C3D4E5"_qs)
            << QString::fromLatin1(kDaemonSigningIdentifier)
            << u"anchor apple generic and certificate leaf[subject.OU] = \"A1B2C3D4E5\" and "
               u"identifier \"com.zorlabs.zor-daemon\""_qs;
        // Whatever the signature holds goes between quotes: anything but a
        // team identifier's form refuses every peer.
        for (const auto& [name, team] : {std::pair{"unsigned", std::optional<QString>()},
                                         {"empty", std::optional<QString>(QString())},
                                         {"short", std::optional<QString>(u"A1B2C3D4E"_qs)},
                                         {"lower case", std::optional<QString>(u"a1b2c3d4e5"_qs)},
                                         {"quotes", std::optional<QString>(u"A1B2\"OR\"12"_qs)}})
            QTest::newRow(name) << team << agent << u"never"_qs;
        QTest::newRow("identifier with a quote")
            << std::optional<QString>(u"A1B2C3D4E5"_qs) << u"com.zorlabs\" or identifier \"x"_qs
            << u"never"_qs;
    }

    void aPeerMustBeSignedByTheAppsTeam() {
        QFETCH(std::optional<QString>, team);
        QFETCH(QString, identifier);
        QFETCH(QString, requirement);
        QCOMPARE(peerRequirement(team, identifier), requirement);
    }

    // Every notice's buttons have a category registered at start.
    void aNoticeNamesTheCategoryOfItsButtons() {
        QStringList registered;
        for (const NoticeCategory& category : noticeCategories()) {
            QCOMPARE(noticeCategoryIdentifier(category.buttons), category.identifier);
            registered.append(category.identifier);
        }
        QCOMPARE(registered,
                 (QStringList{"com.zorlabs.zor.notice.deny", "com.zorlabs.zor.notice.show",
                              "com.zorlabs.zor.notice.deny+show"}));
        QCOMPARE(noticeCategoryIdentifier({NoticeAction::show, NoticeAction::deny}),
                 "com.zorlabs.zor.notice.deny+show");
        QCOMPARE(noticeCategoryIdentifier({}), QString());
    }

    void aResponseCountsOnlyForWhatItsNoticeOffered_data() {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<bool>("isDefault");
        QTest::addColumn<QString>("category");
        QTest::addColumn<QString>("action"); // its key, empty for none

        const QString one = "com.zorlabs.zor.notice.deny+show";
        const QString burst = "com.zorlabs.zor.notice.show";
        const QString dismiss = "com.apple.UNNotificationDismissActionIdentifier";
        QTest::newRow("click") << "com.apple.UNNotificationDefaultActionIdentifier" << true << one
                               << "default";
        QTest::newRow("click without buttons") << "" << true << ""
                                               << "default";
        QTest::newRow("deny") << "deny" << false << one << "deny";
        QTest::newRow("show") << "show" << false << burst << "show";
        QTest::newRow("deny on a burst") << "deny" << false << burst << "";
        QTest::newRow("dismissed") << dismiss << false << one << "";
        QTest::newRow("unknown category") << "deny" << false << "deny+show"
                                          << "";
        QTest::newRow("another case") << "Deny" << false << one << "";
    }

    void aResponseCountsOnlyForWhatItsNoticeOffered() {
        QFETCH(QString, identifier);
        QFETCH(bool, isDefault);
        QFETCH(QString, category);
        const std::optional<NoticeAction> action =
            noticeActionFromResponse(identifier, isDefault, category);
        QTEST(action ? QString::fromLatin1(noticeActionText(*action).key) : QString(), "action");
    }

    void theTitleBarGrowsDownwardsToItsHeight() {
        // The system's 28-point title bar at the top of a 500-point window.
        QCOMPARE(TitleBarLayout::containerFrame({0, 472, 700, 28}),
                 (TitleBarFrame{0, 452, 700, 48}));
        QCOMPARE(TitleBarLayout::containerFrame({0, 452, 700, 48}), std::nullopt);
        QCOMPARE(TitleBarLayout::titleBarViewFrame({0, 0, 700, 28}),
                 (TitleBarFrame{0, 0, 700, 48}));
        QCOMPARE(TitleBarLayout::titleBarViewFrame({0, 20, 700, 48}),
                 (TitleBarFrame{0, 0, 700, 48}));
        QCOMPARE(TitleBarLayout::titleBarViewFrame({0, 0, 700, 48}), std::nullopt);
        // The tab row starts clear of the zoom button.
        QVERIFY(TitleBarLayout::kTabRowLeadingPadding > TitleBarLayout::kButtonPadding +
                                                            TitleBarLayout::kButtonOffsets[2] +
                                                            TitleBarLayout::kButtonWidth);
    }

    void everyLogLineHasItsLiteralFormat() {
        QSet<QString> tabled;
        for (const LogFormat& entry : kFormats) {
            QVERIFY2(!tabled.contains(entry.format), qPrintable(entry.format));
            tabled.insert(entry.format);
            // The literal is the line's own format, so its privacy marks stand
            // as written; the values must fit its placeholders.
            QCOMPARE(entry.kinds, placeholderKinds(entry.format));
        }

        QSet<QString> logged;
        for (const char* area :
             {"app", "agent", "prompts", "setup", "window", "platform", "shared"}) {
            QDirIterator files(QStringLiteral(ZOR_SOURCE_DIR "/") + QLatin1String(area),
                               {"*.cpp", "*.h", "*.mm"}, QDir::Files, QDirIterator::Subdirectories);
            while (files.hasNext()) {
                QFile file(files.next());
                if (file.fileName().contains(u"/sdk-check/") || !file.open(QIODevice::ReadOnly))
                    continue;
                for (const QString& format : logFormatsIn(QString::fromUtf8(file.readAll())))
                    logged.insert(format);
            }
        }
        QVERIFY(logged.contains(QStringLiteral("Zor.app launched, connecting to ZorAgent")));
        for (const QString& format : std::as_const(logged))
            QVERIFY2(tabled.contains(format),
                     qPrintable(u"add to platform/macos/LogFormats.h: "_qs + format));
        for (const QString& format : std::as_const(tabled))
            QVERIFY2(logged.contains(format), qPrintable(u"logged nowhere: "_qs + format));
    }
};

QTEST_MAIN(MacosTest)
#include "tst_macos.moc"
