#include "PromptScreen.h"
#include "ShownText.h"
#include "prompts/GroupDecision.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"
#include "window/qml/QuickViews.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>
#include <QTextLayout>

using namespace zor;
using namespace zor::testing;
using Decision = PromptDecider::Decision;

namespace {

SerializablePromptItem record(int n, const QString& session, const Denial& denial,
                              bool isSessionEnded = false) {
    SerializablePromptItem made;
    made.id = idText(QUuid(uint(n), 0, 0, 0x40, 0x80, 0, 0, 0, 0, 0, 1));
    made.sessionId = session;
    made.policyPath = QStringLiteral("/work/%1/.zor/policy.yml").arg(session);
    made.denial = denial;
    made.isSessionEnded = isSessionEnded;
    return made;
}

Denial fileDenial(int n) {
    return FileDenial{QStringLiteral("/tmp/file-%1").arg(n), "write", "vim"};
}

// Prompts 1 to `count`, of session "s" unless given; prompt `count` on top.
QList<SerializablePromptItem> records(int count, const QString& session = "s") {
    QList<SerializablePromptItem> made;
    for (int n = 1; n <= count; ++n)
        made.append(record(n, session, fileDenial(n)));
    return made;
}

QUuid idOf(const SerializablePromptItem& made) {
    return QUuid(made.id);
}

// Every item of the window, in breadth: delegates and popups hang off their
// views, not their QObject parents.
QList<QQuickItem*> itemsOf(QQuickWindow* window) {
    QList<QQuickItem*> items{window->contentItem()};
    for (qsizetype i = 0; i < items.size(); ++i)
        items.append(items[i]->childItems());
    return items;
}

// Whether a text item read its text as markup: a line break of markup makes
// a line of its own, which plain text does not have.
// The popup that shows `item`, or null.
QQuickItem* popupOf(QQuickItem* item) {
    while (item && !item->inherits("QQuickPopupItem"))
        item = item->parentItem();
    return item;
}

// The item named `name` that `root` shows, or null.
QQuickItem* shownItem(QQuickItem* root, const QString& name) {
    if (!root->isVisible())
        return nullptr;
    if (root->objectName() == name)
        return root;
    for (QQuickItem* child : root->childItems())
        if (QQuickItem* found = shownItem(child, name))
            return found;
    return nullptr;
}

bool isReadAsMarkup(const QQuickItem* text) {
    return text->property("lineCount").toInt() !=
           text->property("text").toString().count(u'\n') + 1;
}

// The screen after a sync of `prompts`, the list holding the keyboard.
struct Rig : PromptScreen {
    explicit Rig(const QList<SerializablePromptItem>& prompts = records(4)) {
        sync(prompts);
        list()->forceActiveFocus();
        settle();
    }
    QQuickItem* rowOf(const SerializablePromptItem& made) const { return rowFor(idOf(made)); }
    void highlight(const SerializablePromptItem& made) { clickRow(rowOf(made)); }
    std::optional<QUuid> highlighted() const { return store.highlightedPromptId(); }
    QQuickItem* sessionEntry(const QString& session) const {
        for (QQuickItem* entry : sidebarEntries())
            if (entry->property("label").toString().endsWith("[" + session + "]"))
                return entry;
        return nullptr;
    }
    // Rests the pointer on a sidebar entry; whether its tool tip then shows
    // its text, as a popup does. The pointer comes from the window's corner:
    // left where an earlier test put it, it would not enter the entry.
    bool isToolTipShownOnHover(QQuickItem* entry) {
        const QString text = entry->property("tooltip").toString();
        window->grabWindow();
        QTest::mouseMove(window, QPoint(0, 0));
        QTest::mouseMove(window,
                         entry->mapToScene({entry->width() / 2, entry->height() / 2}).toPoint());
        return isToolTipShowing(text);
    }
    // Whether a popup shows `text`, or comes to within a while.
    bool isToolTipShowing(const QString& text) {
        return QTest::qWaitFor(
            [&] {
                const QList<QQuickItem*> items = itemsOf(window);
                return std::any_of(items.cbegin(), items.cend(), [&](QQuickItem* item) {
                    return item->inherits("QQuickPopupItem") && isTextShown(item, text);
                });
            },
            3000);
    }
};

} // namespace

class PromptsViewTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { useDesktopControlsStyle(); }

    // Seeded random runs of what the agent and the user do. After each step
    // the rows on screen are the store's filtered prompts, and every decision
    // reaches the agent for the prompt the user saw highlighted or clicked.
    void screenFollowsTheStore() {
        const bool isOneSeed = qEnvironmentVariableIsSet("ZOR_SCREEN_SEED");
        const quint32 firstSeed =
            isOneSeed ? quint32(qEnvironmentVariableIntValue("ZOR_SCREEN_SEED")) : 1;
        PromptScreen screen;
        for (int run = 0; run < (isOneSeed ? 1 : 200); ++run) {
            const quint32 seed = firstSeed + quint32(run);
            const QString failure = runSequence(screen, seed);
            QVERIFY2(failure.isEmpty(),
                     qPrintable(QStringLiteral("seed %1 (ZOR_SCREEN_SEED=%1 reruns it): %2")
                                    .arg(seed)
                                    .arg(failure)));
        }
    }

    // A launch sync of 10,000 reaches the list a turn at a time, not a row at a
    // time, and a link to the oldest prompt brings all of it into view. How
    // many turns it takes depends on the host's speed.
    void largeSyncAndALinkToTheOldest() {
        PromptScreen screen;
        auto* listModel = screen.list()->property("model").value<PromptListModel*>();
        QAbstractItemModelTester tester(listModel,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy insertions(listModel, &QAbstractItemModel::rowsInserted);
        QSignalSpy turns(&screen.store, &PromptStore::promptsChanged);
        QList<SerializablePromptItem> many;
        for (int n = 1; n <= 10000; ++n)
            many.append(record(n, QStringLiteral("s%1").arg(n % 7), fileDenial(n)));
        screen.sync(many);
        QCOMPARE(screen.mismatch(), QString());
        QCOMPARE(listModel->count(), 10000);
        QVERIFY2(insertions.size() <= turns.size(),
                 qPrintable(QStringLiteral("%1 insertions in %2 turns")
                                .arg(insertions.size())
                                .arg(turns.size())));

        screen.scene.appState.navigateToPrompt(idOf(many.first()));
        screen.settle();
        QQuickItem* oldest = screen.rowFor(idOf(many.first()));
        QVERIFY(oldest);
        QVERIFY(screen.isFullyInView(oldest));
        QVERIFY(oldest->property("isHighlighted").toBool());
        QCOMPARE(screen.mismatch(), QString());
    }

    // A link given at launch may be followed before the window has drawn its
    // first frame, and so before it has made its list: the list, once made,
    // shows the prompt and takes the keyboard.
    void aLinkFollowedBeforeTheFirstFrame() {
        PromptScreen screen(PromptScreen::Showing::later);
        const QList<SerializablePromptItem> many = records(60);
        screen.sync(many);
        screen.scene.appState.navigateToPrompt(idOf(many.first()));
        screen.settle();
        QVERIFY(!screen.list());

        screen.show();
        QQuickItem* oldest = screen.rowFor(idOf(many.first()));
        QVERIFY(oldest);
        QVERIFY(screen.isFullyInView(oldest));
        QVERIFY(oldest->property("isHighlighted").toBool());
        // The keyboard is on the list, as the link asked.
        QVERIFY(screen.list()->hasActiveFocus());
        QCOMPARE(screen.mismatch(), QString());
    }

    // Each decision, by its button and by its keys, reaches the agent with
    // its action and lifetime; the prompt goes when the agent answers.
    void decisionsReachTheAgent_data() {
        QTest::addColumn<Decision>("decision");
        QTest::addColumn<bool>("isByKeys");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("lifetime");
        QTest::addColumn<Denial>("denial");
        const struct {
            Decision decision;
            const char* name;
            const char* action;
            const char* lifetime;
        } decisions[] = {
            {Decision::allowOnce, "allow once", "allow", "once"},
            {Decision::allowSession, "allow for the session", "allow", "session"},
            {Decision::allowAlways, "allow always", "allow", "always"},
            {Decision::denySession, "deny for the session", "deny", "session"},
            {Decision::denyAlways, "deny always", "deny", "always"},
        };
        for (const auto& d : decisions)
            for (const bool isByKeys : {false, true})
                QTest::addRow("%s, %s", d.name, isByKeys ? "keys" : "button")
                    << d.decision << isByKeys << d.action << d.lifetime << Denial(fileDenial(2));
        // Each kind the agent can write a rule for.
        QTest::newRow("a network request, allow always")
            << Decision::allowAlways << false << "allow"
            << "always" << Denial(NetworkDenial{"example.org", 443, "curl"});
        QTest::newRow("a process, deny for the session, keys")
            << Decision::denySession << true << "deny"
            << "session" << Denial(ExecDenial{"/bin/ls", {"-la"}, "sh"});
        QTest::newRow("a device, allow once")
            << Decision::allowOnce << false << "allow"
            << "once" << Denial(IoDeviceDenial{"IOUSBHostDevice", "usbd"});
    }
    void decisionsReachTheAgent() {
        QFETCH(Decision, decision);
        QFETCH(bool, isByKeys);
        QFETCH(QString, action);
        QFETCH(QString, lifetime);
        QFETCH(Denial, denial);
        QList<SerializablePromptItem> prompts = records(3);
        prompts[1].denial = denial;
        Rig rig(prompts);
        const SerializablePromptItem& decided = prompts[1];
        if (isByKeys) {
            rig.highlight(decided);
            rig.keys(QKeySequence(PromptDecider::shortcut(decision)));
        } else {
            rig.click(rig.button(rig.rowOf(decided), decision));
        }
        const QList<FakeAgentCall> calls = rig.newCalls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].method, "handlePrompt");
        QCOMPARE(calls[0].arguments,
                 (QStringList{decided.id.toUpper(), action, lifetime, decided.policyPath}));
        QVERIFY(rig.store.containsPrompt(idOf(decided)));
        rig.answerAll(true);
        QVERIFY(!rig.store.containsPrompt(idOf(decided)));
        QCOMPARE(rig.mismatch(), QString());
    }

    // What is logged, and that the prompt goes in every case.
    void decisionOutcomes_data() {
        QTest::addColumn<Denial>("denial");
        QTest::addColumn<QString>("agent"); // "absent", "ok", "fail"
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("exec, handled") << Denial(ExecDenial{"/bin/ls", {"-la"}, "sh"}) << "ok"
                                       << QStringList{"Override handled for exec: /bin/ls -la"};
        QTest::newRow("refused") << fileDenial(1) << "fail"
                                 << QStringList{"Failed to handle prompt: refused"};
        QTest::newRow("not connected") << fileDenial(1) << "absent"
                                       << QStringList{"Failed to handle prompt: Not connected "
                                                      "to ZorAgent"};
        QTest::newRow("signal: removed here, nothing sent")
            << Denial(SignalDenial{9, 42, {}, "kill"}) << "ok" << QStringList();
    }
    void decisionOutcomes() {
        QFETCH(Denial, denial);
        QFETCH(QString, agent);
        const SerializablePromptItem prompt = record(1, "s", denial);
        Rig rig({prompt});
        if (agent == "absent")
            rig.scene.handler.disconnect();
        rig.log.clear();
        rig.click(rig.button(rig.rowOf(prompt), Decision::denyAlways));
        if (agent != "absent")
            rig.answerAll(agent == "ok");
        QTEST(rig.log.messages(LogCategory::promptsView), "lines");
        // The agent's error text is its own: kept out of the redacted log.
        for (const LogRecord& record : rig.log.records())
            QVERIFY2(!record.redactedMessage().contains("refused") &&
                         !record.redactedMessage().contains("Not connected"),
                     qPrintable(record.redactedMessage()));
        QVERIFY(rig.store.prompts().isEmpty());
        // A signal is only the app's own business, and nothing reaches an absent agent.
        const bool isSent = agent != "absent" && denial.kind() != Denial::Kind::signal;
        QCOMPARE(rig.newCalls().size(), isSent ? 1 : 0);
    }

    void aSharedIdIsNotLeftBeingDecided_data() {
        QTest::addColumn<int>("clicked"); // the row whose button is pressed
        QTest::newRow("the newer row") << 0;
        QTest::newRow("the older row") << 1;
    }

    // An agent may send two requests under one id. A row's button decides
    // that row's request, with the policy file the row shows, and that row
    // goes once answered. The other is open again, not left "being decided".
    void aSharedIdIsNotLeftBeingDecided() {
        QFETCH(int, clicked);
        QList<SerializablePromptItem> prompts = records(2);
        prompts[1].id = prompts[0].id;
        prompts[1].policyPath = "/work/other/.zor/policy.yml";
        Rig rig(prompts);
        QCOMPARE(rig.rows().size(), 2);
        const QString decidedPath = rig.rows().at(clicked)->property("policyPath").toString();
        const QString otherPath = rig.rows().at(1 - clicked)->property("policyPath").toString();
        QVERIFY(decidedPath != otherPath);
        rig.newCalls();
        rig.click(rig.button(rig.rows().at(clicked), Decision::denyAlways));
        const QList<FakeAgentCall> calls = rig.newCalls();
        QCOMPARE(calls.size(), 1);
        QVERIFY2(calls.first().arguments.contains(decidedPath),
                 qPrintable(calls.first().arguments.join(u' ')));
        rig.answerAll(true);
        QCOMPARE(rig.rows().size(), 1);
        QCOMPARE(rig.rows().first()->property("policyPath").toString(), otherPath);
        QVERIFY(!rig.listModel().isProcessing(idOf(prompts[0])));
        QVERIFY(rig.button(rig.rows().first(), Decision::denyAlways)->isEnabled());
        QCOMPARE(rig.mismatch(), QString());
    }

    // A dismissal the agent refuses still goes from the list, with a line.
    void aRefusedDismissalIsLogged() {
        const QList<SerializablePromptItem> prompts = records(2);
        Rig rig(prompts);
        rig.highlight(prompts[0]);
        rig.log.clear();
        rig.keys(QKeySequence(Qt::Key_Delete));
        rig.answerAll(false);
        QCOMPARE(rig.log.messages(LogCategory::promptsView),
                 QStringList{"Failed to dismiss prompt: refused"});
        QCOMPARE(rig.log.records().last().redactedMessage(), "Failed to dismiss prompt: <private>");
        QCOMPARE(rig.log.records().last().level, LogLevel::error);
        QVERIFY(!rig.store.containsPrompt(idOf(prompts[0])));
    }

    // While the agent has not answered, the row is dimmed and closed: no
    // button, key or Delete reaches it again.
    void aRowBeingDecidedIsClosed() {
        const QList<SerializablePromptItem> prompts = records(2);
        Rig rig(prompts);
        rig.highlight(prompts[0]);
        QQuickItem* row = rig.rowOf(prompts[0]);
        auto* title = row->findChild<QQuickItem*>("promptTitle");
        const QColor openColour = title->property("color").value<QColor>();
        rig.keys(QKeySequence(PromptDecider::shortcut(Decision::denyAlways)));
        QCOMPARE(rig.newCalls().size(), 1);

        QVERIFY(row->property("isProcessing").toBool());
        QVERIFY(title->property("color").value<QColor>() != openColour);
        for (const Decision decision : {Decision::allowOnce, Decision::allowAlways})
            QVERIFY(!rig.button(row, decision)->isEnabled());
        rig.keys(QKeySequence(Qt::Key_Delete));
        rig.keys(QKeySequence(PromptDecider::shortcut(Decision::allowAlways)));
        rig.click(rig.button(row, Decision::allowAlways));
        QCOMPARE(rig.newCalls().size(), 0);
        QVERIFY(rig.store.containsPrompt(idOf(prompts[0])));
    }

    // After a reconnect the agent hands every prompt over again under its
    // id, and a prompt may come again while it is being decided. Each is
    // still the prompt the user is at work on: the highlight, the selection
    // and a decision underway stay with it.
    void promptsHandedOverAgainStayAsTheUserLeftThem() {
        const QList<SerializablePromptItem> prompts = records(4);
        Rig rig(prompts);
        rig.highlight(prompts[1]);
        rig.clickRow(rig.rowOf(prompts[2]), Qt::ShiftModifier); // which takes the highlight
        rig.sync(prompts);
        rig.settle();
        QCOMPARE(rig.highlighted(), std::optional(idOf(prompts[2])));
        QCOMPARE(rig.highlightedRow(), rig.rowOf(prompts[2]));
        QCOMPARE(rig.listModel().selectedCount(), 2);
        QVERIFY(rig.rowOf(prompts[1])->property("isSelected").toBool());
        QCOMPARE(rig.mismatch(), QString());

        rig.newCalls();
        rig.click(rig.button(rig.rowOf(prompts[3]), Decision::denyAlways));
        QCOMPARE(rig.newCalls().size(), 1);
        rig.add(prompts[3]);
        rig.settle();
        QQuickItem* row = rig.rowOf(prompts[3]);
        QVERIFY(row->property("isProcessing").toBool());
        rig.click(rig.button(row, Decision::allowAlways));
        rig.keys(QKeySequence(PromptDecider::shortcut(Decision::allowAlways)));
        QCOMPARE(rig.newCalls().size(), 0);
        rig.answerAll(true);
        rig.settle();
        QVERIFY(!rig.store.containsPrompt(idOf(prompts[3])));
    }

    // Where the highlight goes when the highlighted prompt does.
    void highlightAfterRemoval_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<int>("highlighted"); // prompt number; prompts 4, 3, 2, 1 top down
        QTest::addColumn<int>("expected");    // prompt number, 0 for none
        QTest::newRow("delete: the one that followed") << "delete" << 3 << 2;
        QTest::newRow("delete the last: the new last") << "delete" << 1 << 2;
        QTest::newRow("decision: the one that followed") << "decision" << 2 << 1;
        QTest::newRow("decision, the agent removes it first") << "decision, agent" << 2 << 1;
        QTest::newRow("decision, a duplicate replaces it first") << "decision, replaced" << 2 << 0;
        QTest::newRow("the agent alone: none") << "agent" << 3 << 0;
        QTest::newRow("replaced: none") << "replaced" << 3 << 0;
    }
    void highlightAfterRemoval() {
        QFETCH(QString, how);
        QFETCH(int, highlighted);
        QFETCH(int, expected);
        const QList<SerializablePromptItem> prompts = records(4);
        Rig rig(prompts);
        const SerializablePromptItem& target = prompts[highlighted - 1];
        const auto replace = [&] {
            SerializablePromptItem replacement = target;
            replacement.id = idText(QUuid::createUuid());
            rig.add(replacement);
        };
        rig.highlight(target);
        if (how == "delete") {
            rig.keys(QKeySequence(Qt::Key_Delete));
        } else if (how.startsWith("decision")) {
            rig.keys(QKeySequence(PromptDecider::shortcut(Decision::denySession)));
            if (how.endsWith("agent"))
                rig.removeByAgent(idOf(target));
            else if (how.endsWith("replaced"))
                replace();
            rig.answerAll(true);
        } else if (how == "agent") {
            rig.removeByAgent(idOf(target));
        } else {
            replace();
        }
        QVERIFY(!rig.store.containsPrompt(idOf(target)));
        QCOMPARE(rig.highlighted(),
                 expected ? std::optional(idOf(prompts[expected - 1])) : std::nullopt);
        QCOMPARE(rig.mismatch(), QString());
    }

    // When the highlighted prompt was the last of the sidebar's group, the list
    // falls back to all prompts and nothing the user has not seen is highlighted.
    void removingTheGroupsLastClearsTheHighlight() {
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "b", fileDenial(3)));
        Rig rig(prompts);
        rig.store.setFilter(PromptFilter::session("b"));
        rig.settle();
        rig.highlight(prompts[2]);
        rig.keys(QKeySequence(Qt::Key_Delete));
        QCOMPARE(rig.store.filter(), PromptFilter::all());
        QCOMPARE(rig.highlighted(), std::nullopt);
        rig.keys(QKeySequence(Qt::Key_Delete));
        QCOMPARE(rig.store.prompts().size(), 2);
        QCOMPARE(rig.mismatch(), QString());
    }

    // A sidebar entry's click filters the list to its group; "All" brings
    // every prompt back.
    void sidebarEntriesFilterTheList() {
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "b", fileDenial(3)));
        Rig rig(prompts);
        rig.scene.appState.setSelectedTab(AppTab::sessions);
        rig.settle();
        const auto entryOf = [&rig](const QString& session) -> QQuickItem* {
            for (QQuickItem* entry : rig.sidebarEntries())
                if (entry->property("label").toString().endsWith(" [" + session + "]"))
                    return entry;
            return nullptr;
        };
        QQuickItem* entry = entryOf("b");
        QVERIFY(entry);
        rig.click(entry);
        QCOMPARE(rig.store.filter(), PromptFilter::session("b"));
        QCOMPARE(rig.rows().size(), 1);
        QCOMPARE(rig.rows().first(), rig.rowOf(prompts[2]));
        QCOMPARE(rig.mismatch(), QString());
        rig.click(rig.sidebarEntries().first());
        QCOMPARE(rig.store.filter(), PromptFilter::all());
        QCOMPARE(rig.rows().size(), 3);
        QCOMPARE(rig.mismatch(), QString());
    }

    // An empty list says why it is empty.
    void emptyListSaysWhy_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("message");
        const QString nothing = "No Pending Prompts";
        const QString nothingMessage = "Unknown policy decisions will appear here.";
        QTest::newRow("none synced") << 0 << "" << nothing << nothingMessage;
        QTest::newRow("the last one deleted") << 1 << "delete" << nothing << nothingMessage;
        QTest::newRow("a filter of no prompts")
            << 2 << "filter"
            << "No Prompts Matching Filter"
            << "Select \"All\" in the sidebar to see all prompts.";
        QTest::newRow("a search of no prompts") << 2 << "search"
                                                << "No Prompts Found"
                                                << "No prompt here holds the searched text.";
        // The filter says why first: the search cannot bring back what it left out.
        QTest::newRow("a filter of no prompts, and a search")
            << 2 << "filter, search"
            << "No Prompts Matching Filter"
            << "Select \"All\" in the sidebar to see all prompts.";
        QTest::newRow("a search of none of a filter's prompts")
            << 2 << "session, search"
            << "No Prompts Found"
            << "No prompt here holds the searched text.";
        QTest::newRow("prompts: no empty state") << 2 << ""
                                                 << ""
                                                 << "";
    }
    void emptyListSaysWhy() {
        QFETCH(int, count);
        QFETCH(QString, how);
        QFETCH(QString, title);
        QFETCH(QString, message);
        const QList<SerializablePromptItem> prompts = records(count);
        Rig rig(prompts);
        if (how == "delete") {
            rig.highlight(prompts[0]);
            rig.keys(QKeySequence(Qt::Key_Delete));
        } else {
            if (how.startsWith("filter"))
                rig.store.setFilter(PromptFilter::session("gone"));
            if (how.startsWith("session"))
                rig.store.setFilter(PromptFilter::session("s"));
            if (how.endsWith("search"))
                rig.store.setSearchText("nothing holds this");
        }
        rig.settle();
        QQuickItem* emptyState = rig.item("emptyState");
        QCOMPARE(emptyState->isVisible(), !title.isEmpty());
        QCOMPARE(rig.rows().isEmpty(), !title.isEmpty());
        if (!title.isEmpty()) {
            QVERIFY(isTextShown(emptyState, title));
            QVERIFY(isTextShown(emptyState, message));
        }
    }

    // An ended session's prompt shows so, and offers only what outlives the
    // session; a session that ends later closes its rows' other decisions.
    void anEndedSessionOffersOnlyAlways() {
        const QList<SerializablePromptItem> prompts{record(1, "live", fileDenial(1)),
                                                    record(2, "ended", fileDenial(2), true)};
        Rig rig(prompts);
        QCOMPARE(rig.mismatch(), QString());
        for (const Decision decision : {Decision::allowOnce, Decision::allowSession,
                                        Decision::denySession, Decision::allowAlways}) {
            rig.click(rig.button(rig.rowOf(prompts[1]), decision));
            rig.click(rig.button(rig.rowOf(prompts[0]), decision));
        }
        QCOMPARE(rig.newCalls().size(), 2); // Always on the ended row, Once on the live one

        rig.answerAll(true);
        const SerializablePromptItem ending = record(3, "live", fileDenial(3));
        rig.add(ending);
        rig.endSession("live");
        rig.settle();
        QVERIFY(rig.rowOf(ending)->findChild<QQuickItem*>("sessionEndedBadge")->isVisible());
        QVERIFY(!rig.button(rig.rowOf(ending), Decision::allowOnce)->isEnabled());
        QVERIFY(rig.button(rig.rowOf(ending), Decision::denyAlways)->isEnabled());
        QCOMPARE(rig.mismatch(), QString());
    }

    // A linked prompt is brought into view again as the list's width changes,
    // until the user moves the list by hand or by the keys.
    void aLinkedPromptStaysInViewUntilTheUserMoves_data() {
        QTest::addColumn<QString>("move");
        QTest::newRow("the wheel") << "wheel";
        QTest::newRow("the scroll bar") << "bar";
        QTest::newRow("the arrow keys") << "keys";
    }
    void aLinkedPromptStaysInViewUntilTheUserMoves() {
        QFETCH(QString, move);
        const QList<SerializablePromptItem> prompts = records(40);
        Rig rig(prompts);
        auto* viewModel = rig.item("promptsView")->property("viewModel").value<PromptsViewModel*>();
        QSignalSpy served(viewModel, &PromptsViewModel::bringRowToTop);
        rig.scene.appState.navigateToPrompt(idOf(prompts[5]));
        rig.settle();
        QCOMPARE(served.size(), 1);
        rig.window->resize(rig.window->width() + 40, rig.window->height());
        rig.settle();
        QCOMPARE(served.size(), 2);
        if (move == "wheel") {
            const QPointF at = rig.list()->mapToScene({rig.list()->width() / 2, 200});
            for (int notch = 0; notch < 3; ++notch) {
                QWheelEvent wheel(at, rig.window->mapToGlobal(at), QPoint(), QPoint(0, 120),
                                  Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
                QCoreApplication::sendEvent(rig.window, &wheel);
            }
        } else if (move == "bar") {
            // Made after the list, from its own file.
            QTRY_VERIFY(rig.scrollBarIn("promptsView"));
            QQuickItem* bar = rig.scrollBarIn("promptsView");
            const QPoint at = bar->mapToScene({bar->width() / 2, bar->height() / 2}).toPoint();
            QTest::mousePress(rig.window, Qt::LeftButton, {}, at);
            QTest::mouseRelease(rig.window, Qt::LeftButton, {}, at);
        } else {
            rig.keys(QKeySequence(Qt::Key_Down));
        }
        rig.window->resize(rig.window->width() - 40, rig.window->height());
        rig.settle();
        QCOMPARE(served.size(), 2);
    }

    // While the user is at work on a prompt, new ones at the head do not move
    // what the list shows: the keys never act on a prompt pushed out of sight.
    void arrivalsAtTheHeadLeaveTheViewWhereItIs_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("highlighted"); // a row from the top
        QTest::addColumn<bool>("isScrolled");
        QTest::addColumn<int>("arrivals");
        QTest::newRow("the top row, at the top") << 30 << 0 << false << 6;
        QTest::newRow("a row further down, at the top") << 30 << 3 << false << 2;
        QTest::newRow("a burst, at the top") << 30 << 0 << false << 200;
        QTest::newRow("scrolled down the list") << 30 << 12 << true << 6;
        // Too few below to fill the view: the list ends at its foot.
        QTest::newRow("a list shorter than the view") << 5 << 0 << false << 2;
    }
    void arrivalsAtTheHeadLeaveTheViewWhereItIs() {
        QFETCH(int, count);
        QFETCH(int, highlighted);
        QFETCH(bool, isScrolled);
        QFETCH(int, arrivals);
        const QList<SerializablePromptItem> prompts = records(count);
        Rig rig(prompts);
        const SerializablePromptItem& chosen = prompts[prompts.size() - 1 - highlighted];
        if (isScrolled) {
            rig.scene.appState.navigateToPrompt(idOf(chosen));
            rig.settle();
        }
        rig.highlight(chosen);
        rig.settle();
        const auto shown = [&] {
            QStringList texts;
            for (QQuickItem* row : rig.rowsInView())
                texts.append(
                    row->findChild<QQuickItem*>("promptTarget")->property("text").toString());
            return texts;
        };
        const QStringList before = shown();
        const qreal rowTop = rig.rowOf(chosen)->mapToItem(rig.list(), QPointF()).y();
        for (int n = 0; n < arrivals; ++n)
            rig.add(record(100 + n, "s", fileDenial(100 + n)));
        rig.settle();
        QCOMPARE(rig.highlighted(), idOf(chosen));
        if (count > 5) {
            QCOMPARE(shown(), before);
            QCOMPARE(rig.rowOf(chosen)->mapToItem(rig.list(), QPointF()).y(), rowTop);
        } else {
            QCOMPARE(shown().mid(shown().size() - before.size()), before);
            QVERIFY(rig.isFullyInView(rig.rowOf(chosen)));
            QCOMPARE(rig.list()->property("contentY").toReal(),
                     rig.list()->property("contentHeight").toReal() +
                         rig.list()->property("bottomMargin").toReal() - rig.list()->height());
        }
        QCOMPARE(rig.mismatch(), QString());
    }

    // The row at the top of the view may go in the batch that brings new
    // ones: the row after it takes its place, and the highlighted row stays
    // in view.
    void aTopRowThatGoesAsRowsArriveLeavesTheHighlightInView_data() {
        QTest::addColumn<bool>("isRepeated");
        QTest::newRow("its process asks again") << true;
        QTest::newRow("the agent removes it") << false;
    }
    void aTopRowThatGoesAsRowsArriveLeavesTheHighlightInView() {
        QFETCH(bool, isRepeated);
        const QList<SerializablePromptItem> prompts = records(30);
        Rig rig(prompts);
        const SerializablePromptItem& top = prompts[29];
        const SerializablePromptItem& chosen = prompts[25]; // the fifth row
        rig.highlight(chosen);
        rig.settle();
        QVERIFY(rig.isFullyInView(rig.rowOf(chosen)));
        rig.store.beginChanges();
        if (isRepeated)
            rig.store.addPrompt(QUuid::createUuid(), top.sessionId, top.policyPath, top.denial,
                                false);
        else
            rig.store.removePrompt(idOf(top));
        rig.store.addPrompt(QUuid::createUuid(), "s", top.policyPath, fileDenial(101), false);
        rig.store.endChanges();
        rig.settle();
        QCOMPARE(rig.highlighted(), idOf(chosen));
        QVERIFY(rig.isFullyInView(rig.rowOf(chosen)));
        QCOMPARE(rig.rowsInView().first(), rig.rowOf(prompts[28]));
        QCOMPARE(rig.mismatch(), QString());
    }

    // A highlighted prompt that the search hides holds nothing in place:
    // new prompts the search finds come into view at the top.
    void aHighlightTheSearchHidesHoldsNothing() {
        const QList<SerializablePromptItem> prompts = records(30);
        Rig rig(prompts);
        rig.highlight(prompts[25]);
        rig.store.setSearchText("file-1");
        rig.settle();
        QVERIFY(!rig.rowOf(prompts[25]));
        const SerializablePromptItem found = record(100, "s", fileDenial(100));
        rig.add(found);
        QCOMPARE(rig.rowsInView().first(), rig.rowOf(found));
        QCOMPARE(rig.mismatch(), QString());
    }

    // With nothing highlighted, Down starts at the top and Up at the bottom.
    void arrowsFromNothing_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("expected"); // prompt number; prompts 3, 2, 1 top down
        QTest::newRow("down") << int(Qt::Key_Down) << 3;
        QTest::newRow("up") << int(Qt::Key_Up) << 1;
    }
    void arrowsFromNothing() {
        QFETCH(int, key);
        QFETCH(int, expected);
        const QList<SerializablePromptItem> prompts = records(3);
        Rig rig(prompts);
        rig.keys(QKeySequence(key));
        QCOMPARE(rig.highlighted(), idOf(prompts[expected - 1]));
        QCOMPARE(rig.highlightedRow(), rig.rowOf(prompts[expected - 1]));
        QCOMPARE(rig.mismatch(), QString());
    }

    void homeAndEndReachTheEnds_data() {
        QTest::addColumn<int>("from"); // prompt number, 0 for none; prompts 5 to 1 top down
        QTest::addColumn<QKeyCombination>("keys");
        QTest::addColumn<int>("expected");
        QTest::addColumn<int>("selected");
        QTest::newRow("Home") << 2 << QKeyCombination(Qt::Key_Home) << 5 << 1;
        QTest::newRow("End") << 4 << QKeyCombination(Qt::Key_End) << 1 << 1;
        QTest::newRow("Home from nothing") << 0 << QKeyCombination(Qt::Key_Home) << 5 << 1;
        QTest::newRow("End from nothing") << 0 << QKeyCombination(Qt::Key_End) << 1 << 1;
        QTest::newRow("Shift+End") << 4 << QKeyCombination(Qt::SHIFT | Qt::Key_End) << 1 << 4;
        QTest::newRow("Shift+Home") << 3 << QKeyCombination(Qt::SHIFT | Qt::Key_Home) << 5 << 3;
    }
    // However long the list, its ends are a key away, and Shift reaches them.
    void homeAndEndReachTheEnds() {
        QFETCH(int, from);
        QFETCH(QKeyCombination, keys);
        QFETCH(int, expected);
        QFETCH(int, selected);
        const QList<SerializablePromptItem> prompts = records(5);
        Rig rig(prompts);
        if (from > 0)
            rig.clickRow(rig.rowOf(prompts[from - 1]));
        rig.list()->forceActiveFocus();
        rig.keys(QKeySequence(keys));
        QCOMPARE(rig.highlighted(), idOf(prompts[expected - 1]));
        QCOMPARE(rig.highlightedRow(), rig.rowOf(prompts[expected - 1]));
        QCOMPARE(rig.listModel().selectedCount(), selected);
        QCOMPARE(rig.mismatch(), QString());
    }

    // Page Down reaches the row at the foot of the view, then a page on from
    // there, Page Up the same upwards; Shift reaches the selection along, and
    // the ends stop them. The highlight stays where the user can click it.
    void pageKeysMoveAPageAtATime() {
        Rig rig(records(60));
        const auto indexOf = [&](QQuickItem* row) {
            return row ? int(rig.listModel().rowOf(QUuid(row->property("promptId").toString())))
                       : -1;
        };
        const auto press = [&](QKeyCombination keys) {
            const QList<QQuickItem*> shown = rig.rowsInView();
            rig.keys(QKeySequence(keys));
            QQuickItem* highlighted = rig.highlightedRow();
            if (!highlighted || !rig.isClickable(highlighted))
                return std::tuple(-1, -1, -1);
            return std::tuple(indexOf(shown.first()), indexOf(shown.last()), indexOf(highlighted));
        };
        auto [top, bottom, row] = press(Qt::Key_PageDown);
        QCOMPARE(top, 0);
        QVERIFY(bottom > 2);
        QCOMPARE(row, bottom);
        QCOMPARE(rig.listModel().selectedCount(), 1);
        const int page = bottom - top;
        const int firstPageEnd = row;
        std::tie(top, bottom, row) = press(Qt::Key_PageDown);
        QCOMPARE(bottom, firstPageEnd);
        QCOMPARE(row, firstPageEnd + page);
        std::tie(top, bottom, row) = press(Qt::Key_PageUp);
        QVERIFY(top > 0);
        QCOMPARE(row, top);
        const int anchorRow = row;
        std::tie(top, bottom, row) = press(Qt::SHIFT | Qt::Key_PageUp);
        QCOMPARE(row, std::max(0, anchorRow - page));
        QCOMPARE(rig.listModel().selectedCount(), anchorRow - row + 1);
        rig.keys(QKeySequence(Qt::Key_End));
        std::tie(top, bottom, row) = press(Qt::Key_PageDown);
        QCOMPARE(row, 59);
        QCOMPARE(rig.highlighted(), rig.listModel().promptAt(59)->id);
        QCOMPARE(rig.mismatch(), QString());
    }

    // The selection's bar lies over the list's foot: the row the keys reach
    // stays above it, and once it goes it leaves no room behind.
    void theBarsOverTheFootLeaveTheLastRowInReach() {
        Rig rig(records(30));
        rig.keys(QKeySequence(Qt::Key_Down));
        rig.keys(QKeySequence(Qt::SHIFT | Qt::Key_End));
        QCOMPARE(rig.listModel().selectedCount(), 30);
        QVERIFY(rig.item("selectionBar")->isVisible());
        QQuickItem* last = rig.highlightedRow();
        QVERIFY(last);
        QCOMPARE(last, rig.rows().last());
        QVERIFY(rig.isClickable(last));

        rig.keys(QKeySequence(Qt::Key_End));
        QCOMPARE(rig.listModel().selectedCount(), 1);
        QCOMPARE(rig.highlightedRow(), last);
        QCOMPARE(last->mapRectToItem(rig.list(), last->boundingRect()).bottom(),
                 rig.list()->height());
    }

    // A row taller than the list, as a long command line makes, comes into
    // view from its head, by the keys or by a link: the title, the process and
    // the start of the target say what the decision keys act on.
    void aRowTallerThanTheListShowsItsHead_data() {
        QTest::addColumn<Denial>("denial");
        QTest::addColumn<int>("key"); // from the row next to it; none for a link
        QStringList args;
        for (int n = 1; n <= 120; ++n)
            args << QStringLiteral("-I/Users/someone/Projects/checkout/third_party/modules/"
                                   "module%1/include")
                        .arg(n);
        args << "-c"
             << "main.cpp";
        const Denial command = ExecDenial{"/usr/bin/clang++", args, "make"};
        const Denial token = FileDenial{"/" + QString(20000, u'x'), "write", "vim"};
        for (const auto& [name, denial] :
             {std::pair("a command line", command), std::pair("a token without spaces", token)}) {
            QTest::addRow("%s, by Down", name) << denial << int(Qt::Key_Down);
            QTest::addRow("%s, by Up", name) << denial << int(Qt::Key_Up);
            QTest::addRow("%s, by a link", name) << denial << 0;
        }
    }
    void aRowTallerThanTheListShowsItsHead() {
        QFETCH(Denial, denial);
        QFETCH(int, key);
        QList<SerializablePromptItem> prompts = records(4);
        prompts[1].denial = denial; // third from the top
        Rig rig(prompts);
        if (key == 0) {
            rig.store.setScrollToPromptId(idOf(prompts[1]));
            rig.settle();
        } else {
            // From the row next to it; the one under it lies out of sight.
            rig.store.setHighlightedPromptId(idOf(prompts[key == Qt::Key_Down ? 2 : 0]));
            rig.list()->forceActiveFocus();
            rig.keys(QKeySequence(key));
            QCOMPARE(rig.highlighted(), idOf(prompts[1]));
        }
        QQuickItem* row = rig.rowOf(prompts[1]);
        QVERIFY(row);
        QVERIFY(row->height() > rig.list()->height());
        auto* title = row->findChild<QQuickItem*>(QStringLiteral("promptTitle"));
        const QRectF inList = title->mapRectToItem(rig.list(), title->boundingRect());
        const qreal barsHeight = rig.list()->property("bottomMargin").toReal();
        QVERIFY2(inList.top() >= 0 && inList.bottom() <= rig.list()->height() - barsHeight,
                 qPrintable(QStringLiteral("the title lies at %1 to %2 in a list %3 high")
                                .arg(inList.top())
                                .arg(inList.bottom())
                                .arg(rig.list()->height())));
        QCOMPARE(rig.mismatch(), QString());
    }

    // Tab and Shift+Tab always lead back to the list, and show where they are.
    void focusComesBackToTheList() {
        Rig rig;
        for (const Qt::KeyboardModifiers modifiers : {Qt::NoModifier, Qt::ShiftModifier}) {
            rig.list()->forceActiveFocus();
            QQuickItem* ring = rig.item("promptListFocusRing");
            QVERIFY(ring->isVisible());
            int presses = 0;
            do {
                QTest::keyClick(rig.window, Qt::Key_Tab, modifiers);
                QVERIFY2(++presses < 20, "Tab never came back to the list");
                QQuickItem* focused = rig.window->activeFocusItem();
                QVERIFY(focused);
                QVERIFY(focused == rig.list() || !ring->isVisible());
            } while (!rig.list()->hasActiveFocus());
            QVERIFY(presses > 1);
        }
    }

    // The keys stay with the list, and the highlighted row reports the focus
    // to assistive tools: the one shown row that holds the highlight, also a
    // row that served another prompt before the keys brought it back. (The
    // focus events themselves are heard over AT-SPI, in test_accessibility:
    // Qt sends none without a platform's bridge.)
    void theHighlightedRowReportsTheFocus() {
        Rig rig(records(60));
        rig.list()->forceActiveFocus();
        const auto mismatch = [&](const QString& step) -> QString {
            if (!rig.list()->hasActiveFocus())
                return step + QStringLiteral(": the list lost the keys");
            QQuickItem* highlighted = rig.highlightedRow();
            for (QQuickItem* row : rig.rows()) {
                const bool isFocused = QAccessible::queryAccessibleInterface(row)->state().focused;
                if (isFocused != (row == highlighted))
                    return QStringLiteral("%1: row %2 focused: %3")
                        .arg(step, row->property("index").toString())
                        .arg(isFocused);
            }
            return {};
        };
        QCOMPARE(mismatch("before the keys"), QString());
        for (const Qt::Key key : {Qt::Key_Down, Qt::Key_End, Qt::Key_PageUp, Qt::Key_Home}) {
            rig.keys(QKeySequence(key));
            QVERIFY(rig.highlightedRow());
            QCOMPARE(mismatch(QKeySequence(key).toString()), QString());
        }
        // Scrolled away from the highlight, as a wheel does, until the row
        // that showed it serves others, then back by the keys.
        QQuickItem* list = rig.list();
        for (int step = 0; step < 100 && rig.highlightedRow(); ++step) {
            list->setProperty("contentY", list->property("contentY").toReal() + 40);
            rig.settle();
        }
        QVERIFY(!rig.highlightedRow());
        QCOMPARE(mismatch("scrolled away"), QString());
        rig.keys(QKeySequence(Qt::Key_Up));
        QVERIFY(rig.highlightedRow());
        QCOMPARE(mismatch("Up, back"), QString());

        // With the keys elsewhere no row reports them.
        rig.keys(QKeySequence(Qt::CTRL | Qt::Key_F));
        QVERIFY(!list->hasActiveFocus());
        for (QQuickItem* row : rig.rows())
            QVERIFY(!QAccessible::queryAccessibleInterface(row)->state().focused);
        QCOMPARE(rig.mismatch(), QString());
    }

    void aBurstOfNewEntriesReusesTheSidebarsRows_data() {
        QTest::addColumn<AppTab>("tab");
        QTest::newRow("policies") << AppTab::policies;
        QTest::newRow("sessions") << AppTab::sessions;
    }

    // While pushes queue up, the views take each at once, and what they drop
    // waits for the queue to empty before it is deleted. Each push of a new
    // policy or session pushes a sidebar row out of sight: the sidebar takes
    // it up again for the next rather than make rows without end. (Reused
    // rows are checked against the store by screenFollowsTheStore.)
    void aBurstOfNewEntriesReusesTheSidebarsRows() {
        QFETCH(AppTab, tab);
        Rig rig(records(30));
        rig.scene.appState.setSelectedTab(tab);
        rig.settle();
        for (int n = 0; n < 40; ++n)
            rig.add(record(100 + n, QStringLiteral("e%1").arg(n), fileDenial(100 + n)));
        const qsizetype shown = rig.sidebarEntries().size();
        QVERIFY(shown > 5);

        QSet<QQuickItem*> made;
        for (int n = 0; n < 200; ++n) {
            // No turn of the event loop between them, as in a backlog.
            rig.store.addPrompt(QUuid::createUuid(), QStringLiteral("b%1").arg(n),
                                QStringLiteral("/burst/%1/.zor/policy.yml").arg(n), fileDenial(n),
                                false);
            for (QQuickItem* row : rig.sidebarEntries())
                made.insert(row);
        }
        QCOMPARE_LT(made.size(), 2 * shown);
    }

    // Each list's scroll bar, made after the views that show first, stands at
    // the list's trailing edge at its full height and follows it: whole while
    // the rows fit, a part once they do not, at the end once the last shows.
    void eachListScrollsItsRows_data() {
        QTest::addColumn<QByteArray>("pane");
        QTest::addColumn<QByteArray>("list");
        QTest::newRow("the sidebar's entries")
            << QByteArray("promptsSidebar") << QByteArray("sidebarEntries");
        QTest::newRow("the prompts") << QByteArray("promptsView") << QByteArray("promptList");
    }
    void eachListScrollsItsRows() {
        QFETCH(QByteArray, pane);
        QFETCH(QByteArray, list);
        Rig rig(records(1));
        QQuickItem* rows = rig.item(list.constData());
        const auto bar = [&] { return rig.scrollBarIn(pane.constData()); };
        const auto size = [&] { return bar()->property("size").toReal(); };
        const auto end = [&] { return bar()->property("position").toReal() + size(); };
        QTRY_VERIFY(bar());
        QVERIFY(bar()->isVisible());
        QCOMPARE(size(), 1.0);

        QList<SerializablePromptItem> many;
        for (int n = 1; n <= 40; ++n)
            many.append(record(n, QStringLiteral("s%1").arg(n), fileDenial(n)));
        rig.sync(many);
        QVERIFY2(size() > 0 && size() < 1, qPrintable(QString::number(size())));
        QCOMPARE(bar()->property("position").toReal(), 0.0);
        const QRectF placed = bar()->mapRectToItem(rows, bar()->boundingRect());
        QCOMPARE(placed.right(), rows->width());
        QCOMPARE(placed.top(), 0.0);
        QCOMPARE(placed.height(), rows->height());

        rows->forceActiveFocus();
        rig.keys(QKeySequence(Qt::Key_End));
        QVERIFY2(qAbs(end() - 1) < 0.001, qPrintable(QString::number(end())));

        // Where the search hides every prompt, the prompt list goes and its bar with it.
        rig.item("promptsView")
            ->property("viewModel")
            .value<QObject*>()
            ->setProperty("searchText", "no such");
        rig.settle();
        QCOMPARE(rows->isVisible(), list == "sidebarEntries");
        QCOMPARE(bar()->isVisible(), rows->isVisible());
    }

    // Hovering an entry shows a tool tip with the entry's text, each time
    // the pointer comes back to it.
    void aToolTipShowsOnHover() {
        Rig rig;
        QQuickItem* policyEntry = nullptr;
        for (QQuickItem* entry : rig.sidebarEntries())
            if (!entry->property("tooltip").toString().isEmpty())
                policyEntry = entry;
        QVERIFY(policyEntry);
        QVERIFY(rig.isToolTipShownOnHover(policyEntry));
        QVERIFY(rig.isToolTipShownOnHover(policyEntry));
        // A row given to another entry, as the list reuses its rows, shows
        // that entry's text, not the one it showed before.
        policyEntry->setProperty("tooltip", "/work/other/.zor/policy.yml");
        QVERIFY(rig.isToolTipShownOnHover(policyEntry));
        // And one whose text changes while it shows follows it.
        policyEntry->setProperty("tooltip", "/work/third/.zor/policy.yml");
        QVERIFY(rig.isToolTipShowing("/work/third/.zor/policy.yml"));
    }

    // The decision keys decide the highlighted prompt, or ask about the
    // selection: only the highlighted row's buttons name them, to the eye and
    // to assistive tools, and none while more are selected.
    void onlyTheRowTheKeysDecideNamesThem() {
        const QList<SerializablePromptItem> prompts = records(3);
        Rig rig(prompts);
        rig.newCalls();
        const QString keys = QKeySequence(PromptDecider::shortcut(Decision::allowOnce))
                                 .toString(QKeySequence::NativeText);
        const auto said = [&rig](const SerializablePromptItem& made) {
            const QObject* accessible =
                accessibleOf(rig.button(rig.rowOf(made), Decision::allowOnce));
            return accessible ? accessible->property("description").toString() : QString();
        };
        rig.clickRow(rig.rowOf(prompts[1]));
        QCOMPARE(said(prompts[1]), "Allow once (" + keys + ")");
        QCOMPARE(said(prompts[0]), "Allow once");
        QCOMPARE(said(prompts[2]), "Allow once");
        // What the pointer shows is what assistive tools read.
        QQuickItem* other = rig.button(rig.rowOf(prompts[0]), Decision::allowOnce);
        rig.window->grabWindow();
        QTest::mouseMove(rig.window, QPoint(0, 0));
        QTest::mouseMove(rig.window,
                         other->mapToScene({other->width() / 2, other->height() / 2}).toPoint());
        QTRY_VERIFY(std::ranges::any_of(itemsOf(rig.window), [](QQuickItem* item) {
            return item->inherits("QQuickPopupItem") && isTextShown(item, "Allow once");
        }));

        rig.keys(QKeySequence(PromptDecider::shortcut(Decision::allowOnce)));
        const QList<FakeAgentCall> calls = rig.newCalls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].arguments.value(0), prompts[1].id.toUpper());
        rig.answerAll(true);

        rig.settle();
        rig.clickRow(rig.rowOf(prompts[0]));
        rig.clickRow(rig.rowOf(prompts[2]), Qt::ShiftModifier);
        QCOMPARE(rig.listModel().selectedCount(), 2);
        QCOMPARE(said(prompts[0]), "Allow once");
        QCOMPARE(said(prompts[2]), "Allow once");
    }

    // The search narrows the list to what it finds, on the screen as in the
    // store; Escape clears it, and so does a link.
    void searchNarrowsTheList() {
        QList<SerializablePromptItem> prompts = records(3);
        prompts.append(record(4, "t", ExecDenial{"/usr/bin/curl", {"-fsSL"}, "sh"}));
        prompts.append(record(5, "t", NetworkDenial{"registry.npmjs.org", 443, "npm"}));
        Rig rig(prompts);
        rig.keys(QKeySequence(QKeySequence::Find));
        rig.type("CuRL");
        QCOMPARE(rig.rows().size(), 1);
        QCOMPARE(rig.rows().first()->property("promptId").toString(), prompts[3].id);
        QCOMPARE(rig.mismatch(), QString());
        // By process, session and policy file too.
        for (const QString& text : {QString("npm"), QString("work/t/")}) {
            rig.store.setSearchText(text);
            rig.settle();
            QCOMPARE(rig.mismatch(), QString());
        }
        QCOMPARE(rig.rows().size(), 2);
        rig.keys(QKeySequence(QKeySequence::Find));
        rig.keys(QKeySequence(Qt::Key_Escape));
        QCOMPARE(rig.store.searchText(), QString());
        QCOMPARE(rig.rows().size(), 5);
        rig.store.setSearchText("nothing like it");
        rig.settle();
        QCOMPARE(rig.item("promptsView")
                     ->property("viewModel")
                     .value<PromptsViewModel*>()
                     ->contentState(),
                 PromptsViewModel::ContentState::noPromptsMatchingSearch);
        rig.scene.appState.navigateToPrompt(idOf(prompts[0]));
        rig.settle();
        QCOMPARE(rig.store.searchText(), QString());
        QVERIFY(rig.isFullyInView(rig.rowOf(prompts[0])));
    }

    // Many prompts decided together, from a sidebar entry's menu or from a
    // selection: asked first, then one decision each, less those it cannot
    // reach; the outcome is one line, in the window and in the log.
    void groupDecisions_data() {
        QTest::addColumn<QString>("from");
        QTest::addColumn<GroupDecision::Action>("action");
        QTest::addColumn<QStringList>("reached");  // prompt numbers, then action and lifetime
        QTest::addColumn<QStringList>("question"); // its title, its last line and its button
        QTest::addColumn<QString>("outcome");
        QTest::newRow("a session's menu, deny for the session")
            << "menu" << GroupDecision::Action::denySession
            << QStringList{"1", "2", "deny", "session"}
            << QStringList{"Deny 2 prompts for the session?", "1 skipped: session ended",
                           "Deny 2 Prompts"}
            << "Denied 2 prompts, 1 skipped: session ended";
        QTest::newRow("a selection, deny always")
            << "selection" << GroupDecision::Action::denyAlways
            << QStringList{"1", "2", "3", "deny", "always"}
            << QStringList{"Deny 3 prompts always?", "/tmp/file-1", "Deny 3 Prompts"}
            << "Denied 3 prompts";
        QTest::newRow("a selection, dismissed")
            << "selection" << GroupDecision::Action::dismiss
            << QStringList{"1", "2", "3", "dismiss"}
            << QStringList{"Dismiss 3 prompts?", "/tmp/file-1", "Dismiss 3 Prompts"}
            << "Dismissed 3 prompts";
        QTest::newRow("a selection by keys, allow once")
            << "keys" << GroupDecision::Action::allowOnce << QStringList{"1", "2", "allow", "once"}
            << QStringList{"Allow 2 prompts once?", "1 skipped: session ended", "Allow 2 Prompts"}
            << "Allowed 2 prompts, 1 skipped: session ended";
    }
    void groupDecisions() {
        QFETCH(QString, from);
        QFETCH(GroupDecision::Action, action);
        QFETCH(QStringList, reached);
        QFETCH(QStringList, question);
        QFETCH(QString, outcome);
        // Prompts 1 to 3 of session "a" (3 has ended), 4 of session "b".
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "a", fileDenial(3), true));
        prompts.append(record(4, "b", fileDenial(4)));
        Rig rig(prompts);
        rig.newCalls();
        if (from == "menu") {
            rig.scene.appState.setSelectedTab(AppTab::sessions);
            rig.settle();
            QQuickItem* entry = rig.sessionEntry("a");
            QVERIFY(entry);
            rig.click(entry, std::nullopt, Qt::RightButton);
            rig.click(rig.popupItem("Deny All for the Session…"));
        } else {
            // Rows 3, 2, 1 from the top, after 4: Shift reaches from 3 down to 1.
            rig.clickRow(rig.rowOf(prompts[2]));
            rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
            QCOMPARE(rig.listModel().selectedCount(), 3);
            // The bar comes with the selection, each time; the highlight stays.
            rig.click(rig.item("selectionClear"));
            QCOMPARE(rig.listModel().selectedCount(), 1);
            rig.clickRow(rig.rowOf(prompts[2]));
            rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
            QVERIFY(rig.item("selectionBar"));
            QVERIFY(isTextShown(rig.item("selectionBar"), "3 selected"));
            if (from == "keys")
                rig.keys(
                    QKeySequence(PromptDecider::shortcut(PromptDecider::Decision(int(action)))));
            else
                rig.click(rig.item(action == GroupDecision::Action::dismiss
                                       ? "selectionDismiss"
                                       : "selectionDenyAlways"));
        }
        QCOMPARE(rig.group().state(), GroupDecision::State::asking);
        QVERIFY(rig.newCalls().isEmpty());
        // It counts and names what it would decide; what it would skip, below.
        QQuickItem* dialog = popupOf(rig.popupItem("groupConfirm"));
        QVERIFY(dialog);
        QVERIFY(isTextShown(dialog, question[0]));
        const QQuickItem* targets = shownItem(dialog, "groupTargets");
        QVERIFY(targets);
        QCOMPARE(targets->property("text").toString().split(u'\n').last(), question[1]);
        QCOMPARE(rig.popupItem("groupConfirm")->property("text").toString(), question[2]);
        // A prompt that comes meanwhile is not part of it.
        rig.add(record(5, "a", fileDenial(5)));
        // An allow is not confirmed by Enter.
        rig.keys(QKeySequence(Qt::Key_Return));
        if (rig.group().isAllowing()) {
            QCOMPARE(rig.group().state(), GroupDecision::State::asking);
            rig.click(rig.popupItem("groupConfirm"));
        }
        QCOMPARE(rig.group().state(), GroupDecision::State::deciding);
        rig.answerAll(true);
        QCOMPARE(rig.group().state(), GroupDecision::State::idle);

        // The prompt numbers, then what each request says.
        QStringList expected;
        QStringList says;
        for (const QString& part : reached) {
            if (part.toInt() > 0)
                expected.append(prompts[part.toInt() - 1].id.toUpper());
            else
                says.append(part);
        }
        QStringList ids;
        for (const FakeAgentCall& call : rig.newCalls()) {
            ids.append(call.arguments.value(0));
            QCOMPARE(call.method == "dismissPrompt" ? QStringList{"dismiss"}
                                                    : call.arguments.mid(1, 2),
                     says);
        }
        ids.sort();
        expected.sort();
        QCOMPARE(ids, expected);
        QCOMPARE(rig.group().outcome(), outcome);
        QVERIFY(rig.log.messages(LogCategory::promptsView).contains("Group decision: " + outcome));
        // The outcome shows at the foot of the list until closed; the decided
        // prompts' selection went with them.
        rig.settle();
        QCOMPARE(rig.item("groupOutcome")->property("text").toString(), outcome);
        rig.click(rig.popupItem("Close"));
        rig.settle();
        QVERIFY(!rig.item("groupBar"));
        QVERIFY(rig.store.containsPrompt(QUuid(record(5, "a", fileDenial(5)).id)));
    }

    void aLinkLeavesAnOpenQuestionItsKeys_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<GroupDecision::State>("after");
        QTest::newRow("Escape cancels") << int(Qt::Key_Escape) << GroupDecision::State::idle;
        QTest::newRow("Return confirms") << int(Qt::Key_Return) << GroupDecision::State::deciding;
    }

    // A link that comes while a group's question is open, from a notice the
    // user clicked, shows its prompt behind the question, and the keys stay
    // with the question: Delete dismisses nothing behind it.
    void aLinkLeavesAnOpenQuestionItsKeys() {
        QFETCH(int, key);
        QFETCH(GroupDecision::State, after);
        const QList<SerializablePromptItem> prompts = records(4);
        Rig rig(prompts);
        rig.newCalls();
        rig.clickRow(rig.rowOf(prompts[0]));
        rig.clickRow(rig.rowOf(prompts[1]), Qt::ShiftModifier);
        rig.click(rig.item("selectionDenyAlways"));
        QCOMPARE(rig.group().state(), GroupDecision::State::asking);

        rig.scene.appState.navigateToPrompt(idOf(prompts[3]));
        rig.settle();
        QCOMPARE(rig.store.highlightedPromptId(), idOf(prompts[3]));
        rig.keys(QKeySequence(Qt::Key_Delete));
        rig.keys(QKeySequence(Qt::Key_Down));
        QVERIFY(rig.newCalls().isEmpty());
        QCOMPARE(rig.store.highlightedPromptId(), idOf(prompts[3]));
        rig.keys(QKeySequence(key));
        QCOMPARE(rig.group().state(), after);
        rig.settle();
        QVERIFY(rig.list()->hasActiveFocus());
    }

    // Among more selected rows the highlighted one stands apart, where Shift
    // reaches out from; assistive tools hear each selected row as selected.
    void theHighlightStandsApartInASelection() {
        const QList<SerializablePromptItem> prompts = records(4);
        Rig rig(prompts);
        const auto check = [&rig](int selected) {
            rig.settle();
            const QString highlighted =
                rig.store.highlightedPromptId().value_or(QUuid()).toString(QUuid::WithoutBraces);
            int marked = 0;
            int heard = 0;
            for (QQuickItem* row : rig.rows()) {
                const bool isHighlighted = row->property("promptId").toString() == highlighted;
                const bool isMarked = row->findChild<QQuickItem*>("highlightMark")->isVisible();
                QCOMPARE(isMarked, isHighlighted && selected > 1);
                marked += isMarked;
                const QObject* accessible = accessibleOf(row);
                QVERIFY(accessible);
                QCOMPARE(accessible->property("selected").toBool(),
                         row->property("isSelected").toBool());
                heard += accessible->property("selected").toBool();
            }
            QCOMPARE(marked, selected > 1 ? 1 : 0);
            QCOMPARE(heard, selected);
        };
        rig.clickRow(rig.rowOf(prompts[3]));
        rig.clickRow(rig.rowOf(prompts[1]), Qt::ShiftModifier);
        QCOMPARE(rig.listModel().selectedCount(), 3);
        check(3);
        rig.clickRow(rig.rowOf(prompts[2]));
        check(1);
    }

    // A selection shrinks as it grows: from where it started to where the
    // user takes it, and a prompt taken out of it leaves the rest.
    void aSelectionShrinksAsItGrows_data() {
        QTest::addColumn<QStringList>("steps"); // a gesture and the row, from the top
        QTest::addColumn<QList<int>>("selected");
        QTest::addColumn<int>("highlighted");
        QTest::newRow("Shift+Up back")
            << QStringList{"click 1", "Shift+Down", "Shift+Down", "Shift+Up"} << QList<int>{1, 2}
            << 2;
        QTest::newRow("Shift-click nearer")
            << QStringList{"click 1", "shift-click 4", "shift-click 2"} << QList<int>{1, 2} << 2;
        QTest::newRow("Shift-click to the other side")
            << QStringList{"click 2", "shift-click 4", "shift-click 0"} << QList<int>{0, 1, 2} << 0;
        QTest::newRow("Shift+Home from below")
            << QStringList{"click 2", "shift-click 5", "Shift+Home"} << QList<int>{0, 1, 2} << 0;
        QTest::newRow("the highlighted one taken out")
            << QStringList{"click 0", "ctrl-click 1", "ctrl-click 2", "ctrl-click 2"}
            << QList<int>{0, 1} << 1;
        // What remains of a selection stays when one of its prompts goes,
        // and a Shift move grows it from there.
        QTest::newRow("its start removed by the agent, then Shift+Down")
            << QStringList{"click 0", "Shift+Down", "Shift+Down", "agent removes 0", "Shift+Down"}
            << QList<int>{0, 1, 2} << 2;
        QTest::newRow("the highlighted one decided")
            << QStringList{"click 1", "Shift+Down", "Shift+Down", "deny 3"} << QList<int>{1, 2}
            << 2;
        QTest::newRow("the highlighted one removed by the agent")
            << QStringList{"click 1", "Shift+Down", "Shift+Down", "agent removes 3"}
            << QList<int>{1, 2} << 2;
        // The highlighted prompt hidden by a search, nothing shown is
        // selected: a Shift-click starts a selection of its own.
        QTest::newRow("a Shift-click, the highlighted one hidden")
            << QStringList{"click 2", "shift-click 4", "search file-1", "shift-click 0"}
            << QList<int>{0} << 0;
        QTest::newRow("the highlighted one hidden by a search and back")
            << QStringList{"click 0", "shift-click 3", "search file-1", "search"}
            << QList<int>{0, 1, 2, 3} << 3;
        QTest::newRow("the highlighted one removed while a search hid it")
            << QStringList{"click 0", "shift-click 3", "search file-1", "agent removes hidden 3",
                           "search"}
            << QList<int>{0, 1, 2} << 2;
        QTest::newRow("another one taken out")
            << QStringList{"click 0", "ctrl-click 1", "ctrl-click 3", "ctrl-click 1"}
            << QList<int>{0, 3} << 0;
    }
    void aSelectionShrinksAsItGrows() {
        QFETCH(QStringList, steps);
        QFETCH(QList<int>, selected);
        QFETCH(int, highlighted);
        const QList<SerializablePromptItem> prompts = records(12);
        Rig rig(prompts);
        // Prompt 12 is on top.
        const auto rowAt = [&](int row) { return rig.rowOf(prompts[prompts.size() - 1 - row]); };
        for (const QString& step : steps) {
            const QStringList words = step.split(u' ');
            if (words.first() == "click")
                rig.clickRow(rowAt(words.last().toInt()));
            else if (words.first() == "shift-click")
                rig.clickRow(rowAt(words.last().toInt()), Qt::ShiftModifier);
            else if (words.first() == "ctrl-click")
                rig.clickRow(rowAt(words.last().toInt()), Qt::ControlModifier);
            else if (words.first() == "agent" && words.at(2) == "hidden")
                rig.removeByAgent(idOf(prompts[prompts.size() - 1 - words.last().toInt()]));
            else if (words.first() == "agent")
                rig.removeByAgent(
                    QUuid(rig.rows().at(words.last().toInt())->property("promptId").toString()));
            else if (words.first() == "search")
                rig.store.setSearchText(words.size() > 1 ? words.last() : QString());
            else if (words.first() == "deny") {
                rig.click(rig.button(rig.rows().at(words.last().toInt()), Decision::denyAlways));
                rig.answerAll(true);
            } else
                rig.keys(QKeySequence(step));
            rig.settle();
        }
        QList<int> shownSelected;
        int shownHighlighted = -1;
        const QList<QQuickItem*> rows = rig.rows();
        for (int row = 0; row < rows.size(); ++row) {
            if (rows[row]->property("isSelected").toBool())
                shownSelected.append(row);
            if (rows[row] == rig.highlightedRow())
                shownHighlighted = row;
        }
        QCOMPARE(shownSelected, selected);
        QCOMPARE(shownHighlighted, highlighted);
        // The bar comes with more than one.
        QQuickItem* bar = rig.item("selectionBar");
        if (selected.size() > 1)
            QVERIFY(bar && isTextShown(bar, QStringLiteral("%1 selected").arg(selected.size())));
        else
            QVERIFY(!bar || !bar->isVisible());
    }

    void aBarThatGoesLeavesTheKeysWithTheList_data() {
        QTest::addColumn<QString>("how");
        QTest::newRow("cleared by keys") << "clear by keys";
        QTest::newRow("cleared by a click") << "clear by a click";
        // The group's question closes while the bar's buttons are closed to
        // a second group; the bar goes with the prompts decided.
        QTest::newRow("group confirmed from the bar by keys") << "deny by keys";
        QTest::newRow("group confirmed from the bar by a click") << "deny by a click";
        QTest::newRow("group confirmed from the Allow… menu") << "allow from the menu";
    }

    // The selection's bar goes with its own button, or with the prompts a
    // group decided: the keys go back to the list, where the arrows go on,
    // never to the empty place where it was.
    void aBarThatGoesLeavesTheKeysWithTheList() {
        QFETCH(QString, how);
        const QList<SerializablePromptItem> prompts = records(5);
        Rig rig(prompts);
        // The three at the foot; two stay above them.
        rig.clickRow(rig.rowOf(prompts[2]));
        rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
        QCOMPARE(rig.listModel().selectedCount(), 3);
        const auto byKeys = [&rig](const char* button) {
            QQuickItem* item = rig.item(button);
            QVERIFY(item);
            item->forceActiveFocus(Qt::TabFocusReason);
            rig.keys(QKeySequence(Qt::Key_Space));
        };
        if (how == "clear by keys")
            byKeys("selectionClear");
        else if (how == "clear by a click")
            rig.click(rig.item("selectionClear"));
        else if (how == "deny by keys")
            byKeys("selectionDenyAlways");
        else if (how == "deny by a click")
            rig.click(rig.item("selectionDenyAlways"));
        else {
            rig.click(rig.item("selectionAllow"));
            QQuickItem* once = rig.popupItem("Allow Once…");
            QVERIFY(once);
            rig.click(once);
        }
        if (how.startsWith("clear")) {
            QCOMPARE(rig.listModel().selectedCount(), 1);
        } else {
            QQuickItem* confirm = rig.popupItem("groupConfirm");
            QVERIFY(confirm);
            // An allow is confirmed only by its button.
            if (rig.group().isAllowing())
                rig.click(confirm);
            else
                rig.keys(QKeySequence(Qt::Key_Return));
            rig.answerAll(true);
            QCOMPARE(rig.store.prompts().size(), 2);
        }
        rig.settle();
        QTRY_VERIFY(rig.list()->hasActiveFocus());
        QTRY_VERIFY(rig.item("promptListFocusRing")->isVisible());
        const std::optional<QUuid> before = rig.store.highlightedPromptId();
        rig.keys(QKeySequence(Qt::Key_Up));
        QVERIFY(rig.store.highlightedPromptId() != before);
    }

    void aSidebarEntryThatGoesLeavesTheKeysWithTheSidebar_data() {
        QTest::addColumn<AppTab>("tab");
        QTest::addColumn<bool>("isByAgent");
        QTest::newRow("policies, the agent removes its prompts") << AppTab::policies << true;
        QTest::newRow("policies, a group from its menu") << AppTab::policies << false;
        QTest::newRow("sessions, the agent removes its prompts") << AppTab::sessions << true;
        QTest::newRow("sessions, a group from its menu") << AppTab::sessions << false;
    }

    // The selected entry goes with its last prompt while the sidebar has the
    // keys: they stay in the sidebar, on "All", where the filter falls back,
    // never on a tab, where a Space would change the screen.
    void aSidebarEntryThatGoesLeavesTheKeysWithTheSidebar() {
        QFETCH(AppTab, tab);
        QFETCH(bool, isByAgent);
        // "b" is newest, so "a" is last: All, b, a.
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "b", fileDenial(3)));
        Rig rig(prompts);
        rig.scene.appState.setSelectedTab(tab);
        rig.settle();
        rig.sidebarList()->forceActiveFocus(Qt::TabFocusReason);
        rig.keys(QKeySequence(Qt::Key_End));
        rig.settle();
        QVERIFY(rig.store.filter() != PromptFilter::all());
        QVERIFY(rig.sidebarList()->hasActiveFocus());
        if (isByAgent) {
            rig.removeByAgent(idOf(prompts[0]));
            rig.removeByAgent(idOf(prompts[1]));
        } else {
            rig.keys(QKeySequence(Qt::Key_Menu));
            QQuickItem* deny = nullptr;
            QTRY_VERIFY((deny = rig.popupItem("Deny All for the Session…")));
            rig.click(deny);
            QVERIFY(rig.popupItem("groupConfirm"));
            rig.keys(QKeySequence(Qt::Key_Return));
            rig.answerAll(true);
        }
        rig.settle();
        QCOMPARE(rig.store.prompts().size(), 1);
        QCOMPARE(rig.store.filter(), PromptFilter::all());
        QTRY_VERIFY(rig.sidebarList()->hasActiveFocus());
        QVERIFY(rig.window->activeFocusItem()->isVisible());
        QVERIFY(rig.item("sidebarFocusRing")->isVisible());
        rig.keys(QKeySequence(Qt::Key_Down));
        rig.settle();
        QCOMPARE(rig.sidebarList()->property("currentIndex").toInt(), 1);
        QVERIFY(rig.store.filter() != PromptFilter::all());
        rig.keys(QKeySequence(Qt::Key_Space));
        QCOMPARE(rig.scene.appState.selectedTab(), tab);
    }

    void theLastPromptGoneLeavesTheKeysInThePane_data() {
        QTest::addColumn<AppTab>("tab");
        QTest::addColumn<QKeySequence>("keys");
        for (const AppTab tab : {AppTab::policies, AppTab::sessions}) {
            const QByteArray name = tab == AppTab::policies ? "policies" : "sessions";
            QTest::newRow(name + ", dismissed") << tab << QKeySequence(Qt::Key_Delete);
            QTest::newRow(name + ", denied always")
                << tab << QKeySequence(PromptDecider::shortcut(Decision::denyAlways));
        }
    }

    // The list hides with its last prompt while it has the keys: they stay in
    // the prompts' pane, on the search field that still shows, never on a
    // tab, where a Space would change the screen. Escape there clears the
    // search and leaves them where they show.
    void theLastPromptGoneLeavesTheKeysInThePane() {
        QFETCH(AppTab, tab);
        QFETCH(QKeySequence, keys);
        const QList<SerializablePromptItem> prompts = records(1);
        Rig rig(prompts);
        rig.scene.appState.setSelectedTab(tab);
        rig.settle();
        rig.highlight(prompts[0]);
        QVERIFY(rig.list()->hasActiveFocus());
        rig.keys(keys);
        rig.answerAll(true);
        rig.settle();
        QVERIFY(rig.store.prompts().isEmpty());
        QVERIFY(!rig.list()->isVisible());
        QQuickItem* view = rig.item("promptsView");
        const auto isKeysInThePane = [&] {
            QQuickItem* focused = rig.window->activeFocusItem();
            return focused && focused->isVisible() && view->isAncestorOf(focused);
        };
        QTRY_VERIFY(isKeysInThePane());
        QCOMPARE(rig.window->activeFocusItem(), rig.item("promptSearch"));
        rig.keys(QKeySequence(Qt::Key_Space));
        rig.settle();
        QCOMPARE(rig.scene.appState.selectedTab(), tab);

        rig.item("promptSearch")->forceActiveFocus(Qt::TabFocusReason);
        rig.keys(QKeySequence(Qt::Key_Escape));
        rig.settle();
        QCOMPARE(rig.store.searchText(), QString());
        QVERIFY(isKeysInThePane());
    }

    // A group of which nothing can take the decision asks nothing: the
    // outcome says why at once.
    void aGroupWithNothingToDecideAsksNothing() {
        const QList<SerializablePromptItem> prompts{record(1, "a", fileDenial(1), true),
                                                    record(2, "a", fileDenial(2), true)};
        Rig rig(prompts);
        rig.clickRow(rig.rowOf(prompts[1]));
        rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
        rig.click(rig.item("selectionDenySession"));
        QCOMPARE(rig.group().state(), GroupDecision::State::idle);
        QVERIFY(!rig.popupItem("groupConfirm"));
        QVERIFY(rig.newCalls().isEmpty());
        QCOMPARE(rig.group().outcome(), "Denied 0 prompts, 2 skipped: session ended");
        rig.settle();
        QCOMPARE(rig.item("groupOutcome")->property("text").toString(), rig.group().outcome());
        QCOMPARE(rig.store.prompts().size(), 2);
    }

    // A prompt whose own decision is underway is still pending: a group
    // leaves it to that decision, and says so.
    void aGroupLeavesAPromptBeingDecidedToItsDecision() {
        const QList<SerializablePromptItem> prompts = records(3);
        Rig rig(prompts);
        rig.newCalls();
        rig.click(rig.button(rig.rowOf(prompts[1]), Decision::denyAlways));
        QCOMPARE(rig.newCalls().size(), 1);
        rig.clickRow(rig.rowOf(prompts[2]));
        rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
        QCOMPARE(rig.listModel().selectedCount(), 3);
        rig.click(rig.item("selectionDenyAlways"));
        rig.keys(QKeySequence(Qt::Key_Return));
        QCOMPARE(rig.newCalls().size(), 2);
        rig.answerAll(true);
        QCOMPARE(rig.group().outcome(), "Denied 2 prompts, 1 skipped: already being decided");
    }

    void aGroupDecidesNoSignal_data() {
        QTest::addColumn<GroupDecision::Action>("action");
        QTest::addColumn<QStringList>("question"); // its title and what it skips
        QTest::addColumn<int>("calls");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("deny always")
            << GroupDecision::Action::denyAlways
            << QStringList{"Deny 2 prompts always?", "1 skipped: no rule for a signal"} << 2
            << "Denied 2 prompts, 1 skipped: no rule for a signal";
        // A dismissal takes no rule: the agent drops a signal's prompt too.
        QTest::newRow("dismiss") << GroupDecision::Action::dismiss
                                 << QStringList{"Dismiss 3 prompts?", ""} << 3
                                 << "Dismissed 3 prompts";
    }

    // No rule can hold a decision on a signal: the agent would never hear of
    // it and would still hold the prompt. A group counts it as skipped, and
    // it stays for the user to dismiss.
    void aGroupDecidesNoSignal() {
        QFETCH(GroupDecision::Action, action);
        QFETCH(QStringList, question);
        QFETCH(int, calls);
        QFETCH(QString, outcome);
        QList<SerializablePromptItem> prompts = records(3);
        prompts[0].denial = SignalDenial{9, 501, "Dock", "kill"};
        Rig rig(prompts);
        rig.newCalls();
        rig.clickRow(rig.rowOf(prompts[2]));
        rig.clickRow(rig.rowOf(prompts[0]), Qt::ShiftModifier);
        QCOMPARE(rig.listModel().selectedCount(), 3);
        rig.click(rig.item(action == GroupDecision::Action::dismiss ? "selectionDismiss"
                                                                    : "selectionDenyAlways"));
        QQuickItem* dialog = popupOf(rig.popupItem("groupConfirm"));
        QVERIFY(dialog);
        QVERIFY(isTextShown(dialog, question[0]));
        const QQuickItem* targets = shownItem(dialog, "groupTargets");
        QVERIFY(targets);
        QCOMPARE(targets->property("text").toString().split(u'\n').filter("skipped").join(u'\n'),
                 question[1]);
        rig.keys(QKeySequence(Qt::Key_Return));
        QCOMPARE(rig.newCalls().size(), calls);
        rig.answerAll(true);
        QCOMPARE(rig.group().outcome(), outcome);
        QVERIFY(rig.log.messages(LogCategory::promptsView).contains("Group decision: " + outcome));
        QCOMPARE(rig.store.containsPrompt(idOf(prompts[0])),
                 action != GroupDecision::Action::dismiss);
    }

    // A new group's outcome is not yet known: the last one's does not stand
    // for it while it waits on the agent. A question cancelled leaves it.
    void aConfirmedGroupClearsTheLastOutcome() {
        const QList<SerializablePromptItem> prompts = records(6);
        Rig rig(prompts);
        const auto select = [&rig, &prompts](int from, int to) {
            rig.clickRow(rig.rowOf(prompts[from]));
            rig.clickRow(rig.rowOf(prompts[to]), Qt::ShiftModifier);
        };
        select(5, 4);
        rig.click(rig.item("selectionDenyAlways"));
        rig.keys(QKeySequence(Qt::Key_Return));
        rig.answerAll(true);
        QCOMPARE(rig.group().outcome(), "Denied 2 prompts");

        select(3, 2);
        rig.click(rig.item("selectionDenyAlways"));
        rig.keys(QKeySequence(Qt::Key_Escape));
        rig.settle();
        QCOMPARE(rig.item("groupOutcome")->property("text").toString(), "Denied 2 prompts");

        select(1, 0);
        rig.click(rig.item("selectionDenyAlways"));
        rig.keys(QKeySequence(Qt::Key_Return));
        QCOMPARE(rig.group().state(), GroupDecision::State::deciding);
        rig.settle();
        const QQuickItem* shown = rig.item("groupOutcome");
        QVERIFY(!shown || !shown->isVisible() || shown->property("text").toString().isEmpty());
        rig.answerAll(true);
        rig.settle();
        QCOMPARE(rig.item("groupOutcome")->property("text").toString(), "Denied 2 prompts");
    }

    // The link to the agent breaks while a group is decided: the requests it
    // took along get no answer and count as failed, and the group ends, so
    // that another can be asked. Their prompts stay, as for a single one.
    // A decision lost on the way, with the link that carried it, ends as a
    // failed one: the prompt goes, and the sync after the reconnect brings it
    // back open while the agent still asks. It is never closed for good.
    void aDecisionLostOnTheWayLeavesNothingClosed() {
        const QList<SerializablePromptItem> prompts = records(2);
        Rig rig(prompts);
        rig.newCalls();
        rig.click(rig.button(rig.rowOf(prompts[0]), Decision::denyAlways));
        QCOMPARE(rig.newCalls().size(), 1);
        rig.agent->interrupt();
        rig.settle();
        QVERIFY(!rig.store.containsPrompt(idOf(prompts[0])));

        rig.sync(prompts);
        rig.settle();
        QVERIFY(!rig.listModel().isProcessing(idOf(prompts[0])));
        rig.click(rig.button(rig.rowOf(prompts[0]), Decision::denyAlways));
        QCOMPARE(rig.newCalls().size(), 1);
    }

    void aGroupEndsWhenTheLinkBreaksUnderIt_data() {
        QTest::addColumn<GroupDecision::Action>("action");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("deny") << GroupDecision::Action::denyAlways << "Denied 1 prompt, 2 failed";
        QTest::newRow("dismiss") << GroupDecision::Action::dismiss
                                 << "Dismissed 1 prompt, 2 failed";
    }
    void aGroupEndsWhenTheLinkBreaksUnderIt() {
        QFETCH(GroupDecision::Action, action);
        QFETCH(QString, outcome);
        const QList<SerializablePromptItem> prompts = records(3);
        Rig rig(prompts);
        QList<QUuid> ids;
        for (const SerializablePromptItem& made : prompts)
            ids.append(idOf(made));
        QVERIFY(rig.group().ask(action, ids));
        rig.group().confirm();
        const QString method =
            action == GroupDecision::Action::dismiss ? "dismissPrompt" : "handlePrompt";
        rig.agent->answer(method, [](const FakeAgentCall& call) { call.decisionReply(true, {}); });
        rig.agent->interrupt();
        rig.settle();
        QCOMPARE(rig.log.messages(LogCategory::notifications)
                     .filter("ZorAgent proxy error: The connection was invalidated.")
                     .size(),
                 2);
        QCOMPARE(rig.group().state(), GroupDecision::State::idle);
        QCOMPARE(rig.group().outcome(), outcome);
        // Those lost went as refused ones do; the next sync brings them back.
        QVERIFY(rig.store.prompts().isEmpty());
        rig.sync(prompts.mid(1));
        QVERIFY(rig.group().ask(action, ids.mid(1)));
        QCOMPARE(rig.group().question().section(u' ', 1, 1), "2");
    }

    // The menu key and Shift+F10 open the highlighted prompt's menu, as a
    // right click on its row does; with none highlighted, nothing opens.
    void rowMenuFromTheKeyboard_data() {
        QTest::addColumn<QKeyCombination>("keys");
        QTest::newRow("menu key") << QKeyCombination(Qt::Key_Menu);
        QTest::newRow("Shift+F10") << QKeyCombination(Qt::SHIFT | Qt::Key_F10);
    }
    void rowMenuFromTheKeyboard() {
        QFETCH(QKeyCombination, keys);
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "b", fileDenial(3)));
        Rig rig(prompts);
        const auto menu = [&rig] { return rig.window->findChild<QObject*>("promptRowMenu"); };
        QTest::keyClick(rig.window, keys.key(), keys.keyboardModifiers());
        QVERIFY(!menu() || !menu()->property("opened").toBool());

        rig.highlight(prompts[2]);
        QTest::keyClick(rig.window, keys.key(), keys.keyboardModifiers());
        QTRY_VERIFY(menu() && menu()->property("opened").toBool());
        QTest::keyClick(rig.window, Qt::Key_Escape);
        QTRY_VERIFY(!menu()->property("opened").toBool());
        QVERIFY(rig.list()->hasActiveFocus());
        // For the highlighted prompt's session.
        QTest::keyClick(rig.window, keys.key(), keys.keyboardModifiers());
        QTRY_VERIFY(menu()->property("opened").toBool());
        rig.click(rig.popupItem("Copy Session ID"));
        QCOMPARE(rig.scene.clipboard.texts, QStringList{"b"});
    }

    void anEntrysMenuStaysWithTheEntryItOpenedFor_data() {
        QTest::addColumn<QString>("change");
        QTest::newRow("an entry moved above it") << "move";
        QTest::newRow("its entry gone, its row given to another") << "replace";
        QTest::newRow("the window closed and shown again") << "window";
    }

    // The menu stays where it opened, over the entry it acts on, whatever
    // the rows do meanwhile; it does not come back with the window.
    void anEntrysMenuStaysWithTheEntryItOpenedFor() {
        QFETCH(QString, change);
        const QList<SerializablePromptItem> prompts{record(1, "s1", fileDenial(1)),
                                                    record(2, "s2", fileDenial(2)),
                                                    record(3, "s3", fileDenial(3))};
        Rig rig(prompts);
        rig.scene.appState.setSelectedTab(AppTab::sessions);
        rig.settle();
        rig.click(rig.sessionEntry("s2"), std::nullopt, Qt::RightButton);
        QQuickItem* copy = rig.popupItem("Copy Session ID");
        QVERIFY(copy);
        const QPointF openedAt = copy->mapToScene({0, 0});

        if (change == "move") {
            rig.add(record(4, "s1", fileDenial(4)));
        } else if (change == "replace") {
            rig.removeByAgent(idOf(prompts[1]));
            rig.add(record(5, "s4", fileDenial(5)));
        } else {
            rig.window->close();
            rig.window->show();
            QVERIFY(QTest::qWaitForWindowExposed(rig.window));
        }
        rig.settle();
        if (change == "window") {
            QVERIFY(!rig.popupItem("Copy Session ID"));
            return;
        }
        QCOMPARE(rig.popupItem("Copy Session ID"), copy);
        QCOMPARE(copy->mapToScene({0, 0}), openedAt);
        rig.click(copy);
        QCOMPARE(rig.scene.clipboard.texts, QStringList{"s2"});
    }

    void anEntrysGroupItemsCloseWhenTheyCannotAct_data() {
        QTest::addColumn<QString>("why");
        QTest::newRow("another group being decided") << "group";
        QTest::newRow("the entry's prompts gone") << "gone";
    }

    // An item that could not act is closed, rather than doing nothing
    // without a word when chosen.
    void anEntrysGroupItemsCloseWhenTheyCannotAct() {
        QFETCH(QString, why);
        QList<SerializablePromptItem> prompts = records(2, "a");
        prompts.append(record(3, "b", fileDenial(3)));
        prompts.append(record(4, "b", fileDenial(4)));
        Rig rig(prompts);
        rig.scene.appState.setSelectedTab(AppTab::sessions);
        rig.settle();
        rig.newCalls();
        if (why == "group") {
            rig.click(rig.sessionEntry("a"), std::nullopt, Qt::RightButton);
            rig.click(rig.popupItem("Deny All Always…"));
            rig.keys(QKeySequence(Qt::Key_Return));
            QCOMPARE(rig.group().state(), GroupDecision::State::deciding);
            rig.settle();
        }
        rig.click(rig.sessionEntry("b"), std::nullopt, Qt::RightButton);
        QQuickItem* deny = rig.popupItem("Deny All for the Session…");
        QVERIFY(deny);
        if (why == "group") {
            QVERIFY(!deny->isEnabled());
            rig.answerAll(true);
            rig.settle();
            QVERIFY(deny->isEnabled());
        } else {
            QVERIFY(deny->isEnabled());
            rig.removeByAgent(idOf(prompts[2]));
            rig.removeByAgent(idOf(prompts[3]));
            rig.settle();
            QVERIFY(!deny->isEnabled());
        }
    }

    // Arabic and Hebrew texts from the agent: the session, the policy's
    // folders, the operation, the process and the file.
    static void rightToLeftTexts_data() {
        QTest::addColumn<QString>("session");
        QTest::addColumn<QString>("policyPath");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("process");
        QTest::addColumn<QString>("target");
        QTest::newRow("Arabic")
            << QString::fromUtf8("جلسة")
            << QString::fromUtf8("/Users/محمد/مشاريع/تطبيق-الدفع/.zor/policy.yml")
            << QString::fromUtf8("كتابة") << QString::fromUtf8("محرر")
            << QString::fromUtf8("/Users/محمد/مشاريع/تطبيق-الدفع/إعدادات/سري.json");
        QTest::newRow("Hebrew") << QString::fromUtf8("שיחה")
                                << QString::fromUtf8("/home/דוד/פרויקטים/.zor/policy.yml")
                                << QString::fromUtf8("כתיבה") << QString::fromUtf8("עורך")
                                << QString::fromUtf8("/home/דוד/פרויקטים/הגדרות/סוד.txt");
        QTest::newRow("a path that starts right to left")
            << "s" << QString::fromUtf8("/محمد/مشاريع/.zor/policy.yml") << "write"
            << "vim" << QString::fromUtf8("/محمد/مشاريع/a/سري/b");
    }
    static SerializablePromptItem rightToLeftRecord() {
        QFETCH(QString, session);
        QFETCH(QString, policyPath);
        QFETCH(QString, operation);
        QFETCH(QString, process);
        QFETCH(QString, target);
        SerializablePromptItem made = record(1, session, FileDenial{target, operation, process});
        made.policyPath = policyPath;
        return made;
    }

    // The window reads left to right: a text whose first letter is Arabic or
    // Hebrew lines up at the left with the others, in the rows and the sidebar.
    void rightToLeftTextsLineUpAtTheLeft_data() { rightToLeftTexts_data(); }
    void rightToLeftTextsLineUpAtTheLeft() {
        Rig rig({rightToLeftRecord()});
        QQuickItem* row = rig.rows().value(0);
        QVERIFY(row);
        QStringList rightAligned;
        const auto check = [&](QQuickItem* text, const QString& where) {
            if (text->property("effectiveHorizontalAlignment").toInt() != Qt::AlignLeft)
                rightAligned << where + ": " + text->property("text").toString();
        };
        for (const char* name : {"promptTitle", "promptProcess", "promptTarget"})
            check(row->findChild<QQuickItem*>(name), name);
        for (const AppTab tab : {AppTab::policies, AppTab::sessions}) {
            rig.scene.appState.setSelectedTab(tab);
            rig.settle();
            for (QQuickItem* entry : rig.sidebarEntries())
                for (const char* name : {"entryLabel", "entrySubtitle"})
                    check(entry->findChild<QQuickItem*>(name), name);
        }
        QCOMPARE(rightAligned, QStringList());
    }

    // A session's entry reads its policy's name, then its id in brackets,
    // each as its script reads, also where both are right to left.
    void aSessionLabelReadsItsNameThenItsId_data() { rightToLeftTexts_data(); }
    void aSessionLabelReadsItsNameThenItsId() {
        const SerializablePromptItem made = rightToLeftRecord();
        Rig rig({made});
        rig.scene.appState.setSelectedTab(AppTab::sessions);
        rig.settle();
        QQuickItem* label = nullptr;
        for (QQuickItem* entry : rig.sidebarEntries())
            if (entry->property("label").toString() != "All")
                label = entry->findChild<QQuickItem*>("entryLabel");
        QVERIFY(label);
        const QString shown = label->property("text").toString();
        const QString name = rig.store.sessionPolicyName(made.sessionId);
        QCOMPARE(QString(shown).remove(QChar(0x200e)), name + " [" + made.sessionId + "]");
        // Where the text draws each character of the name and of the id.
        QTextLayout layout(shown, label->property("font").value<QFont>());
        layout.beginLayout();
        QTextLine line = layout.createLine();
        line.setLineWidth(100000);
        layout.endLayout();
        const auto drawnAt = [&](const QString& part, qsizetype from) {
            const qsizetype at = shown.indexOf(part, from);
            std::pair<qreal, qreal> span{1e9, -1e9};
            for (qsizetype i = at; i <= at + part.size(); ++i) {
                const qreal x = line.cursorToX(int(i));
                span = {std::min(span.first, x), std::max(span.second, x)};
            }
            return span;
        };
        const auto [nameLeft, nameRight] = drawnAt(name, 0);
        const auto [idLeft, idRight] = drawnAt(made.sessionId, shown.indexOf(u'['));
        QVERIFY2(nameRight <= idLeft,
                 qPrintable(QStringLiteral("the name is drawn from %1 to %2, the id from %3 to %4")
                                .arg(nameLeft)
                                .arg(nameRight)
                                .arg(idLeft)
                                .arg(idRight)));
        QVERIFY(line.cursorToX(int(shown.indexOf(u']'))) >= idRight - 0.5);
    }

    // A path whose components are Arabic or Hebrew shows them in the order
    // they are written, each read as its script reads; what the user copies
    // is the path as the agent sent it.
    void rightToLeftPathsKeepTheirOrder_data() { rightToLeftTexts_data(); }
    void rightToLeftPathsKeepTheirOrder() {
        const SerializablePromptItem made = rightToLeftRecord();
        const QString stored = made.denial.target();
        Rig rig({made});
        QQuickItem* row = rig.rows().value(0);
        QVERIFY(row);
        auto* target = row->findChild<QQuickItem*>(QStringLiteral("promptTarget"));
        const QString shown = target->property("text").toString();
        // The same letters, in the same order: only marks that show nothing.
        QCOMPARE(QString(shown).remove(QChar(0x200e)), stored);
        // Where each '/' is drawn, on the one line the target takes.
        QList<qreal> slashes;
        for (qsizetype at = shown.indexOf(u'/'); at >= 0; at = shown.indexOf(u'/', at + 1)) {
            QRectF place;
            QVERIFY(QMetaObject::invokeMethod(target, "positionToRectangle",
                                              Q_RETURN_ARG(QRectF, place), Q_ARG(int, int(at))));
            slashes << place.x();
        }
        QCOMPARE(slashes.size(), stored.count(u'/'));
        QStringList drawnAt;
        for (const qreal x : std::as_const(slashes))
            drawnAt << QString::number(x);
        QVERIFY2(std::adjacent_find(slashes.cbegin(), slashes.cend(), std::greater_equal<>()) ==
                     slashes.cend(),
                 qPrintable(QStringLiteral("the components of %1 are drawn at %2")
                                .arg(stored, drawnAt.join(u' '))));

        // The question before a group decision names it as the row shows it.
        QVERIFY(rig.group().ask(GroupDecision::Action::dismiss, {idOf(made)}));
        QCOMPARE(rig.group().targets(), shown);
        rig.group().cancel();
        rig.settle();

        rig.click(row, QPointF(8, row->height() / 2), Qt::RightButton);
        QTRY_VERIFY(rig.popupItem("Copy Policy Path"));
        rig.click(rig.popupItem("Copy Policy Path"));
        rig.click(row, QPointF(8, row->height() / 2), Qt::RightButton);
        QTRY_VERIFY(rig.popupItem("Copy Session ID"));
        rig.click(rig.popupItem("Copy Session ID"));
        QCOMPARE(rig.scene.clipboard.texts, (QStringList{made.policyPath, made.sessionId}));
    }

    // The agent's texts are shown as they are, never read as markup: a
    // process could otherwise name itself, or a path, so that the row, the
    // sidebar or the question before a group decision shows something else.
    // A process names itself, and its name or its operation may be long: the
    // row still shows that the prompt's session has ended, inside the row.
    void sessionEndedBadgeStaysInTheRow_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("process");
        QTest::newRow("short") << "write"
                               << "vim";
        QTest::newRow("a long process name") << "write" << QString(300, u'p');
        QTest::newRow("a long operation") << QString(300, u'w') << "vim";
        QTest::newRow("both long, no process") << QString(300, u'w') << QString();
    }
    void sessionEndedBadgeStaysInTheRow() {
        QFETCH(QString, operation);
        QFETCH(QString, process);
        const SerializablePromptItem made =
            record(1, "s",
                   FileDenial{"/tmp/a", operation,
                              process.isEmpty() ? std::nullopt : std::optional(process)},
                   true);
        Rig rig({made});
        QQuickItem* row = rig.rowOf(made);
        auto* badge = row->findChild<QQuickItem*>("sessionEndedBadge");
        QVERIFY(badge && badge->isVisible());
        QVERIFY(badge->width() > 0);
        const QRectF shown = badge->mapRectToItem(row, badge->boundingRect());
        QVERIFY2(shown.right() <= row->width(), qPrintable(QString::number(shown.right())));
        // Nothing of the header runs under it.
        for (const char* name : {"promptTitle", "promptProcess"}) {
            const auto* text = row->findChild<QQuickItem*>(name);
            if (text && text->isVisible() && text->width() > 0)
                QVERIFY(text->mapRectToItem(row, text->boundingRect()).right() <= shown.left());
        }
    }

    // A process chooses its name, its arguments and its files' names, and
    // the agent the sessions: wherever the screen shows them, none is read
    // as markup, and none may hide a character, turn the text around it, or
    // draw a line over the next text: those show as escapes.
    // A target longer than a row lays out in a moment (a command line may
    // be a megabyte, which held the window up for minutes) shows its start
    // and its end around how much is not shown; one a little shorter shows
    // whole, as every shorter one does.
    void aVeryLongTargetShowsItsEnds_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("hidden");
        QTest::newRow("as long as a row shows whole") << 4097 << 0;
        QTest::newRow("a character more") << 4098 << 2;
        QTest::newRow("100 KB") << 100 * 1024 << 100 * 1024 - 4096;
    }
    void aVeryLongTargetShowsItsEnds() {
        QFETCH(int, length);
        QFETCH(int, hidden);
        QString target = "/usr/bin/cc";
        for (int n = 0; target.size() < length; ++n)
            target += QStringLiteral(" src/module%1/file.c").arg(n);
        target.truncate(length);
        const QList<SerializablePromptItem> prompts = {
            record(1, "s", FileDenial{target, "write", "make"})};
        Rig rig(prompts);
        const QString shown = rig.rowOf(prompts[0])
                                  ->findChild<QQuickItem*>("promptTarget")
                                  ->property("text")
                                  .toString();
        if (hidden == 0)
            QCOMPARE(shown, target);
        else
            QCOMPARE(shown, target.first(3072) +
                                QStringLiteral(" … %1 characters not shown … ").arg(hidden) +
                                target.last(1024));
        QCOMPARE(rig.mismatch(), QString());
    }

    void agentTextIsShownAsItIs() {
        const QString markup = QStringLiteral("a<br>b");
        QList<SerializablePromptItem> prompts;
        for (int n = 1; n <= 2; ++n) {
            SerializablePromptItem made =
                record(n, QString::fromUtf16(u"s\u2067") + markup,
                       FileDenial{QString::fromUtf16(u"/Users/a/\u202Etxt.sh") +
                                      QString::number(n) + markup,
                                  markup, "p" + markup + "\n (read-only copy, safe)"});
            made.policyPath = QString::fromUtf16(u"/work/p\u200F") + markup + "/.zor/policy.yml";
            prompts.append(made);
        }
        Rig rig(prompts);
        QStringList checked;
        QStringList readAsMarkup;
        QStringList hiding;
        const auto check = [&] {
            rig.window->grabWindow();
            for (QQuickItem* text : itemsOf(rig.window)) {
                if (!text->isVisible() || !text->property("text").toString().contains(u"<br>") ||
                    !(text->inherits("QQuickText") || text->inherits("QQuickTextEdit")))
                    continue;
                QString shown = text->property("text").toString();
                const QString name = text->objectName().isEmpty() ? shown : text->objectName();
                checked.append(name);
                if (isReadAsMarkup(text))
                    readAsMarkup.append(name);
                // The question's own line breaks, one target to a line.
                if (name == "groupTargets")
                    shown.remove(u'\n');
                if (std::any_of(shown.cbegin(), shown.cend(), [](QChar c) {
                        return c.category() == QChar::Other_Control ||
                               c.category() == QChar::Other_Format;
                    }))
                    hiding.append(name + ": " + shown);
            }
        };
        check();
        QQuickItem* row = rig.rowOf(prompts[0]);
        auto* processLabel = row->findChild<QQuickItem*>("promptProcess");
        auto* target = row->findChild<QQuickItem*>("promptTarget");
        QCOMPARE(processLabel->property("text").toString(), "pa<br>b\\n (read-only copy, safe)");
        QCOMPARE(target->property("text").toString(), "/Users/a/\\u{202e}txt.sh1a<br>b");
        QVERIFY(processLabel->mapRectToItem(row, processLabel->boundingRect()).bottom() <=
                target->mapRectToItem(row, target->boundingRect()).top());
        // The policy path again, in the entry's tool tip.
        QQuickItem* entry = nullptr;
        for (QQuickItem* shown : rig.sidebarEntries())
            if (shown->property("tooltip").toString().contains(markup))
                entry = shown;
        QVERIFY(entry);
        QVERIFY(rig.isToolTipShownOnHover(entry));
        check();
        rig.scene.appState.setSelectedTab(AppTab::sessions);
        rig.settle();
        check();
        rig.clickRow(rig.rowOf(prompts[0]));
        rig.clickRow(rig.rowOf(prompts[1]), Qt::ShiftModifier);
        rig.click(rig.item("selectionDenyAlways"));
        QCOMPARE(rig.group().state(), GroupDecision::State::asking);
        check();
        readAsMarkup.removeDuplicates();
        QVERIFY2(readAsMarkup.isEmpty(), qPrintable(readAsMarkup.join(", ")));
        QVERIFY2(hiding.isEmpty(), qPrintable(hiding.join(", ")));
        for (const QString& shown :
             QStringList{"entryLabel", "entrySubtitle", "promptTitle", "promptTarget",
                         "groupTargets", "plainToolTipText", "promptProcess"})
            QVERIFY2(checked.contains(shown), qPrintable(shown));
    }

    // However long the targets a process chose, the question shows every
    // target it names and the count of the rest above its buttons, within
    // the window.
    void aGroupQuestionFitsItsTargets_data() {
        QTest::addColumn<QString>("target");
        QTest::newRow("short") << "/tmp/x";
        QTest::newRow("4,000 characters") << "/bin/sh -c " + QString(4000, u'x');
        QTest::newRow("200 lines") << QString("echo x\n").repeated(200);
    }
    void aGroupQuestionFitsItsTargets() {
        QFETCH(QString, target);
        QList<SerializablePromptItem> prompts = records(4);
        for (int n = 0; n < prompts.size(); ++n)
            prompts[n].denial = ExecDenial{target + QString::number(n), {}, "sh"};
        Rig rig(prompts);
        rig.clickRow(rig.rowOf(prompts[3]));
        for (int n = 0; n < 3; ++n)
            rig.keys(QKeySequence(Qt::ShiftModifier | Qt::Key_Down));
        QCOMPARE(rig.listModel().selectedCount(), 4);
        // As small as the window goes.
        rig.window->resize(rig.window->minimumSize());
        rig.settle();
        rig.click(rig.item("selectionDenyAlways"));
        QCOMPARE(rig.group().state(), GroupDecision::State::asking);
        QQuickItem* confirm = rig.popupItem("groupConfirm");
        QVERIFY(confirm);
        QQuickItem* targets = nullptr;
        for (QQuickItem* candidate : rig.window->findChildren<QQuickItem*>())
            if (candidate->objectName() == "groupTargets" && candidate->isVisible())
                targets = candidate;
        QVERIFY(targets);
        QQuickItem* dialog = targets;
        while (dialog && !dialog->inherits("QQuickPopupItem"))
            dialog = dialog->parentItem();
        QVERIFY(dialog);
        const QRectF window(QPointF(), rig.window->size());
        QVERIFY(window.contains(dialog->mapRectToScene(dialog->boundingRect())));
        const QRectF shown = targets->mapRectToScene(targets->boundingRect());
        QVERIFY2(shown.bottom() <= confirm->mapRectToScene(confirm->boundingRect()).top(),
                 qPrintable(QStringLiteral("the targets end at %1").arg(shown.bottom())));
        QVERIFY(targets->property("text").toString().endsWith("and 1 more"));
    }

    // A group of long commands, more than it names, and every kind of skip
    // it may meet: at the window's smallest, the question is taller than the
    // window. Its title and its buttons stay in the window; its text scrolls
    // between them.
    void aLongGroupQuestionScrollsBetweenItsTitleAndButtons() {
        const QString command = "/Users/alexandra.konstantinopoulou/Developer/clients/acme/"
                                "tools/bin/generate -c " +
                                QString("--define=BUILD_FLAG=value ").repeated(12);
        QList<SerializablePromptItem> prompts;
        for (int n = 1; n <= 12; ++n)
            prompts.append(record(n, "s", ExecDenial{command + QString::number(n), {}, "sh"}));
        prompts.append(record(13, "s", fileDenial(13), true));
        prompts.append(record(14, "s", fileDenial(14)));
        prompts.append(record(15, "s", SignalDenial{9, 501, "Dock", "kill"}));
        Rig rig(prompts);
        rig.click(rig.button(rig.rowOf(prompts[13]), Decision::denyAlways));
        rig.window->resize(rig.window->minimumSize());
        rig.settle();
        QCOMPARE(rig.window->size(), QSize(761, 300));
        rig.clickRow(rig.rowOf(prompts.last()));
        rig.keys(QKeySequence(Qt::ShiftModifier | Qt::Key_End));
        QCOMPARE(rig.listModel().selectedCount(), prompts.size());
        rig.click(rig.item("selectionDenySession"));
        QCOMPARE(rig.group().state(), GroupDecision::State::asking);
        rig.settle();

        QQuickItem* cancel = rig.popupItem("groupCancel");
        QVERIFY(cancel);
        QQuickItem* dialog = popupOf(cancel);
        const QQuickItem* targets = shownItem(dialog, "groupTargets");
        QVERIFY(targets);
        QCOMPARE(
            targets->property("text").toString().split(u'\n').mid(3),
            (QStringList{"and 9 more", "1 skipped: session ended",
                         "1 skipped: already being decided", "1 skipped: no rule for a signal"}));
        // What shows of the text: cut by whatever clips it.
        QRectF shown = targets->mapRectToScene(targets->boundingRect());
        for (const QQuickItem* above = targets->parentItem(); above; above = above->parentItem())
            if (above->clip())
                shown &= above->mapRectToScene(above->boundingRect());
        const qreal cancelTop = cancel->mapRectToScene(cancel->boundingRect()).top();
        QVERIFY2(shown.bottom() <= cancelTop,
                 qPrintable(QStringLiteral("the text shows down to %1, the buttons start at %2")
                                .arg(shown.bottom())
                                .arg(cancelTop)));
        const QQuickItem* title = nullptr;
        for (QQuickItem* item : itemsOf(rig.window))
            if (dialog->isAncestorOf(item) && item->property("text") == rig.group().question())
                title = item;
        QVERIFY(title);
        const QRectF window(QPointF(), rig.window->size());
        QVERIFY(window.contains(title->mapRectToScene(title->boundingRect())));
        QVERIFY(window.contains(cancel->mapRectToScene(cancel->boundingRect())));
        // The keys stay with the question, on Cancel, and scroll its text.
        QVERIFY(cancel->hasActiveFocus());
        QQuickItem* scrolled = targets->parentItem()->parentItem();
        QVERIFY(scrolled->inherits("QQuickFlickable"));
        const auto scrolledTo = [&] { return scrolled->property("contentY").toReal(); };
        QCOMPARE(scrolledTo(), 0.0);
        rig.keys(QKeySequence(Qt::Key_Down));
        const qreal line = scrolledTo();
        QVERIFY(line > 0);
        rig.keys(QKeySequence(Qt::Key_PageDown));
        QVERIFY(scrolledTo() > line);
        rig.keys(QKeySequence(Qt::Key_PageUp));
        rig.keys(QKeySequence(Qt::Key_Up));
        QCOMPARE(scrolledTo(), 0.0);
        QVERIFY(cancel->hasActiveFocus());
        rig.keys(QKeySequence(Qt::Key_Escape));
        QCOMPARE(rig.group().state(), GroupDecision::State::idle);
    }

    // Rows scrolled out of sight show other prompts later: what the user
    // selected of one prompt's target is not left over the next one's, even
    // where both have the same target, under policies of their own.
    void aReusedRowCarriesNoSelection() {
        QList<SerializablePromptItem> sameTarget;
        for (int n = 1; n <= 60; ++n) {
            sameTarget.append(record(n, "s", fileDenial(1)));
            sameTarget.last().policyPath = QStringLiteral("/work/p%1/.zor/policy.yml").arg(n);
        }
        Rig rig(sameTarget);
        QQuickItem* first = rig.rows().first();
        const QString firstId = first->property("promptId").toString();
        auto* target = first->findChild<QQuickItem*>(QStringLiteral("promptTarget"));
        QVERIFY(QMetaObject::invokeMethod(target, "selectAll"));
        QVERIFY(!target->property("selectedText").toString().isEmpty());
        // Scrolled down a little at a time, as a wheel does, until the row
        // that showed the first prompt shows another.
        const auto isReused = [&] {
            return rig.rows().contains(first) && first->property("promptId").toString() != firstId;
        };
        QQuickItem* list = rig.list();
        for (int step = 0; step < 100 && !isReused(); ++step) {
            list->setProperty("contentY", list->property("contentY").toReal() + 40);
            rig.settle();
        }
        QVERIFY2(isReused(), "the first row was not reused");
        for (QQuickItem* row : rig.rows())
            QCOMPARE(row->findChild<QQuickItem*>(QStringLiteral("promptTarget"))
                         ->property("selectedText")
                         .toString(),
                     QString());
    }

    void scrollRequests() {
        Rig rig(records(2));
        auto* viewModel = rig.item("promptsView")->property("viewModel").value<PromptsViewModel*>();
        QSignalSpy requests(viewModel, &PromptsViewModel::scrollRequestChanged);
        rig.add(record(3, "s", fileDenial(3))); // a new head is brought into view
        QCOMPARE(requests.size(), 1);
        rig.highlight(record(1, "s", fileDenial(1)));
        rig.add(record(4, "s", fileDenial(4))); // the view stays where the user is
        QCOMPARE(requests.size(), 1);

        // Asked twice for the same prompt: two requests, told apart by generation.
        const QUuid second = idOf(record(2, "s", fileDenial(2)));
        rig.store.setScrollToPromptId(second);
        const ScrollRequest once = *viewModel->scrollRequest();
        rig.store.setScrollToPromptId(second);
        QCOMPARE(requests.size(), 3);
        QCOMPARE(viewModel->scrollRequest(),
                 (ScrollRequest{second, PromptsViewModel::kTopAnchor, once.generation + 1}));
        QCOMPARE(viewModel->scrollRequestRow(), 2);
        QCOMPARE(rig.store.scrollToPromptId(), std::nullopt);
    }

    void rowMenu_data() {
        QTest::addColumn<PromptFilter>("filter");
        QTest::addColumn<bool>("hasViewPolicy");
        QTest::addColumn<bool>("hasViewSession");
        const QString policy = record(1, "s", fileDenial(1)).policyPath;
        QTest::newRow("all") << PromptFilter::all() << true << true;
        QTest::newRow("its policy") << PromptFilter::policy(policy) << false << true;
        QTest::newRow("its session") << PromptFilter::session("s") << true << false;
    }
    void rowMenu() {
        QFETCH(PromptFilter, filter);
        const SerializablePromptItem prompt = record(1, "s", fileDenial(1));
        Rig rig({prompt, record(2, "t", fileDenial(2))});
        rig.store.setFilter(filter);
        PromptRowMenu menu(rig.scene.appState, rig.scene.clipboard);
        menu.openFor(prompt.policyPath, "s");
        QTEST(menu.hasViewPolicyItem(), "hasViewPolicy");
        QTEST(menu.hasViewSessionItem(), "hasViewSession");

        menu.viewSessionNotifications();
        QCOMPARE(rig.scene.appState.selectedTab(), AppTab::sessions);
        QCOMPARE(rig.store.filter(), PromptFilter::session("s"));
        menu.viewPolicyNotifications();
        QCOMPARE(rig.scene.appState.selectedTab(), AppTab::policies);
        QCOMPARE(rig.store.filter(), PromptFilter::policy(prompt.policyPath));
        menu.copyPolicyPath();
        menu.copySessionId();
        QCOMPARE(rig.scene.clipboard.texts, (QStringList{prompt.policyPath, "s"}));
    }

    void aRowMenusViewItemsCloseWithTheirPrompts_data() {
        QTest::addColumn<QString>("item");
        QTest::newRow("its policy") << "View Policy Notifications";
        QTest::newRow("its session") << "View Session Notifications";
    }

    // The menu stays open when its prompt goes; a filter set then would show
    // nothing, where the store's own removals never leave one.
    void aRowMenusViewItemsCloseWithTheirPrompts() {
        QFETCH(QString, item);
        const QList<SerializablePromptItem> prompts{record(1, "s", fileDenial(1)),
                                                    record(2, "t", fileDenial(2))};
        Rig rig(prompts);
        const AppTab tab = rig.scene.appState.selectedTab();
        rig.click(rig.rowOf(prompts[0]), std::nullopt, Qt::RightButton);
        QQuickItem* view = rig.popupItem(item);
        QVERIFY(view);
        QVERIFY(view->isEnabled());
        rig.removeByAgent(idOf(prompts[0]));
        rig.settle();
        QCOMPARE(rig.popupItem(item), view);
        QVERIFY(!view->isEnabled());
        // Nor does the menu's action act, however it is reached.
        auto* menu = rig.window->findChild<QObject*>("promptRowMenu")
                         ->property("rowMenu")
                         .value<PromptRowMenu*>();
        QVERIFY(menu);
        if (item == "View Policy Notifications")
            menu->viewPolicyNotifications();
        else
            menu->viewSessionNotifications();
        rig.settle();
        QCOMPARE(rig.store.filter(), PromptFilter::all());
        QCOMPARE(rig.scene.appState.selectedTab(), tab);
    }

private:
    static QString runSequence(PromptScreen& screen, quint32 seed);
    static QString confirmGroup(PromptScreen& screen, GroupDecision::Action action,
                                const QList<QUuid>& group);
};

// Confirms the group asked, and checks that the agent got exactly its
// prompts, less those a decision of that lifetime cannot reach; empty when so.
QString PromptsViewTest::confirmGroup(PromptScreen& screen, GroupDecision::Action action,
                                      const QList<QUuid>& group) {
    QSet<QString> expected;
    const bool isSessionBound = action == GroupDecision::Action::allowOnce ||
                                action == GroupDecision::Action::allowSession ||
                                action == GroupDecision::Action::denySession;
    for (const QUuid& id : group) {
        const std::optional<PromptItem> item = screen.store.prompt(id);
        // A signal's decision goes nowhere: no rule can hold it.
        if (!item)
            continue;
        const bool isSent =
            action == GroupDecision::Action::dismiss || item->denial.kind() != Denial::Kind::signal;
        if (isSent && !(isSessionBound && item->sessionEnded) &&
            !screen.listModel().isProcessing(id))
            expected.insert(idText(id).toUpper());
    }
    QQuickItem* confirm = screen.popupItem("groupConfirm");
    if (!confirm)
        return QStringLiteral("no confirmation for a group of %1").arg(group.size());
    screen.newCalls();
    screen.click(confirm);
    QSet<QString> reached;
    for (const FakeAgentCall& call : screen.newCalls())
        reached.insert(call.arguments.value(0).toUpper());
    if (reached != expected)
        return QStringLiteral("the group's decision reached %1 prompts, %2 were expected")
            .arg(reached.size())
            .arg(expected.size());
    return {};
}

QString PromptsViewTest::runSequence(PromptScreen& screen, quint32 seed) {
    PromptMaker maker(seed);
    QRandomGenerator& random = maker.random;
    QStringList steps;
    const auto fail = [&steps](const QString& what) {
        return steps.join(QStringLiteral(", ")) + QStringLiteral(": ") + what;
    };
    const auto anyPrompt = [&]() -> std::optional<PromptItem> {
        const PromptList all = screen.store.prompts();
        if (all.isEmpty())
            return std::nullopt;
        return all.at(qsizetype(random.bounded(int(all.size()))));
    };
    const auto pick = [&random](const QList<QQuickItem*>& items) -> QQuickItem* {
        return items.isEmpty() ? nullptr : items.at(int(random.bounded(int(items.size()))));
    };
    // Every call since the last look is for `id`.
    const auto callsAreFor = [&screen](const QString& id) {
        const QList<FakeAgentCall> calls = screen.newCalls();
        return std::all_of(calls.cbegin(), calls.cend(), [&id](const FakeAgentCall& call) {
            return call.arguments.value(0).compare(id, Qt::CaseInsensitive) == 0;
        });
    };

    // Each run starts from a fresh sync on an empty, unfiltered list.
    screen.group().cancel();
    screen.answerAll(true);
    screen.store.setSearchText(QString());
    for (const PromptItem& held : screen.store.prompts().toList())
        screen.store.removePrompt(held.id);
    screen.store.setHighlightedPromptId(std::nullopt);
    screen.store.setFilter(PromptFilter::all());
    screen.scene.appState.setSelectedTab(AppTab::policies);
    QList<SerializablePromptItem> first;
    for (int n = int(random.bounded(25)); n > 0; --n)
        first.append(maker.make());
    screen.sync(first);
    steps << QStringLiteral("sync %1").arg(first.size());

    for (int step = int(random.bounded(50)); step > 0; --step) {
        if (const QString mismatch = screen.mismatch(); !mismatch.isEmpty())
            return fail(mismatch);
        if (screen.group().state() == GroupDecision::State::asking)
            return fail(QStringLiteral("a group's question was left open"));
        switch (random.bounded(18)) {
        case 0: {
            QList<SerializablePromptItem> records;
            for (int n = int(random.bounded(30)); n > 0; --n)
                records.append(maker.make());
            screen.sync(records);
            steps << QStringLiteral("sync %1").arg(records.size());
            break;
        }
        case 1: {
            // A burst, on the queue at once.
            const int burst = 1 + int(random.bounded(3));
            for (int n = 0; n < burst; ++n)
                screen.scene.queue.post([&screen, json = maker.make().toJson()] {
                    screen.scene.handler.promptAddedWithPromptData(json);
                });
            screen.settle();
            steps << QStringLiteral("add %1").arg(burst);
            break;
        }
        case 2:
            if (const auto held = anyPrompt()) {
                screen.add(maker.replacing(*held));
                steps << QStringLiteral("replace %1").arg(held->denial.target());
            }
            break;
        case 3:
            if (const auto held = anyPrompt()) {
                screen.removeByAgent(held->id);
                steps << QStringLiteral("agent removes %1").arg(held->denial.target());
            }
            break;
        case 4: {
            const QString session =
                PromptMaker::sessions.at(int(random.bounded(PromptMaker::sessions.size())));
            screen.endSession(session);
            steps << QStringLiteral("end %1").arg(session);
            break;
        }
        case 5:
            if (QQuickItem* entry = pick(screen.sidebarEntries())) {
                steps << QStringLiteral("filter %1").arg(entry->property("label").toString());
                const QPointer<QQuickItem> clicked = entry;
                screen.click(entry);
                // With the sidebar drawn as the store holds it, the clicked
                // entry is the store's filter.
                if (!clicked || !clicked->property("isSelected").toBool())
                    return fail(QStringLiteral("the clicked entry did not become the filter"));
            }
            break;
        case 6: {
            const AppTab tab = random.bounded(2) ? AppTab::sessions : AppTab::policies;
            screen.scene.appState.setSelectedTab(tab);
            screen.settle();
            steps << QStringLiteral("tab %1").arg(int(tab));
            break;
        }
        case 7:
            if (const auto held = anyPrompt()) {
                screen.scene.appState.navigateToPrompt(held->id);
                screen.settle();
                steps << QStringLiteral("link to %1").arg(held->denial.target());
                QQuickItem* row = screen.rowFor(held->id);
                if (!row || !screen.isFullyInView(row))
                    return fail(QStringLiteral("the linked prompt is not in view"));
            }
            break;
        case 8:
            if (QQuickItem* row = pick(screen.rowsInView())) {
                steps << QStringLiteral("click %1").arg(row->property("target").toString());
                const bool isOpen = !row->property("isProcessing").toBool();
                const QUuid id(row->property("promptId").toString());
                screen.clickRow(row);
                if (isOpen && screen.store.highlightedPromptId() != id)
                    return fail(QStringLiteral("a click did not highlight its row"));
            }
            break;
        case 9:
            screen.keys(QKeySequence(random.bounded(2) ? Qt::Key_Down : Qt::Key_Up));
            steps << QStringLiteral("arrow");
            break;
        case 10:
        case 11: {
            // Keys act on the row drawn highlighted; when arrivals pushed it
            // out of sight, on the prompt last seen highlighted, still listed.
            QQuickItem* row = screen.highlightedRow();
            const std::optional<QUuid> highlighted = screen.store.highlightedPromptId();
            const bool isListed = highlighted && screen.store.filteredPrompts().toList().contains(
                                                     *screen.store.prompt(*highlighted));
            const QString shownId = row        ? row->property("promptId").toString()
                                    : isListed ? idText(*highlighted)
                                               : QString();
            const bool isDelete = random.bounded(2);
            const auto decision = Decision(random.bounded(5));
            // With more selected, the keys ask for them all.
            const QList<QUuid> selection = screen.listModel().selection();
            screen.keys(isDelete ? QKeySequence(Qt::Key_Delete)
                                 : QKeySequence(PromptDecider::shortcut(decision)));
            steps << (isDelete ? QStringLiteral("delete")
                               : QStringLiteral("keys %1").arg(int(decision)));
            if (screen.group().state() == GroupDecision::State::asking) {
                steps << QStringLiteral("for %1 selected").arg(selection.size());
                const QString failure =
                    confirmGroup(screen,
                                 isDelete ? GroupDecision::Action::dismiss
                                          : GroupDecision::Action(int(decision)),
                                 selection);
                if (!failure.isEmpty())
                    return fail(failure);
                break;
            }
            if (!callsAreFor(shownId))
                return fail(
                    QStringLiteral("a decision reached another prompt than %1").arg(shownId));
            break;
        }
        case 12:
            if (QQuickItem* row = pick(screen.rowsInView())) {
                const auto decision = Decision(random.bounded(5));
                QQuickItem* button = screen.button(row, decision);
                const QString shownId = row->property("promptId").toString();
                steps << QStringLiteral("button %1 on %2")
                             .arg(int(decision))
                             .arg(row->property("target").toString());
                if (button->isVisible() && screen.isClickable(button)) {
                    screen.click(button);
                    if (!callsAreFor(shownId))
                        return fail(
                            QStringLiteral("a button decided another prompt than %1").arg(shownId));
                }
            }
            break;
        case 14: {
            // A search typed, or cleared with Escape.
            screen.keys(QKeySequence(QKeySequence::Find));
            if (random.bounded(4) == 0) {
                screen.keys(QKeySequence(Qt::Key_Escape));
                steps << QStringLiteral("search cleared");
            } else if (const auto held = anyPrompt()) {
                const QString target = held->denial.target();
                const int length = 1 + int(random.bounded(4));
                const QString text = target.mid(
                    int(random.bounded(int(std::max<qsizetype>(1, target.size() - length)))),
                    length);
                screen.type(text);
                steps << QStringLiteral("search %1").arg(screen.store.searchText());
            }
            break;
        }
        case 15:
            if (QQuickItem* row = pick(screen.rowsInView())) {
                const bool isShift = random.bounded(2);
                steps << QStringLiteral("%1-click %2")
                             .arg(isShift ? "shift" : "ctrl", row->property("target").toString());
                screen.clickRow(row, isShift ? Qt::ShiftModifier : Qt::ControlModifier);
            }
            break;
        case 16: {
            // The selection, decided together: asked, then confirmed.
            const QList<QUuid> group = screen.listModel().selection();
            // One group at a time: the one before may still wait for the agent.
            if (group.size() < 2 || screen.group().state() != GroupDecision::State::idle)
                break;
            const auto action = GroupDecision::Action(random.bounded(6));
            steps << QStringLiteral("group %1 of %2").arg(int(action)).arg(group.size());
            screen.item("promptsView")
                ->property("viewModel")
                .value<PromptsViewModel*>()
                ->decideSelection(action);
            if (const QString failure = confirmGroup(screen, action, group); !failure.isEmpty())
                return fail(failure);
            break;
        }
        default:
            screen.answerAll(random.bounded(2));
            steps << QStringLiteral("answer");
        }
    }
    const QString mismatch = screen.mismatch();
    return mismatch.isEmpty() ? QString() : fail(mismatch);
}

QTEST_MAIN(PromptsViewTest)
#include "tst_prompts_view.moc"
