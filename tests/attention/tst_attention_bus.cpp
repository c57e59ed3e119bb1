// The Linux services on a session bus of the test's own (dbus-run-session with
// private-session-bus.conf), against a notification server listening on a
// second connection; the dock hears the app in the end-to-end test.

#include "FakeNotificationServer.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "platform/portable/FreedesktopNotifications.h"

#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

// A connection of its own, as the server and the dock are other processes.
QDBusConnection otherConnection() {
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("other"));
}

const QString kHostile = QStringLiteral("/tmp/<a href=\"https://x\">a&b</a>");

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

        QTest::newRow("plain bodies") << QStringList{"actions", "body"} << kHostile;
        // A tag in an agent's path must not become a link.
        QTest::newRow("markup in bodies")
            << QStringList{"actions", "body", "body-markup"}
            << "/tmp/&lt;a href=&quot;https://x&quot;&gt;a&amp;b&lt;/a&gt;";
    }

    void aNoticeReachesTheServerAndItsClickComesBack() {
        QFETCH(QStringList, capabilities);
        QFETCH(QString, body);
        FakeNotificationServer server(otherConnection(), capabilities);
        QVERIFY(server.isRegistered);
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        QStringList clicked;
        notifications.setClickHandler([&clicked](const QString& link) { clicked.append(link); });

        const QString link = QStringLiteral("zor://prompt/6513270e-269e-4d37-b2a7-4de452e6b438");
        notifications.post({QStringLiteral("Write File"), kHostile, link});
        notifications.post({QStringLiteral("2 new prompts"), QStringLiteral("Signal"), "zor://b"});
        QTRY_COMPARE(server.notices.size(), 2);
        const FakeNotificationServer::Notice& notice = server.notices.first();
        QCOMPARE(notice.appName, "Zor");
        QCOMPARE(notice.summary, "Write File");
        QCOMPARE(notice.body, body);
        QCOMPARE(notice.actions.value(0), "default");
        QCOMPARE(notice.hints.value("desktop-entry"), "com.zorlabs.zor");
        QCOMPARE(server.capabilityQueries, 1);

        server.invoke(notice.id, QStringLiteral("other"));
        server.invoke(99);
        server.invoke(notice.id);
        QTRY_COMPARE(clicked, QStringList{link});
    }

    void aMissingOrFailingServerLeavesOneLine() {
        LogCapture log;
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/a"), "zor://a"});
        QTRY_VERIFY(log.contains(
            "Notification server unavailable: org.freedesktop.DBus.Error.ServiceUnknown"));

        FakeNotificationServer server(otherConnection(), {"body"});
        server.isFailing = true;
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/b"), "zor://b"});
        QTRY_COMPARE(server.capabilityQueries, 1);
        server.isFailing = false;
        // Asked again for the next post, which finds the server well.
        notifications.post({QStringLiteral("Write File"), QStringLiteral("/c"), "zor://c"});
        QTRY_COMPARE(server.notices.size(), 1);
        QCOMPARE(server.notices.first().body, "/c");
        QCOMPARE(log.messages().filter("Notification server unavailable").size(), 1);
    }
};

QTEST_GUILESS_MAIN(AttentionBusTest)
#include "tst_attention_bus.moc"
