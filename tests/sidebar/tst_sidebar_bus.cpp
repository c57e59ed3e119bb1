// "Show in File Manager" on a session bus of the test's own (dbus-run-session),
// with a file manager on a second connection or none at all.

#include "LogCapture.h"
#include "PrivateBus.h"
#include "platform/portable/PortableServices.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

// A file manager as desktops run one: it keeps the items it was asked to show.
class FakeFileManager final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    explicit FakeFileManager(QDBusConnection bus)
        : bus(bus) {
        isRegistered = bus.registerObject("/org/freedesktop/FileManager1", this,
                                          QDBusConnection::ExportAllSlots) &&
                       bus.registerService("org.freedesktop.FileManager1");
    }
    ~FakeFileManager() override {
        bus.unregisterService("org.freedesktop.FileManager1");
        bus.unregisterObject("/org/freedesktop/FileManager1");
    }

    QStringList shown;
    bool isRegistered = false;

public slots:
    void ShowItems(const QStringList& uris, const QString& /*startupId*/) { shown.append(uris); }

private:
    QDBusConnection bus;
};

// Stands for the desktop's default handler of file URLs.
class FolderOpener final : public QObject {
    Q_OBJECT

public:
    FolderOpener() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~FolderOpener() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> opened;

public slots:
    void open(const QUrl& url) { opened.append(url); }
};

} // namespace

class SidebarBusTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
        // A file manager installed here would answer in the fake's stead.
        QCOMPARE(activatableNames(QDBusConnection::sessionBus()),
                 QStringList{"org.freedesktop.DBus"});
    }

    // A file manager shows the file selected; where none answers, the folder
    // opens instead and a line says why, as nothing else would.
    // A path that begins with two slashes is the same file, not one on a
    // host of that name.
    void revealFallsBackToTheFolder_data() {
        QTest::addColumn<bool>("hasFileManager");
        QTest::addColumn<QString>("path");
        for (const QString& path : {QStringLiteral("/src/web app/.zor/policy.yml"),
                                    QStringLiteral("//src/web app/.zor/policy.yml")}) {
            QTest::addRow("file manager, %s", qPrintable(path)) << true << path;
            QTest::addRow("none, %s", qPrintable(path)) << false << path;
        }
    }

    void revealFallsBackToTheFolder() {
        QFETCH(bool, hasFileManager);
        QFETCH(QString, path);
        std::unique_ptr<FakeFileManager> fileManager;
        if (hasFileManager) {
            fileManager = std::make_unique<FakeFileManager>(
                QDBusConnection::connectToBus(QDBusConnection::SessionBus, "other"));
            QVERIFY(fileManager->isRegistered);
        }
        FolderOpener folders;
        LogCapture log;
        DesktopWorkspace workspace;

        workspace.revealInFileManager(path);
        if (hasFileManager) {
            QTRY_COMPARE(fileManager->shown, QStringList{"file:///src/web%20app/.zor/policy.yml"});
            QVERIFY(folders.opened.isEmpty());
            QVERIFY(log.records().isEmpty());
        } else {
            QTRY_COMPARE(folders.opened, QList{QUrl::fromLocalFile("/src/web app/.zor")});
            QCOMPARE(log.messages(LogCategory::promptsView),
                     QStringList{"No file manager answered "
                                 "(org.freedesktop.DBus.Error.ServiceUnknown): opening the "
                                 "folder of " +
                                 path + " instead"});
            QCOMPARE(log.records().first().level, LogLevel::error);
            QVERIFY(!log.records().first().redactedMessage().contains(path));
        }
    }

    void openingAFileHandsTheDesktopItsUrl_data() {
        QTest::addColumn<QString>("path");
        QTest::newRow("one slash") << "/src/web app/.zor/policy.yml";
        QTest::newRow("two slashes") << "//src/web app/.zor/policy.yml";
    }

    void openingAFileHandsTheDesktopItsUrl() {
        QFETCH(QString, path);
        FolderOpener opener;
        DesktopWorkspace().openFile(path);
        QCOMPARE(opener.opened, QList{QUrl("file:///src/web%20app/.zor/policy.yml")});
    }
};

QTEST_MAIN(SidebarBusTest)
#include "tst_sidebar_bus.moc"
