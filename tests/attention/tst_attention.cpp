#include "FakeAgentRequests.h"
#include "LogCapture.h"
#include "VirtualClock.h"
#include "platform/Announcer.h"
#include "platform/IconBadge.h"
#include "platform/UserNotifications.h"
#include "prompts/PromptAttention.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptUrl.h"
#include "prompts/RecentIds.h"
#include "prompts/WindowPresence.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

// The attention over a store of its own, its services played by the rig,
// which keeps what they are told. Decisions go through the window's decider
// to a fake agent.
struct Rig final : IconBadge, UserNotifications, Announcer, WindowPresence {
    Rig() {
        attention.emplace(
            store, AttentionServices{clock, *this, *this, *this, *this},
            AttentionActions{[this](const QString& link) { opened.append(link); },
                             [this](const QUuid& id, PromptDecider::Decision decision) {
                                 return decider.decide(id, decision);
                             }});
    }

    void setCount(qint64 count) override { counts.append(count); }
    void setActionHandler(ActionHandler handler) override { actionHandler = std::move(handler); }
    void post(const UserNotice& notice) override {
        posted.append(notice);
        texts.append(notice.title + QStringLiteral(" | ") + notice.body);
    }
    void announce(const QString& text) override { spoken.append(text); }
    bool isInFront() const override { return inFront; }

    QUuid add(const QString& path, QUuid id = QUuid::createUuid()) {
        return add(Denial(FileDenial{path, QStringLiteral("write"), QStringLiteral("vim")}), id);
    }
    QUuid add(const Denial& denial, QUuid id = QUuid::createUuid()) {
        store.addPrompt(id, QStringLiteral("session-7"), QStringLiteral("/p/.zor/policy.yml"),
                        denial, false);
        return id;
    }

    // The labels of the last notice's buttons.
    QStringList buttons() const {
        QStringList labels;
        for (const NoticeAction action : posted.value(posted.size() - 1).buttons)
            labels.append(QString::fromLatin1(noticeActionText(action).label));
        return labels;
    }
    // The user's answer to the last notice, as the system hands it over.
    void act(NoticeAction action) { actionHandler(posted.last().link, action); }

    VirtualClock clock;
    PromptStore store;
    PromptListModel listModel{store};
    QAbstractItemModelTester listModelTester{
        &listModel, QAbstractItemModelTester::FailureReportingMode::QtTest};
    FakeAgentRequests agent;
    PromptDecider decider{store, listModel, agent};
    QList<qint64> counts;
    QList<UserNotice> posted;
    QStringList texts; // "title | body" of each notice
    ActionHandler actionHandler;
    QStringList opened;
    QStringList spoken;
    bool inFront = false;
    std::optional<PromptAttention> attention;
};

const QUuid kId = QUuid::fromString(QStringLiteral("6513270e-269e-4d37-b2a7-4de452e6b438"));

} // namespace

class AttentionTest : public QObject {
    Q_OBJECT

private slots:
    void aBurstTellsOnce_data() {
        QTest::addColumn<int>("prompts");
        QTest::addColumn<bool>("isInFront");
        QTest::addColumn<QStringList>("notices");
        QTest::addColumn<QStringList>("spoken");

        // Only what the row shows: no session, policy or process.
        QTest::newRow("one, window away")
            << 1 << false << QStringList{"Write File | /w/0"} << QStringList{};
        QTest::newRow("twelve, window away")
            << 12 << false << QStringList{"12 new prompts | Write File: /w/11"} << QStringList{};
        QTest::newRow("one, window in front")
            << 1 << true << QStringList{} << QStringList{"Write File: /w/0"};
        QTest::newRow("twelve, window in front")
            << 12 << true << QStringList{} << QStringList{"12 new prompts"};
    }

    void aBurstTellsOnce() {
        QFETCH(int, prompts);
        QFETCH(bool, isInFront);
        Rig rig;
        rig.inFront = isInFront;
        QUuid newest;
        for (int i = 0; i < prompts; ++i) {
            newest = rig.add(QStringLiteral("/w/%1").arg(i));
            rig.clock.advance(50ms);
        }
        rig.clock.advance(PromptAttention::kGatherWindow - 50ms * prompts - 1ms);
        QVERIFY(rig.posted.isEmpty() && rig.spoken.isEmpty());
        rig.clock.advance(1ms);
        QTEST(rig.texts, "notices");
        QTEST(rig.spoken, "spoken");
        if (!rig.posted.isEmpty())
            QCOMPARE(rig.posted.first().link, promptUrl(newest));
        rig.clock.advance(10s);
        QCOMPARE(rig.posted.size() + rig.spoken.size(), 1);
    }

    void onlyUnseenPendingPromptsAreNews() {
        Rig rig;
        const QUuid a = rig.add("/a");
        const QUuid b = rig.add("/b");
        rig.clock.advance(5s);
        QCOMPARE(rig.texts, QStringList{"2 new prompts | Write File: /b"});

        // A resync adds what the app holds, and what it had removed, again.
        rig.store.removePrompt(a);
        rig.add("/a", a);
        rig.add("/b", b);
        rig.clock.advance(5s);
        // Answered before the window closed: no news either.
        rig.add("/c");
        rig.store.removePrompt(rig.add("/d"));
        rig.clock.advance(5s);
        QCOMPARE(rig.texts, (QStringList{"2 new prompts | Write File: /b", "Write File | /c"}));
    }

    // A record whose id is not a UUID gets a fresh one at each sync; a resync
    // replaces the prompt under its key, and the user already has it.
    void aResyncedPromptWithoutAUuidIsNoNews() {
        Rig rig;
        SerializablePromptItem record;
        record.id = QStringLiteral("not-a-uuid");
        record.sessionId = QStringLiteral("s1");
        record.policyPath = QStringLiteral("/s1/.zor/policy.yml");
        record.denial = FileDenial{"/etc/hosts", "write", "vim"};
        rig.store.addPrompt(IncomingPrompt(record));
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.texts, QStringList{"Write File | /etc/hosts"});

        rig.store.addPrompt(IncomingPrompt(record));
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.store.prompts().size(), 1);
        QCOMPARE(rig.texts, QStringList{"Write File | /etc/hosts"});
        rig.inFront = true;
        rig.store.addPrompt(IncomingPrompt(record));
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.spoken, QStringList());

        // Replaced before its notice: the replacement has it.
        rig.inFront = false;
        record.denial = FileDenial{"/etc/passwd", "write", "vim"};
        rig.store.addPrompt(IncomingPrompt(record));
        rig.clock.advance(PromptAttention::kGatherWindow / 2);
        rig.store.addPrompt(IncomingPrompt(record));
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.texts, (QStringList{"Write File | /etc/hosts", "Write File | /etc/passwd"}));
        QCOMPARE(rig.posted.last().link, promptUrl(rig.store.prompts().first().id));
    }

    // The ids that left are kept for a while, not for the life of the process.
    void goneIdsAreKeptForTheLatestDepartures() {
        constexpr qsizetype kCapacity = 100;
        RecentIds recent(kCapacity);
        QList<QUuid> ids;
        for (int i = 0; i < 1000; ++i) {
            ids.append(QUuid::createUuid());
            recent.insert(ids.last());
            const qsizetype first = std::max<qsizetype>(0, ids.size() - kCapacity);
            for (qsizetype kept = first; kept < ids.size(); kept += 7)
                QVERIFY2(recent.contains(ids[kept]), qPrintable(QString::number(kept)));
            QVERIFY(recent.contains(ids.last()));
        }
        // Beyond twice the capacity, the oldest are forgotten.
        for (qsizetype gone = 0; gone < ids.size() - 2 * kCapacity; ++gone)
            QVERIFY2(!recent.contains(ids[gone]), qPrintable(QString::number(gone)));
        QVERIFY(!recent.contains(QUuid::createUuid()));
        // Taken out of either generation.
        const QUuid older = ids[ids.size() - kCapacity - 1];
        QVERIFY(recent.contains(older));
        QVERIFY(recent.remove(older));
        QVERIFY(recent.remove(ids.last()));
        QVERIFY(!recent.contains(older) && !recent.contains(ids.last()));
        QVERIFY(!recent.remove(older));
    }

    // Notices stay up for as long as the user leaves them, each with its Deny;
    // those of the latest are kept, and older ones forgotten.
    void onlyTheLatestNoticesKeepTheirDeny() {
        Rig rig;
        const QUuid first = rig.add("/first");
        rig.clock.advance(PromptAttention::kGatherWindow);
        const QString firstLink = rig.posted.last().link;
        constexpr qsizetype kLater = 2 * PromptAttention::kDenyableKept;
        for (qsizetype i = 0; i < kLater; ++i) {
            const QUuid id = rig.add(QStringLiteral("/b/%1").arg(i));
            rig.clock.advance(PromptAttention::kGatherWindow);
            if (i + 1 < kLater)
                rig.store.removePrompt(id);
        }
        QCOMPARE(rig.posted.size(), kLater + 1);

        LogCapture log;
        rig.actionHandler(firstLink, NoticeAction::deny);
        QVERIFY(rig.agent.requests.isEmpty());
        QVERIFY(log.contains("Ignored Deny on a notification that offered none"));
        QVERIFY(rig.store.containsPrompt(first));
        rig.act(NoticeAction::deny);
        QCOMPARE(rig.agent.requests.size(), 1);
    }

    void aTrickleCannotPutTheNoticeOff() {
        Rig rig;
        for (int i = 0; i < 11; ++i) {
            rig.add(QStringLiteral("/t/%1").arg(i));
            rig.clock.advance(300ms);
        }
        rig.clock.advance(5s);
        // Windows from 0, 1200 and 2400 ms.
        QCOMPARE(rig.texts, (QStringList{"4 new prompts | Write File: /t/3",
                                         "4 new prompts | Write File: /t/7",
                                         "3 new prompts | Write File: /t/10"}));
    }

    void hostileTextsBecomeOneShortLine_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("body");

        QTest::newRow("line breaks") << "/a\nb\r\u2028c\u2029d"
                                     << "/a b  c d";
        QTest::newRow("controls") << QStringLiteral("/a\u0007\u001b[31mb") << "/a  [31mb";
        QTest::newRow("direction override") << "/evil\u202Efdp.exe"
                                            << "/evilfdp.exe";
        QTest::newRow("long") << "/" + QString(500, u'x') << "/" + QString(238, u'x') + u'…';
        QTest::newRow("surrogate pair at the cut")
            << "/" + QString(237, u'x') + QStringLiteral("\U0001F600yy")
            << "/" + QString(237, u'x') + u'…';
    }

    void hostileTextsBecomeOneShortLine() {
        QFETCH(QString, path);
        Rig rig;
        rig.add(path);
        rig.clock.advance(PromptAttention::kGatherWindow);
        QTEST(rig.posted.value(0).body, "body");
    }

    void theCountFollowsTheStoreAFewTimesASecond() {
        Rig rig;
        QCOMPARE(rig.counts, QList<qint64>{0});
        QList<QUuid> ids;
        for (int i = 0; i < 1000; ++i) {
            ids.append(rig.add(QStringLiteral("/s/%1").arg(i)));
            rig.clock.advance(1ms);
        }
        rig.clock.advance(PromptAttention::kCountInterval);
        const QList<qint64> duringSync = rig.counts;
        QCOMPARE_LE(duringSync.size(), 1 + 1000 / 250 + 1);
        QCOMPARE(duringSync.last(), 1000);
        QVERIFY(std::is_sorted(duringSync.cbegin(), duringSync.cend()));

        for (qsizetype i = 0; i < 600; ++i)
            rig.store.removePrompt(ids[i]);
        rig.clock.advance(PromptAttention::kCountInterval);
        // The first change goes out at once, the rest at the end of the interval.
        QCOMPARE(rig.counts.mid(duringSync.size()), (QList<qint64>{999, 400}));
        // A change long after the last goes out at once; one that follows closely waits.
        rig.clock.advance(10s);
        rig.store.removePrompt(ids[600]);
        QCOMPARE(rig.counts.last(), 399);
        rig.store.removePrompt(ids[601]);
        QCOMPARE(rig.counts.last(), 399);
        rig.clock.advance(PromptAttention::kCountInterval);
        QCOMPARE(rig.counts.last(), 398);
    }

    // Deny only where the notice names one prompt whose session can still
    // take a deny for the session, and that a rule can hold (a signal's
    // cannot: the agent would never hear of it); never an allow.
    void aNoticeOfOnePromptOffersDeny_data() {
        QTest::addColumn<int>("prompts");
        QTest::addColumn<int>("answeredMeanwhile");
        QTest::addColumn<bool>("hasSessionEnded");
        QTest::addColumn<bool>("isSignal");
        QTest::addColumn<QStringList>("buttons");

        QTest::newRow("one") << 1 << 0 << false << false << QStringList{"Deny", "Show"};
        QTest::newRow("twelve") << 12 << 0 << false << false << QStringList{"Show"};
        QTest::newRow("one of twelve left")
            << 12 << 11 << false << false << QStringList{"Deny", "Show"};
        QTest::newRow("one, its session ended") << 1 << 0 << true << false << QStringList{"Show"};
        QTest::newRow("one signal") << 1 << 0 << false << true << QStringList{"Show"};
    }

    void aNoticeOfOnePromptOffersDeny() {
        QFETCH(int, prompts);
        QFETCH(int, answeredMeanwhile);
        QFETCH(bool, hasSessionEnded);
        QFETCH(bool, isSignal);
        Rig rig;
        QList<QUuid> ids;
        for (int i = 0; i < prompts; ++i)
            ids.append(isSignal ? rig.add(Denial(SignalDenial{9, 501, "Dock", "kill"}))
                                : rig.add(QStringLiteral("/b/%1").arg(i)));
        for (int i = 0; i < answeredMeanwhile; ++i)
            rig.store.removePrompt(ids[i]);
        if (hasSessionEnded)
            rig.store.markSessionEnded(QStringLiteral("session-7"));
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.posted.size(), 1);
        QTEST(rig.buttons(), "buttons");

        // A system that sends Deny for a notice without it gets nowhere.
        LogCapture log;
        rig.act(NoticeAction::deny);
        QCOMPARE(rig.agent.requests.isEmpty(), rig.buttons().first() != "Deny");
        QCOMPARE(log.contains("Ignored Deny on a notification that offered none"),
                 rig.agent.requests.isEmpty());
        // Nothing goes before the agent has answered.
        QCOMPARE(rig.store.prompts().size(), prompts - answeredMeanwhile);
    }

    // What happened to the prompt between the notice and its Deny.
    void denyActsOnlyOnTheSamePendingPrompt_data() {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<QStringList>("requests");
        QTest::addColumn<QString>("logged");

        const QString deny = "decision %1 deny session /p/.zor/policy.yml";
        QTest::newRow("nothing") << "" << QStringList{deny}
                                 << "Denying prompt %1 for the session from its notification";
        QTest::newRow("answered in the window")
            << "answered" << QStringList{}
            << "Ignored Deny on a notification: prompt %1 is no longer pending";
        // The same request again from the agent, under a new id.
        QTest::newRow("replaced under its key")
            << "replaced" << QStringList{}
            << "Ignored Deny on a notification: prompt %1 is no longer pending";
        QTest::newRow("being decided in the window")
            << "deciding" << QStringList{"decision %1 allow once /p/.zor/policy.yml"}
            << "Ignored Deny on a notification: prompt %1 cannot be denied for the session now";
        QTest::newRow("its session ended")
            << "ended" << QStringList{}
            << "Ignored Deny on a notification: prompt %1 cannot be denied for the session now";
        QTest::newRow("denied before")
            << "denied" << QStringList{deny} << "Ignored Deny on a notification that offered none";
    }

    void denyActsOnlyOnTheSamePendingPrompt() {
        QFETCH(QString, meanwhile);
        QFETCH(QStringList, requests);
        QFETCH(QString, logged);
        Rig rig;
        rig.add("/a", kId);
        rig.clock.advance(PromptAttention::kGatherWindow);
        QCOMPARE(rig.buttons(), (QStringList{"Deny", "Show"}));

        std::optional<QUuid> replacement;
        if (meanwhile == "answered")
            rig.store.removePrompt(kId);
        else if (meanwhile == "replaced")
            replacement = rig.add("/a");
        else if (meanwhile == "deciding")
            QVERIFY(rig.decider.decide(kId, PromptDecider::Decision::allowOnce));
        else if (meanwhile == "ended")
            rig.store.markSessionEnded(QStringLiteral("session-7"));
        else if (meanwhile == "denied")
            rig.act(NoticeAction::deny);
        QCOMPARE(rig.store.containsPrompt(kId), meanwhile != "answered" && meanwhile != "replaced");

        LogCapture log;
        rig.act(NoticeAction::deny);
        const QString idText = FakeAgentRequests::idText(kId);
        requests.replaceInStrings("%1", idText);
        QCOMPARE(rig.agent.requests, requests);
        QVERIFY2(log.contains(logged.replace("%1", idText)),
                 qPrintable(log.messages().join(u'\n')));
        // Nothing is denied in the old notice's name.
        if (replacement)
            QVERIFY(rig.store.containsPrompt(*replacement));
        QVERIFY(rig.opened.isEmpty());
    }

    // The click and Show open the notice's link as any link to the app; no
    // answer outlives the attention.
    void clickAndShowOpenTheLink() {
        Rig rig;
        const QUuid id = rig.add("/a");
        rig.clock.advance(PromptAttention::kGatherWindow);
        rig.act(NoticeAction::open);
        rig.act(NoticeAction::show);
        QCOMPARE(rig.opened, (QStringList{promptUrl(id), promptUrl(id)}));
        QVERIFY(rig.agent.requests.isEmpty());
        rig.attention.reset();
        QVERIFY(!rig.actionHandler);
    }
};

QTEST_GUILESS_MAIN(AttentionTest)
#include "tst_attention.moc"
