// The Linux services on a session bus of the test's own (dbus-run-session with
// private-session-bus.conf), against a notification server listening on a
// second connection; the dock hears the app in the end-to-end test.

#include "FakeAgentRequests.h"
#include "FakeNotificationServer.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "VirtualClock.h"
#include "platform/Announcer.h"
#include "platform/IconBadge.h"
#include "platform/portable/FreedesktopNotifications.h"
#include "prompts/PromptAttention.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptUrl.h"
#include "prompts/WindowPresence.h"

#include <QAbstractItemModelTester>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

// A connection of its own, as the server and the dock are other processes.
QDBusConnection otherConnection() {
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("other"));
}

const QString kHostile = QStringLiteral("/tmp/<a href=\"https://x\">a&b</a>");
const QStringList kClickOnly{"default", "Open"};
const QStringList kButtons{"deny", "Deny", "show", "Show"};

// The attention on the bus's notifications, deciding through the window's
// decider to a fake agent; the window is away, so new prompts are notified.
struct AttentionOnTheBus final : IconBadge, Announcer, WindowPresence {
    AttentionOnTheBus()
        : attention(store, {clock, *this, notifications, *this, *this},
                    {[](const QString&) {},
                     [this](const QUuid& id, PromptDecider::Decision decision) {
                         return decider.decide(id, decision);
                     }}) {}

    void setCount(qint64) override {}
    void announce(const QString&) override {}
    bool isInFront() const override { return false; }

    QUuid add(const QString& path, QUuid id = QUuid::createUuid()) {
        store.addPrompt(id, QStringLiteral("session-7"), QStringLiteral("/p/.zor/policy.yml"),
                        FileDenial{path, QStringLiteral("write"), QStringLiteral("vim")}, false);
        return id;
    }

    VirtualClock clock;
    PromptStore store;
    PromptListModel listModel{store};
    QAbstractItemModelTester listModelTester{
        &listModel, QAbstractItemModelTester::FailureReportingMode::QtTest};
    FakeAgentRequests agent;
    PromptDecider decider{store, listModel, agent};
    FreedesktopNotifications notifications{QDBusConnection::sessionBus()};
    PromptAttention attention;
};

} // namespace

class AttentionBusTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
        QVERIFY(otherConnection().isConnected());
        // A notification daemon installed here would answer in the fake's stead.
        QCOMPARE(activatableNames(QDBusConnection::sessionBus()),
                 QStringList{"org.freedesktop.DBus"});
    }

    void aNoticeReachesTheServerAndItsClickComesBack_data() {
        QTest::addColumn<QStringList>("capabilities");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QStringList>("actions");

        const QStringList buttons = kClickOnly + kButtons;
        QTest::newRow("plain bodies") << QStringList{"actions", "body"} << kHostile << buttons;
        // A tag in an agent's path must not become a link.
        QTest::newRow("markup in bodies")
            << QStringList{"actions", "body", "body-markup"}
            << "/tmp/&lt;a href=&quot;https://x&quot;&gt;a&amp;b&lt;/a&gt;" << buttons;
        // A server that shows no actions gets the notice as it always did.
        QTest::newRow("no actions") << QStringList{"body"} << kHostile << kClickOnly;
    }

    void aNoticeReachesTheServerAndItsClickComesBack() {
        QFETCH(QStringList, capabilities);
        QFETCH(QString, body);
        FakeNotificationServer server(otherConnection(), capabilities);
        QVERIFY(server.isRegistered);
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        QStringList received;
        notifications.setActionHandler([&received](const QString& link, NoticeAction action) {
            received.append(link + u' ' + QLatin1String(noticeActionText(action).key));
        });

        const QString link = QStringLiteral("zor://prompt/6513270e-269e-4d37-b2a7-4de452e6b438");
        notifications.post({QStringLiteral("Write File"),
                            kHostile,
                            link,
                            {NoticeAction::deny, NoticeAction::show}});
        notifications.post(
            {QStringLiteral("2 new prompts"), QStringLiteral("Signal"), "zor://b", {}});
        QTRY_COMPARE(server.notices.size(), 2);
        const FakeNotificationServer::Notice& notice = server.notices.first();
        QCOMPARE(notice.appName, "Zor");
        QCOMPARE(notice.summary, "Write File");
        QCOMPARE(notice.body, body);
        QTEST(notice.actions, "actions");
        QCOMPARE(server.notices.last().actions, kClickOnly);
        QCOMPARE(notice.hints.value("desktop-entry"), "com.zorlabs.zor");
        QCOMPARE(server.capabilityQueries, 1);

        server.invoke(notice.id, QStringLiteral("other"));
        server.invoke(99);
        server.invoke(notice.id);
        // Answered: the notice takes no second action.
        server.invoke(notice.id, QStringLiteral("show"));
        server.invoke(server.notices.last().id);
        QTRY_COMPARE(received, (QStringList{link + " default", "zor://b default"}));
    }

    // The server's signal counts only from the server, for a notice of ours,
    // with an action that notice offered.
    void whatComesBackIsChecked() {
        FakeNotificationServer server(otherConnection(), {"actions", "body"});
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        QStringList received;
        notifications.setActionHandler([&received](const QString& link, NoticeAction action) {
            received.append(link + u' ' + QLatin1String(noticeActionText(action).key));
        });
        notifications.post({QStringLiteral("Write File"),
                            QStringLiteral("/a"),
                            "zor://one",
                            {NoticeAction::deny, NoticeAction::show}});
        notifications.post(
            {QStringLiteral("12 new prompts"), QStringLiteral("/b"), "zor://burst", {}});
        QTRY_COMPARE(server.notices.size(), 2);
        const uint one = server.notices.first().id;
        const uint burst = server.notices.last().id;

        // Another client on the bus plays the server, then makes sure the bus
        // has passed its signal on before the server's own. Whatever is taken
        // answers the notice before the server's Show could.
        QDBusConnection rogue =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("rogue"));
        QDBusMessage forged = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("ActionInvoked"));
        forged << one << QStringLiteral("deny");
        QVERIFY(rogue.send(forged));
        QVERIFY(rogue.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.DBus")));

        for (const char* key : {"allow", "Deny", "deny ", "", "default\n"})
            server.invoke(one, key);
        server.invoke(burst, QStringLiteral("deny"));
        server.invoke(one + burst + 1, QStringLiteral("deny"));
        server.invoke(one, QStringLiteral("show"));
        server.invoke(burst, QStringLiteral("default"));
        QTRY_COMPARE(received, (QStringList{"zor://one show", "zor://burst default"}));
        QDBusConnection::disconnectFromBus(QStringLiteral("rogue"));
    }

    // What happened to the prompt between the notice and the user's Deny.
    void aNoticesDenyReachesTheAgentOnlyForItsPendingPrompt_data() {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<bool>("isSent");

        QTest::newRow("nothing") << "" << true;
        QTest::newRow("answered") << "answered" << false;
        QTest::newRow("replaced under its key") << "replaced" << false;
    }

    void aNoticesDenyReachesTheAgentOnlyForItsPendingPrompt() {
        QFETCH(QString, meanwhile);
        QFETCH(bool, isSent);
        FakeNotificationServer server(otherConnection(), {"actions", "body"});
        AttentionOnTheBus rig;
        const QUuid id = rig.add("/a");
        rig.clock.advance(PromptAttention::kGatherWindow);
        QTRY_COMPARE(server.notices.size(), 1);
        QCOMPARE(server.notices.first().actions, kClickOnly + kButtons);

        if (meanwhile == "answered")
            rig.store.removePrompt(id);
        else if (meanwhile == "replaced")
            rig.add("/a");
        LogCapture log;
        server.invoke(server.notices.first().id, QStringLiteral("deny"));
        const QString idText = FakeAgentRequests::idText(id);
        QTRY_VERIFY(!log.messages().filter(idText).isEmpty());
        const QString deny = "decision " + idText + " deny session /p/.zor/policy.yml";
        QCOMPARE(rig.agent.requests, isSent ? QStringList{deny} : QStringList());
    }

    // A server that restarts numbers its notices anew: an answer to a notice
    // of the new server reaches its prompt, never an older prompt's notice
    // of the same number; and the new server's capabilities count.
    void aRestartedServersNoticesAreItsOwn() {
        AttentionOnTheBus rig;
        std::optional<FakeNotificationServer> first(std::in_place, otherConnection(),
                                                    QStringList{"actions", "body"});
        const QUuid older = rig.add("/a");
        rig.clock.advance(PromptAttention::kGatherWindow);
        QTRY_COMPARE(first->notices.size(), 1);
        first.reset();

        FakeNotificationServer second(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("second")),
            {"actions", "body", "body-markup"});
        QVERIFY(second.isRegistered);
        const QUuid newer = rig.add(kHostile);
        rig.clock.advance(PromptAttention::kGatherWindow);
        QTRY_COMPARE(second.notices.size(), 1);
        QCOMPARE(second.notices.first().id, 1u);
        QCOMPARE(second.notices.first().body, kHostile.toHtmlEscaped());
        LogCapture log;
        second.invoke(1, QStringLiteral("deny"));
        const QString idText = FakeAgentRequests::idText(newer);
        QTRY_VERIFY(!log.messages().filter(idText).isEmpty());
        QCOMPARE(rig.agent.requests,
                 QStringList{"decision " + idText + " deny session /p/.zor/policy.yml"});
        QVERIFY(rig.store.containsPrompt(older));
    }

    void aMissingOrFailingServerLeavesOneLine() {
        LogCapture log;
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/a"), "zor://a", {}});
        QTRY_VERIFY(log.contains(
            "Notification server unavailable: org.freedesktop.DBus.Error.ServiceUnknown"));

        FakeNotificationServer server(otherConnection(), {"body"});
        server.isFailing = true;
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/b"), "zor://b", {}});
        QTRY_COMPARE(server.capabilityQueries, 1);
        server.isFailing = false;
        // Asked again for the next post, which finds the server well.
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/c"), "zor://c", {}});
        QTRY_COMPARE(server.notices.size(), 1);
        QCOMPARE(server.notices.first().body, "/c");
        QCOMPARE(log.messages().filter("Notification server unavailable").size(), 1);
    }
};

QTEST_GUILESS_MAIN(AttentionBusTest)
#include "tst_attention_bus.moc"
