#include "FakeAgentRequests.h"
#include "FakePlatform.h"
#include "LogCapture.h"
#include "ShownText.h"
#include "prompts/AppState.h"
#include "prompts/GroupDecision.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "prompts/SessionLogsScript.h"
#include "prompts/SidebarEntryActions.h"
#include "prompts/SidebarModels.h"
#include "shared/VisibleText.h"
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

QString rowText(const QAbstractItemModel& model, int row) {
    const QModelIndex index = model.index(row, 0);
    return rowText(index.data(PromptsSidebarModel::labelRole).toString(),
                   index.data(PromptsSidebarModel::countRole).toLongLong(),
                   index.data(PromptsSidebarModel::isSelectedRole).toBool());
}

// What a view of the model shows: rows read when the model says they came or
// changed, or that their order changed, and moved or dropped as it says,
// never read again otherwise.
class Mirror {
public:
    explicit Mirror(QAbstractItemModel& model) {
        const auto readAll = [this, &model] {
            rows.clear();
            for (int row = 0; row < model.rowCount(); ++row)
                rows.append(rowText(model, row));
        };
        readAll();
        QObject::connect(&model, &QAbstractItemModel::modelReset, &context, readAll);
        QObject::connect(&model, &QAbstractItemModel::layoutChanged, &context, readAll);
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &context,
                         [this, &model](const QModelIndex&, int first, int last) {
                             for (int row = first; row <= last; ++row)
                                 rows.insert(row, rowText(model, row));
                         });
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &context,
                         [this](const QModelIndex&, int first, int last) {
                             rows.remove(first, last - first + 1);
                         });
        QObject::connect(
            &model, &QAbstractItemModel::rowsMoved, &context,
            [this](const QModelIndex&, int first, int last, const QModelIndex&, int destination) {
                const QStringList moved = rows.mid(first, last - first + 1);
                rows.remove(first, moved.size());
                const int at = destination > first ? destination - int(moved.size()) : destination;
                for (int i = 0; i < moved.size(); ++i)
                    rows.insert(at + i, moved[i]);
            });
        QObject::connect(&model, &QAbstractItemModel::dataChanged, &context,
                         [this, &model](const QModelIndex& from, const QModelIndex& to) {
                             for (int row = from.row(); row <= to.row(); ++row)
                                 rows[row] = rowText(model, row);
                         });
    }

    QStringList rows;

private:
    QObject context;
};

// The entries computed afresh from the store's queries.
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

bool makeTool(const QString& path) {
    QFile tool(path);
    return tool.open(QIODevice::WriteOnly) && tool.write("#!/bin/sh\n") > 0 &&
           tool.setPermissions(tool.permissions() | QFileDevice::ExeOwner);
}

QPoint centreOf(const QQuickItem* item) {
    return item->mapToScene({item->width() / 2, item->height() / 2}).toPoint();
}

// What a group decision needs, on an agent that records requests.
struct Deciding {
    explicit Deciding(PromptStore& store)
        : list(store)
        , decider(store, list, agent)
        , group(store, decider) {}
    PromptListModel list;
    QAbstractItemModelTester listTester{&list,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest};
    FakeAgentRequests agent;
    PromptDecider decider;
    GroupDecision group;
};

} // namespace

class SidebarTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    // What a view shows, built only from the model's signals, equals a fresh
    // build from the store after every change, single or in a batch: counts,
    // order, and the selection, old and new; the selected row, as a view binds
    // it, follows. A change never resets the model.
    void viewOfTheModelMatchesAFreshBuild() {
        QRandomGenerator random(7);
        for (const SidebarGrouping grouping : {SidebarGrouping::policy, SidebarGrouping::session}) {
            PromptStore store;
            PromptsSidebarModel model;
            model.setStore(&store);
            model.setGrouping(grouping);
            QAbstractItemModelTester tester(&model,
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);
            Mirror view(model);
            QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
            int boundSelected = model.selectedRow();
            QObject::connect(&model, &PromptsSidebarModel::selectedRowChanged, &model,
                             [&] { boundSelected = model.selectedRow(); });
            const auto selectedRow = [&model] {
                for (int row = 0; row < model.rowCount(); ++row)
                    if (model.index(row).data(PromptsSidebarModel::isSelectedRole).toBool())
                        return row;
                return -1;
            };
            QList<QUuid> ids;
            const auto add = [&] {
                ids.append(QUuid::createUuid());
                // Drawn one by one: arguments are evaluated in an order each
                // compiler picks, and the steps must be the same with all.
                const QString session = QStringLiteral("s%1").arg(random.bounded(6));
                const QString policy = QStringLiteral("/p%1/policy.yml").arg(random.bounded(5));
                // Few targets, so some adds replace a duplicate.
                const Denial denial = fileDenial(QStringLiteral("/t%1").arg(random.bounded(12)));
                store.addPrompt(ids.last(), session, policy, denial, false);
            };
            const auto remove = [&] {
                if (!ids.isEmpty())
                    store.removePrompt(ids.takeAt(random.bounded(int(ids.size()))));
            };
            // Which group a row is: its session, or its policy file.
            const int identity = grouping == SidebarGrouping::session
                                     ? PromptsSidebarModel::sessionIdRole
                                     : PromptsSidebarModel::tooltipRole;
            for (int step = 0; step < 600; ++step) {
                // Indexes held across a change stay with their group.
                QList<std::pair<QPersistentModelIndex, QString>> held;
                for (int row = 0; row < model.rowCount(); ++row)
                    held.append({model.index(row), model.index(row).data(identity).toString()});
                const int choice = random.bounded(12);
                if (choice < 5) {
                    add();
                } else if (choice < 8) {
                    remove();
                } else if (choice < 10) {
                    // A batch, as a sync's turn makes one. The view hears of
                    // the selected row once, after all of it: it takes the
                    // changes it holds each time.
                    QSignalSpy told(&model, &PromptsSidebarModel::selectedRowChanged);
                    store.beginChanges();
                    for (int n = random.bounded(12); n > 0; --n)
                        random.bounded(3) ? add() : remove();
                    store.endChanges();
                    QVERIFY(told.count() <= 1);
                } else {
                    model.select(random.bounded(model.rowCount()));
                }
                QCOMPARE(view.rows, rebuiltRows(store, grouping));
                QCOMPARE(boundSelected, selectedRow());
                for (const auto& [index, group] : held)
                    if (index.isValid())
                        QCOMPARE(index.data(identity).toString(), group);
            }
            QCOMPARE(resets.count(), 0);
        }
    }

    // A removal that empties the selected group selects all. The view hears of
    // it once, when the rows it has are those of the store, alone or in a batch.
    void emptyingTheSelectedGroupSelectsAllOnce_data() {
        QTest::addColumn<bool>("isBatch");
        QTest::newRow("alone") << false;
        QTest::newRow("in a batch") << true;
    }
    void emptyingTheSelectedGroupSelectsAllOnce() {
        QFETCH(bool, isBatch);
        PromptStore store;
        PromptsSidebarModel model;
        model.setGrouping(SidebarGrouping::session);
        model.setStore(&store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        Mirror view(model);
        store.addPrompt("s1", "/p/policy.yml", fileDenial("/a"));
        const QUuid last = QUuid::createUuid();
        store.addPrompt(last, "s2", "/p/policy.yml", fileDenial("/b"), false);
        store.setFilter(PromptFilter::session("s2"));
        QCOMPARE(model.selectedRow(), 1);
        // Each time: the selected row, and the rows the view has then.
        QList<std::pair<int, QStringList>> told;
        QObject::connect(&model, &PromptsSidebarModel::selectedRowChanged, &model, [&] {
            told.append({model.selectedRow(), view.rows});
        });

        if (isBatch)
            store.beginChanges();
        store.removePrompt(last);
        if (isBatch) {
            store.addPrompt("s3", "/p/policy.yml", fileDenial("/c"));
            store.endChanges();
        }
        QCOMPARE(store.filter(), PromptFilter::all());
        QCOMPARE(told.size(), 1);
        QCOMPARE(told.front().first, 0);
        QCOMPARE(told.front().second, rebuiltRows(store, SidebarGrouping::session));
    }

    // A model no view shows holds no rows and takes no change; made active, it
    // shows what a fresh build shows, and follows on from there.
    void anInactiveModelCatchesUpWhenActive() {
        PromptStore store;
        PromptsSidebarModel model;
        model.setGrouping(SidebarGrouping::session);
        model.setStore(&store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        Mirror view(model);
        store.addPrompt("s1", "/p/policy.yml", fileDenial("/a"));
        store.addPrompt("s2", "/p/policy.yml", fileDenial("/b"));
        QCOMPARE(view.rows.size(), 3);

        model.setActive(false);
        QVERIFY(view.rows.isEmpty());
        QCOMPARE(model.selectedRow(), -1);
        QVERIFY(!model.handleKey(Qt::Key_Down, Qt::NoModifier));
        QSignalSpy changes(&model, &QAbstractItemModel::rowsInserted);
        const QUuid removed = QUuid::createUuid();
        store.addPrompt(removed, "s3", "/q/policy.yml", fileDenial("/c"), false);
        store.addPrompt("s1", "/q/policy.yml", fileDenial("/d"));
        store.setFilter(PromptFilter::session("s1"));
        QCOMPARE(changes.count(), 0);
        QCOMPARE(model.rowCount(), 0);

        model.setActive(true);
        QCOMPARE(view.rows, rebuiltRows(store, SidebarGrouping::session));
        QCOMPARE(model.selectedRow(), 1);
        store.removePrompt(removed);
        store.addPrompt("s4", "/q/policy.yml", fileDenial("/e"));
        QCOMPARE(view.rows, rebuiltRows(store, SidebarGrouping::session));
    }

    // The tab decides which entries show: the sessions' on the sessions tab,
    // the policies' on the others. The one shown follows the store, the
    // other holds nothing; each switch is one change of the shown model.
    void theTabPicksTheShownModel() {
        using AppTab = AppState::AppTab;
        AppState appState;
        PromptStore& store = *appState.promptStore();
        store.addPrompt("s1", "/p/policy.yml", fileDenial("/a"));
        SidebarModels models(appState);
        const QList<PromptsSidebarModel*> both = models.findChildren<PromptsSidebarModel*>();
        QCOMPARE(both.size(), 2);
        QAbstractItemModelTester firstTester(
            both.first(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester lastTester(both.last(),
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy switches(&models, &SidebarModels::shownChanged);
        struct Step {
            AppTab tab;
            SidebarGrouping grouping;
            QString title;
            qsizetype switchesSoFar;
        };
        const QList<Step> steps{{AppTab::policies, SidebarGrouping::policy, "Policies", 0},
                                {AppTab::sessions, SidebarGrouping::session, "Sessions", 1},
                                {AppTab::setup, SidebarGrouping::policy, "Policies", 2},
                                {AppTab::policies, SidebarGrouping::policy, "Policies", 2},
                                {AppTab::sessions, SidebarGrouping::session, "Sessions", 3}};
        QList<PromptsSidebarModel*> seen;
        for (const Step& step : steps) {
            appState.setSelectedTab(step.tab);
            store.addPrompt("s2", "/q/policy.yml", fileDenial("/b" + QString::number(seen.size())));
            PromptsSidebarModel* shown = models.shown();
            if (!seen.contains(shown))
                seen.append(shown);
            QCOMPARE(shown->grouping(), step.grouping);
            QCOMPARE(models.shownTitle(), step.title);
            QCOMPARE(switches.count(), step.switchesSoFar);
            QCOMPARE(Mirror(*shown).rows, rebuiltRows(store, step.grouping));
        }
        QCOMPARE(seen.size(), 2);
        // The policies' model, out of sight on the sessions tab.
        QCOMPARE(seen.first()->rowCount(), 0);
    }

    void onlyAPolicyFileOpensInItsApp_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("refusal"); // empty when it opens
        QTest::newRow("a policy file") << "policy.yml" << QString();
        QTest::newRow("another YAML name") << "strict.yaml" << QString();
        QTest::newRow("a link to a policy file") << "link to policy.yml" << QString();
        QTest::newRow("a program") << "run.command, executable"
                                   << "a program";
        QTest::newRow("a YAML name that is a program") << "policy.yml, executable"
                                                       << "a program";
        QTest::newRow("a link to a program") << "link to run.command, executable"
                                             << "a program";
        QTest::newRow("a file the system runs") << "settings.terminal"
                                                << "not a YAML file";
        QTest::newRow("a bundle") << "Tool.app/"
                                  << "not a regular file";
        QTest::newRow("nothing there") << "missing.yml"
                                       << "no such file";
        QTest::newRow("a relative path") << "relative/policy.yml"
                                         << "not an absolute path";
        QTest::newRow("no path") << ""
                                 << "not an absolute path";
    }

    // The agent names the policy file: what the system's default app for
    // it would run, rather than show, is not opened, and a line says why.
    void onlyAPolicyFileOpensInItsApp() {
        QFETCH(QString, kind);
        QFETCH(QString, refusal);
        QTemporaryDir dir;
        const bool isExecutable = kind.endsWith(", executable");
        const QString name = kind.section(u',', 0, 0).section(u' ', -1);
        const QString target = dir.filePath(name);
        QString path = dir.filePath("policy-link.yml");
        if (name.endsWith(u'/')) {
            QVERIFY(QDir().mkpath(target));
            path = target;
        } else if (kind.startsWith("relative")) {
            path = name;
        } else if (kind.isEmpty()) {
            path.clear();
        } else if (!kind.startsWith("missing")) {
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("rules: []\n");
            file.close();
            if (isExecutable)
                QVERIFY(file.setPermissions(file.permissions() | QFileDevice::ExeOwner));
            if (kind.startsWith("link"))
                QVERIFY(QFile::link(target, path));
            else
                path = target;
        } else {
            path = target;
        }
        LogCapture log;
        PromptStore store;
        store.addPrompt("s1", path, fileDenial("/a"));
        FakeWorkspace workspace;
        FakeClipboard clipboard;
        Deciding deciding(store);
        SidebarEntryActions actions(
            workspace, clipboard, QString(), [&dir] { return dir.path(); }, store, deciding.group);
        actions.openFor(SidebarEntry::forPolicy(store, path));
        actions.openInDefaultApp();
        QCOMPARE(workspace.openedFiles, refusal.isEmpty() ? QStringList{path} : QStringList());
        if (!refusal.isEmpty())
            QCOMPARE(log.records().last().redactedMessage(),
                     "Not opening the policy file <private>: " + refusal);
    }

    // One menu for all entries: the items of the entry it opened for, acting on
    // that entry's path and session.
    void menuFollowsItsEntry() {
        QTemporaryDir dir;
        const QString tool = dir.filePath("zor-cli");
        QVERIFY(makeTool(tool));
        PromptStore store;
        store.addPrompt("s/1", "/src/web/.zor/policy.yml", fileDenial("/a"));
        FakeWorkspace workspace;
        FakeClipboard clipboard;
        Deciding deciding(store);
        SidebarEntryActions actions(
            workspace, clipboard, tool, [&dir] { return dir.path(); }, store, deciding.group);
        const auto itemsOf = [&actions](const SidebarEntry& entry) {
            actions.openFor(entry);
            return QList<bool>{actions.hasPolicyFileItems(), actions.hasAuditLogsItem(),
                               actions.hasCopySessionIdItem(), actions.hasMenu()};
        };
        QCOMPARE(itemsOf(SidebarEntry::all(store)), (QList<bool>{false, false, false, false}));
        QCOMPARE(itemsOf(SidebarEntry::forPolicy(store, "/src/web/.zor/policy.yml")),
                 (QList<bool>{true, false, false, true}));
        const SidebarEntry gone = SidebarEntry::forSession(store, "gone");
        QCOMPARE(gone.label, "Unknown [gone]");
        QCOMPARE(itemsOf(gone), (QList<bool>{false, false, true, true}));
        actions.revealInFileManager(); // no path: nothing
        actions.copySessionId();

        const SidebarEntry session = SidebarEntry::forSession(store, "s/1");
        QCOMPARE(session.label, "web [s/1]");
        QCOMPARE(itemsOf(session), (QList<bool>{true, true, true, true}));
        actions.revealInFileManager();
        actions.copyPolicyPath();
        actions.copySessionId();
        QCOMPARE(workspace.revealed, QStringList{"/src/web/.zor/policy.yml"});
        QCOMPARE(clipboard.texts, (QStringList{"gone", "/src/web/.zor/policy.yml", "s/1"}));

        // Twice for one session: the same file, rewritten.
        actions.openAuditLogs();
        actions.openAuditLogs();
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
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setStore(&store);
        model.setGrouping(SidebarGrouping::session);
        FakeWorkspace workspace;
        FakeClipboard clipboard;
        Deciding deciding(store);
        SidebarEntryActions actions(
            workspace, clipboard, tool, [&dir] { return dir.path(); }, store, deciding.group);
        const QString reason = "Not available on this system: there is no zor-cli at " + tool + ".";
        QCOMPARE(actions.auditLogsUnavailableReason(), hasTool ? QString() : reason);

        QQuickView view;
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        prepareZorEngine(*view.engine());
        view.setInitialProperties({{"model", QVariant::fromValue(&model)},
                                   {"actions", QVariant::fromValue(&actions)},
                                   {"title", QStringLiteral("Sessions")},
                                   {"isScrollBarMade", true}});
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
                if (row->property("label").toString().endsWith("[s1]"))
                    return row;
            return nullptr;
        }());
        QTest::mouseClick(&view, Qt::RightButton, {}, centreOf(session));
        auto* item = view.rootObject()->findChild<QQuickItem*>("auditLogsItem");
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
            actions.openAuditLogs();
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

        // Nor is there one without a temporary directory of the user's own.
        logs.clear();
        openSessionLogs(workspace, "/opt/zor-cli", QString(), "s1");
        QVERIFY(workspace.scriptsRun.isEmpty());
        QCOMPARE(logs.messages(LogCategory::promptsView),
                 QStringList{"No audit-log script for session s1: there is no temporary "
                             "directory of this user's own"});

        // A script that could not be written is not run: whatever lies there is not ours.
        logs.clear();
        openSessionLogs(workspace, "/opt/zor-cli", dir.filePath("missing"), "s1");
        QVERIFY(workspace.scriptsRun.isEmpty());
        QVERIFY(logs.messages().value(0).startsWith("Failed to write the audit-log script"));
    }

    // A link put where the script goes is replaced, never written through:
    // the file it points at stays as it was, and the script run is the app's.
    void aLinkInTheScriptsPlaceIsReplaced() {
        QTemporaryDir dir;
        const QString kept = dir.filePath("keep");
        {
            QFile file(kept);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("mine\n");
        }
        const QString path = dir.filePath(*sessionLogsScriptFileName("s1").fileName);
        QVERIFY(QFile::link(kept, path));
        FakeWorkspace workspace;
        openSessionLogs(workspace, "/opt/zor-cli", dir.path(), "s1");
        QCOMPARE(workspace.scriptsRun, QStringList{path});
        QFile keep(kept);
        QVERIFY(keep.open(QIODevice::ReadOnly));
        QCOMPARE(keep.readAll(), "mine\n");
        QVERIFY(!QFileInfo(path).isSymLink());
        QFile script(path);
        QVERIFY(script.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(script.readAll()), sessionLogsScriptText("/opt/zor-cli", "s1"));
        QVERIFY(QFileInfo(path).isExecutable());
        // Nothing is left beside it.
        QCOMPARE(QDir(dir.path(), {}, QDir::Name, QDir::Files | QDir::Hidden | QDir::System)
                     .entryList()
                     .size(),
                 2);
    }

    void hostileIdsRunNothing_data() {
        QTest::addColumn<QString>("sessionId");
        QTest::newRow("empty") << "";
        // Quotes, substitutions, variables, backslashes (one before a quote, one
        // last), a newline, a leading dash.
        QTest::newRow("everything")
            << "-'\"$(touch marker)`touch marker`$HOME ${PATH} $1 a\\'b\\\n;touch marker #\\";
        // A title, a cleared screen: printed, they would act on the terminal.
        QTest::newRow("terminal escapes") << "s\x1b]0;x\x07\x1b[2J";
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
        const QString printed = QString::fromUtf8(bash.readAllStandardOutput());
        // What the script itself prints acts on nothing; the tool gets the id as it is.
        QVERIFY(!printed.section(u'\n', 0, 0).contains(QChar(0x1b)));
        QCOMPARE(printed,
                 "Running: " +
                     visibleText(shellQuoted(tool) + " logs --session " + shellQuoted(sessionId)) +
                     "\n" + (QStringList{"logs", "--session", sessionId, ""}.join(QChar(u'\0'))) +
                     "Exit code: 0\n");
        // The closing pause waits for input, here at its end at once.
        QCOMPARE(bash.exitCode(), 1);
    }
};

QTEST_MAIN(SidebarTest)
#include "tst_sidebar.moc"
