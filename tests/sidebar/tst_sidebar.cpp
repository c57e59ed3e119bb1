#include "FakePlatform.h"
#include "LogCapture.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "prompts/SessionLogsScript.h"
#include "prompts/SidebarEntryActions.h"
#include "window/qml/QuickViews.h"

#include <QAbstractItemModelTester>
#include <QProcess>
#include <QQuickItem>
#include <QQuickView>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace zor;
using namespace zor::testing;

namespace {

Denial fileDenial(const QString& path) {
    return FileDenial{path, QStringLiteral("read"), QStringLiteral("node")};
}

QString rowText(const QString& label, qint64 count, bool isSelected) {
    return QStringLiteral("%1 %2 %3").arg(label).arg(count).arg(isSelected);
}

// Label, count and selection per row, as the model shows them.
QStringList modelRows(const PromptsSidebarModel& model) {
    QStringList rows;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row);
        rows.append(rowText(index.data(PromptsSidebarModel::labelRole).toString(),
                            index.data(PromptsSidebarModel::countRole).toLongLong(),
                            index.data(PromptsSidebarModel::isSelectedRole).toBool()));
    }
    return rows;
}

// An executable at `path` that stands for the command-line tool.
bool makeTool(const QString& path) {
    QFile tool(path);
    return tool.open(QIODevice::WriteOnly) && tool.write("#!/bin/sh\n") > 0 &&
           tool.setPermissions(tool.permissions() | QFileDevice::ExeOwner);
}

// Whether an item of the window shows `text`, as a tool tip's popup does.
bool isTextShown(const QQuickItem* item, const QString& text) {
    if (!item->isVisible())
        return false;
    if (item->property("text").toString() == text)
        return true;
    const QList<QQuickItem*> children = item->childItems();
    return std::any_of(children.begin(), children.end(),
                       [&](const QQuickItem* child) { return isTextShown(child, text); });
}

QPoint centreOf(const QQuickItem* item) {
    return item->mapToScene({item->width() / 2, item->height() / 2}).toPoint();
}

// The same, computed afresh from the store's queries.
QStringList rebuiltRows(const PromptStore& store, SidebarGrouping grouping) {
    QList<SidebarEntry> entries{SidebarEntry::all(store)};
    if (grouping == SidebarGrouping::policy)
        for (const QString& path : store.uniquePolicyPaths())
            entries.append(SidebarEntry::forPolicy(store, path));
    else
        for (const QString& session : store.uniqueSessionIds())
            entries.append(SidebarEntry::forSession(store, session));
    QStringList rows;
    for (const SidebarEntry& entry : entries)
        rows.append(rowText(entry.label, entry.count, entry.isSelected(store.filter())));
    return rows;
}

} // namespace

class SidebarTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    // Row by row: a change never resets the model.
    void randomChangesMatchAFullRebuild() {
        QRandomGenerator random(7);
        for (const SidebarGrouping grouping : {SidebarGrouping::policy, SidebarGrouping::session}) {
            PromptStore store;
            PromptsSidebarModel model;
            model.setStore(&store);
            model.setGrouping(grouping);
            QAbstractItemModelTester tester(&model,
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);
            QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
            QList<QUuid> ids;
            for (int step = 0; step < 400; ++step) {
                const int choice = random.bounded(10);
                if (choice < 6 || ids.isEmpty()) {
                    ids.append(QUuid::createUuid());
                    // Few targets, so some adds replace a duplicate.
                    store.addPrompt(ids.last(), QStringLiteral("s%1").arg(random.bounded(5)),
                                    QStringLiteral("/p%1/policy.yml").arg(random.bounded(4)),
                                    fileDenial(QStringLiteral("/t%1").arg(random.bounded(12))),
                                    false);
                } else if (choice < 9) {
                    store.removePrompt(ids.takeAt(random.bounded(int(ids.size()))));
                } else {
                    const int row = random.bounded(model.rowCount());
                    model.select(row);
                    QVERIFY(modelRows(model).at(row).endsWith(" 1"));
                }
                QCOMPARE(modelRows(model), rebuiltRows(store, grouping));
            }
            QCOMPARE(resets.count(), 0);
        }
    }

    void entriesAndTheirMenus_data() {
        QTest::addColumn<QString>("group"); // policy path or session id; empty: "All"
        QTest::addColumn<SidebarGrouping>("grouping");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("hasPolicyFileItems");
        QTest::addColumn<bool>("hasAuditLogsItem");
        QTest::addColumn<bool>("hasCopySessionIdItem");
        QTest::addColumn<bool>("hasMenu");
        const auto policy = SidebarGrouping::policy, session = SidebarGrouping::session;
        QTest::newRow("all") << "" << policy << "All" << false << false << false << false;
        QTest::newRow("policy") << "/src/web/.zor/policy.yml" << policy << "web" << true << false
                                << false << true;
        QTest::newRow("session") << "s1" << session << "web [s1]" << true << true << true << true;
        QTest::newRow("session without prompts")
            << "gone" << session << "Unknown [gone]" << false << false << true << true;
    }

    void entriesAndTheirMenus() {
        QFETCH(QString, group);
        QFETCH(SidebarGrouping, grouping);
        PromptStore store;
        store.addPrompt("s1", "/src/web/.zor/policy.yml", fileDenial("/a"));
        const SidebarEntry entry = group.isEmpty() ? SidebarEntry::all(store)
                                   : grouping == SidebarGrouping::policy
                                       ? SidebarEntry::forPolicy(store, group)
                                       : SidebarEntry::forSession(store, group);
        QTEST(entry.label, "label");
        QTEST(entry.hasPolicyFileItems(), "hasPolicyFileItems");
        QTEST(entry.hasAuditLogsItem(), "hasAuditLogsItem");
        QTEST(entry.hasCopySessionIdItem(), "hasCopySessionIdItem");
        QTEST(entry.hasMenu(), "hasMenu");
    }

    void menuActionsReachTheServices() {
        QTemporaryDir dir;
        const QString tool = dir.filePath("zor-cli");
        QVERIFY(makeTool(tool));
        FakeWorkspace workspace;
        FakeClipboard clipboard;
        SidebarEntryActions actions(workspace, clipboard, tool, dir.path());
        actions.revealInFileManager("/p/policy.yml");
        actions.openInDefaultApp("/p/policy.yml");
        actions.copyPolicyPath("/p/policy.yml");
        actions.copySessionId("s/1");
        QCOMPARE(workspace.revealed, QStringList{"/p/policy.yml"});
        QCOMPARE(workspace.openedFiles, QStringList{"/p/policy.yml"});
        QCOMPARE(clipboard.texts, (QStringList{"/p/policy.yml", "s/1"}));

        // Twice for one session: the same file, rewritten.
        actions.openAuditLogs("s/1");
        actions.openAuditLogs("s/1");
        const QString script = dir.filePath("zor-logs-s_1.command");
        QCOMPARE(workspace.scriptsRun, (QStringList{script, script}));
        QFile file(script);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), sessionLogsScriptText(tool, "s/1").toUtf8());
        QCOMPARE(file.permissions() & 0x0fff, QFileDevice::Permissions(0x0755));
    }

    // "Open Audit Logs" runs the command-line tool: where it is not installed the
    // menu shows the item closed, with the reason where the pointer rests, and
    // no script is written that could only fail in the terminal.
    void auditLogsNeedTheTool_data() {
        QTest::addColumn<bool>("hasTool");
        QTest::newRow("installed") << true;
        QTest::newRow("not installed") << false;
    }

    void auditLogsNeedTheTool() {
        QFETCH(bool, hasTool);
        QTemporaryDir dir;
        const QString tool = dir.filePath("bin/zor-cli");
        if (hasTool)
            QVERIFY(QDir(dir.path()).mkdir("bin") && makeTool(tool));
        PromptStore store;
        store.addPrompt("s1", "/p/policy.yml", fileDenial("/a"));
        PromptsSidebarModel model;
        model.setStore(&store);
        model.setGrouping(SidebarGrouping::session);
        FakeWorkspace workspace;
        FakeClipboard clipboard;
        SidebarEntryActions actions(workspace, clipboard, tool, dir.path());
        const QString reason = "Not available on this system: there is no zor-cli at " + tool + ".";
        QCOMPARE(actions.auditLogsUnavailableReason(), hasTool ? QString() : reason);

        QQuickView view;
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        prepareZorEngine(*view.engine());
        view.setInitialProperties(
            {{"model", QVariant::fromValue(&model)}, {"actions", QVariant::fromValue(&actions)}});
        view.setSource(QUrl("qrc:/qt/qml/Zor/prompts/PromptsSidebar.qml"));
        QCOMPARE(view.status(), QQuickView::Ready);
        view.resize(340, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        // The session's entry follows "All".
        QQuickItem* session = nullptr;
        QTRY_VERIFY(session = [&]() -> QQuickItem* {
            const auto* entries = view.rootObject()->findChild<QQuickItem*>("sidebarEntries");
            for (QQuickItem* row :
                 entries->property("contentItem").value<QQuickItem*>()->childItems())
                if (row->property("sessionId").toString() == "s1")
                    return row;
            return nullptr;
        }());
        QTest::mouseClick(&view, Qt::RightButton, {}, centreOf(session));
        auto* item = session->findChild<QQuickItem*>("auditLogsItem");
        QTRY_VERIFY(item->isVisible());
        view.grabWindow(); // lays the menu out
        QCOMPARE(item->isEnabled(), hasTool);

        LogCapture log;
        if (!hasTool) {
            QTest::mouseMove(&view, centreOf(item) + QPoint(1, 0));
            QTest::mouseMove(&view, centreOf(item));
            QTRY_VERIFY(isTextShown(view.contentItem(), reason));
            QTest::mouseClick(&view, Qt::LeftButton, {}, centreOf(item));
            // Called all the same, the action writes nothing and says why.
            actions.openAuditLogs("s1");
            QCOMPARE(log.messages(LogCategory::promptsView),
                     QStringList{"No audit-log script for session s1: " + reason});
        } else {
            QVERIFY(!isTextShown(view.contentItem(), reason));
            QTest::mouseClick(&view, Qt::LeftButton, {}, centreOf(item));
        }
        QCOMPARE(workspace.scriptsRun,
                 hasTool ? QStringList{dir.filePath("zor-logs-s1.command")} : QStringList());
    }

    void scriptFileNames_data() {
        QTest::addColumn<QString>("sessionId");
        QTest::addColumn<QString>("fileName"); // empty: none
        QTest::newRow("slashes") << "a/b/../c"
                                 << "zor-logs-a_b_.._c.command";
        // 255 bytes at most
        QTest::newRow("at the limit")
            << QString(238, u'x') << "zor-logs-" + QString(238, u'x') + ".command";
        QTest::newRow("over the limit") << QString(239, u'x') << "";
        QTest::newRow("over the limit in bytes") << QString(120, QChar(0x00e9)) << "";
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(u'\0') + "b"
                             << "";
    }

    void scriptFileNames() {
        QFETCH(QString, sessionId);
        QTEST(sessionLogsScriptFileName(sessionId).fileName.value_or(QString()), "fileName");
    }

    void unnameableIdGetsNoScript() {
        QTemporaryDir dir;
        FakeWorkspace workspace;
        LogCapture logs;
        const QString id = QString(300, u'x');
        openSessionLogs(workspace, "/opt/zor-cli", dir.path(), id);
        QVERIFY(workspace.scriptsRun.isEmpty());
        QVERIFY(QDir(dir.path()).isEmpty());
        QCOMPARE(logs.messages(LogCategory::promptsView),
                 QStringList{"No audit-log script for session " + id +
                             ": its file name would exceed 255 bytes"});
        QCOMPARE(logs.records().first().level, LogLevel::error);
        QVERIFY(!logs.records().first().redactedMessage().contains(id));

        // A script that could not be written is not run: whatever lies there is not ours.
        logs.clear();
        openSessionLogs(workspace, "/opt/zor-cli", dir.filePath("missing"), "s1");
        QVERIFY(workspace.scriptsRun.isEmpty());
        QVERIFY(logs.messages().value(0).startsWith("Failed to write the audit-log script"));
    }

    void hostileIdsRunNothing_data() {
        QTest::addColumn<QString>("sessionId");
        QTest::newRow("empty") << "";
        // Quotes, substitutions, variables, backslashes (one before a quote, one
        // last), a newline, a leading dash.
        QTest::newRow("everything")
            << "-'\"$(touch marker)`touch marker`$HOME ${PATH} $1 a\\'b\\\n;touch marker #\\";
    }

    void hostileIdsRunNothing() {
        QFETCH(QString, sessionId);
        QTemporaryDir dir;
        // The tool's path is quoted the same way; give it its own awkward characters.
        QVERIFY(QDir(dir.path()).mkpath("bin $(touch marker) 'q'"));
        const QString tool = dir.filePath("bin $(touch marker) 'q'/zor-cli");
        {
            QFile stub(tool);
            QVERIFY(stub.open(QIODevice::WriteOnly));
            stub.write("#!/bin/bash\nprintf '%s\\0' \"$@\"\n");
            QVERIFY(stub.setPermissions(stub.permissions() | QFileDevice::ExeOwner));
        }
        FakeWorkspace workspace;
        openSessionLogs(workspace, tool, dir.path(), sessionId);
        QCOMPARE(workspace.scriptsRun.size(), 1);

        QProcess bash;
        bash.setWorkingDirectory(dir.path());
        bash.setStandardInputFile(QProcess::nullDevice());
        bash.start("bash", {workspace.scriptsRun[0]});
        QVERIFY(bash.waitForFinished(10000));

        QVERIFY(!QFile::exists(dir.filePath("marker")));
        // The tool prints each argument it got with a NUL after it.
        QCOMPARE(QString::fromUtf8(bash.readAllStandardOutput()),
                 "Running: " + shellQuoted(tool) + " logs --session " + shellQuoted(sessionId) +
                     "\n" + (QStringList{"logs", "--session", sessionId, ""}.join(QChar(u'\0'))) +
                     "Exit code: 0\n");
        // The closing pause waits for input, here at its end at once.
        QCOMPARE(bash.exitCode(), 1);
    }
};

QTEST_MAIN(SidebarTest)
#include "tst_sidebar.moc"
