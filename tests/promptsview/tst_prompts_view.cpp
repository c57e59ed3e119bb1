#include "PromptScreen.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"
#include "window/qml/QuickViews.h"

#include <QAbstractItemModelTester>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

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

    // A launch sync of 10,000 reaches the list in a few changes, and a link to
    // the oldest prompt brings all of it into view.
    void largeSyncAndALinkToTheOldest() {
        PromptScreen screen;
        auto* listModel = screen.list()->property("model").value<PromptListModel*>();
        QAbstractItemModelTester tester(listModel,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy insertions(listModel, &QAbstractItemModel::rowsInserted);
        QList<SerializablePromptItem> many;
        for (int n = 1; n <= 10000; ++n)
            many.append(record(n, QStringLiteral("s%1").arg(n % 7), fileDenial(n)));
        screen.sync(many);
        QCOMPARE(screen.mismatch(), QString());
        QCOMPARE(listModel->count(), 10000);
        QVERIFY2(insertions.size() < 100, qPrintable(QString::number(insertions.size())));

        screen.scene.appState.navigateToPrompt(idOf(many.first()));
        screen.settle();
        QQuickItem* oldest = screen.rowFor(idOf(many.first()));
        QVERIFY(oldest);
        QVERIFY(screen.isFullyInView(oldest));
        QVERIFY(oldest->property("isHighlighted").toBool());
        QCOMPARE(screen.mismatch(), QString());
    }

    // Each decision, by its button and by its keys, reaches the agent with
    // its action and lifetime; the prompt goes when the agent answers.
    void decisionsReachTheAgent_data() {
        QTest::addColumn<Decision>("decision");
        QTest::addColumn<bool>("isByKeys");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("lifetime");
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
                    << d.decision << isByKeys << d.action << d.lifetime;
    }
    void decisionsReachTheAgent() {
        QFETCH(Decision, decision);
        QFETCH(bool, isByKeys);
        QFETCH(QString, action);
        QFETCH(QString, lifetime);
        const QList<SerializablePromptItem> prompts = records(3);
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
        QVERIFY(rig.store.prompts().isEmpty());
        QVERIFY(rig.newCalls().size() <= 1);
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

    // Where the highlight goes when the highlighted prompt does.
    void highlightAfterRemoval_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<int>("highlighted"); // prompt number; prompts 4, 3, 2, 1 top down
        QTest::addColumn<int>("expected");    // prompt number, 0 for none
        QTest::newRow("delete: the one that followed") << "delete" << 3 << 2;
        QTest::newRow("delete the last: the new last") << "delete" << 1 << 2;
        QTest::newRow("decision: the one that followed") << "decision" << 2 << 1;
        QTest::newRow("decision, the agent removes it first") << "decision, agent" << 2 << 1;
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
        rig.highlight(target);
        if (how == "delete") {
            rig.keys(QKeySequence(Qt::Key_Delete));
        } else if (how.startsWith("decision")) {
            rig.keys(QKeySequence(PromptDecider::shortcut(Decision::denySession)));
            if (how.endsWith("agent"))
                rig.removeByAgent(idOf(target));
            rig.answerAll(true);
        } else if (how == "agent") {
            rig.removeByAgent(idOf(target));
        } else {
            SerializablePromptItem replacement = target;
            replacement.id = idText(QUuid::createUuid());
            rig.add(replacement);
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
        QVERIFY(rig.highlightedRow()->property("isHighlighted").toBool());
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

private:
    static QString runSequence(PromptScreen& screen, quint32 seed);
};

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
    screen.answerAll(true);
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
        switch (random.bounded(14)) {
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
                screen.click(entry);
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
            screen.keys(isDelete ? QKeySequence(Qt::Key_Delete)
                                 : QKeySequence(PromptDecider::shortcut(decision)));
            steps << (isDelete ? QStringLiteral("delete")
                               : QStringLiteral("keys %1").arg(int(decision)));
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
                if (button->isVisible() && screen.isFullyInView(button)) {
                    screen.click(button);
                    if (!callsAreFor(shownId))
                        return fail(
                            QStringLiteral("a button decided another prompt than %1").arg(shownId));
                }
            }
            break;
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
