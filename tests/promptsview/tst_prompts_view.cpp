#include "LogCapture.h"
#include "PromptsScene.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"

#include <QAbstractItemModelTester>
#include <QKeySequence>
#include <QSignalSpy>
#include <QTest>

using namespace zor;
using namespace zor::testing;
using Decision = PromptDecider::Decision;

namespace {

QUuid uuid(int n) {
    return QUuid(uint(n), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
}

QString policy(const QString& name) {
    return QStringLiteral("/work/%1/.zor/policy.yml").arg(name);
}

Denial fileDenial(int n) {
    return FileDenial{QStringLiteral("/tmp/file-%1").arg(n), "write", "vim"};
}

// The view's models on the agent link, to a fake agent that is not connected
// unless asked.
struct Fixture : PromptsScene {
    LogCapture log;
    PromptStore& store = *appState.promptStore();
    PromptListModel listModel{store};
    QAbstractItemModelTester tester{&listModel,
                                    QAbstractItemModelTester::FailureReportingMode::QtTest};
    PromptDecider decider{store, listModel, handler};
    PromptsViewModel viewModel{store, listModel, decider, handler};

    Fixture()
        : PromptsScene(false) {}

    // Prompt n of session "s<n % sessions>" under the policy of its session.
    void addPrompts(int count, int sessions = 1) {
        for (int n = 1; n <= count; ++n) {
            const QString session = QStringLiteral("s%1").arg(n % sessions);
            store.addPrompt(uuid(n), session, policy(session), fileDenial(n), false);
        }
    }

    QList<QUuid> rows() const {
        QList<QUuid> ids;
        for (int row = 0; row < listModel.rowCount(); ++row)
            ids.append(listModel.promptAt(row).id);
        return ids;
    }
    QStringList viewLog() const { return log.messages(LogCategory::promptsView); }
};

} // namespace

class PromptsViewTest : public QObject {
    Q_OBJECT

private slots:
    // Every change of the store reaches the list as the smallest change of
    // rows; only a new filter resets it.
    void listFollowsStoreRowByRow() {
        Fixture f;
        QSignalSpy inserted(&f.listModel, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&f.listModel, &QAbstractItemModel::rowsRemoved);
        QSignalSpy changed(&f.listModel, &QAbstractItemModel::dataChanged);
        QSignalSpy resets(&f.listModel, &QAbstractItemModel::modelReset);
        const auto counts = [&] {
            return QList<qsizetype>{inserted.size(), removed.size(), changed.size(), resets.size()};
        };

        f.addPrompts(6, 2); // sessions s1, s0, s1, s0, s1, s0
        QCOMPARE(f.rows(), (QList<QUuid>{uuid(6), uuid(5), uuid(4), uuid(3), uuid(2), uuid(1)}));
        QCOMPARE(counts(), (QList<qsizetype>{6, 0, 0, 0}));

        f.store.setFilter(PromptFilter::session("s1"));
        QCOMPARE(f.rows(), (QList<QUuid>{uuid(5), uuid(3), uuid(1)}));
        QCOMPARE(resets.size(), 1);

        f.store.addPrompt(uuid(7), "s0", policy("s0"), fileDenial(7), false); // filtered out
        f.store.addPrompt(uuid(8), "s1", policy("s1"), fileDenial(1), false); // replaces 1
        f.store.addPrompt(uuid(9), "s0", policy("s1"), fileDenial(3), false); // replaces 3, hidden
        QCOMPARE(f.rows(), (QList<QUuid>{uuid(8), uuid(5)}));
        QCOMPARE(counts(), (QList<qsizetype>{7, 2, 0, 1}));

        f.store.markSessionEnded("s1");
        QVERIFY(f.listModel.data(f.listModel.index(1), PromptListModel::sessionEndedRole).toBool());

        f.store.removePrompt(uuid(7)); // not shown
        QCOMPARE(removed.size(), 2);
        f.store.removePrompt(uuid(8));
        f.store.removePrompt(uuid(5)); // the last of s1: the filter falls back to all
        QCOMPARE(f.store.filter(), PromptFilter::all());
        QCOMPARE(f.rows(), (QList<QUuid>{uuid(9), uuid(6), uuid(4), uuid(2)}));
        QCOMPARE(counts(), (QList<qsizetype>{7, 4, 2, 2}));
    }

    // What is sent, what is logged, and that the prompt goes in every case.
    void decisions_data() {
        QTest::addColumn<Denial>("denial");
        QTest::addColumn<Decision>("decision");
        QTest::addColumn<QString>("agent"); // "absent", "ok", "fail"
        QTest::addColumn<QStringList>("request");
        QTest::addColumn<QStringList>("lines");
        const QString id = uuid(1).toString(QUuid::WithoutBraces);
        QTest::newRow("exec, deny session")
            << Denial(ExecDenial{"/bin/ls", {"-la"}, "sh"}) << Decision::denySession << "ok"
            << QStringList{id, "deny", "session", policy("p")}
            << QStringList{"Override handled for exec: /bin/ls -la"};
        QTest::newRow("file, allow once, refused")
            << fileDenial(1) << Decision::allowOnce << "fail"
            << QStringList{id, "allow", "once", policy("p")}
            << QStringList{"Failed to handle prompt: unknown prompt"};
        QTest::newRow("network, allow session, not connected")
            << Denial(NetworkDenial{"example.org", 443, "curl"}) << Decision::allowSession
            << "absent" << QStringList()
            << QStringList{"Failed to handle prompt: Not connected to ZorAgent"};
        QTest::newRow("signal: removed here")
            << Denial(SignalDenial{9, 42, {}, "kill"}) << Decision::allowAlways << "ok"
            << QStringList() << QStringList();
    }
    void decisions() {
        Fixture f;
        QFETCH(Denial, denial);
        QFETCH(Decision, decision);
        QFETCH(QString, agent);
        QFETCH(QStringList, request);
        const auto connection = agent == "absent" ? nullptr : f.connectToAgent();
        f.store.addPrompt(uuid(1), "s", policy("p"), denial, false);

        QVERIFY(f.decider.decide(uuid(1).toString(QUuid::WithoutBraces), decision));
        if (connection) {
            const QList<FakeAgentCall> calls = connection->calls();
            QCOMPARE(calls.size(), request.isEmpty() ? 1 : 2); // the sync, then the decision
            if (!request.isEmpty()) {
                QCOMPARE(calls.last().method, "handlePrompt");
                QCOMPARE(calls.last().arguments, request);
                // Waiting for the agent: shown, dimmed, and closed to a second decision.
                QCOMPARE(f.rows(), QList<QUuid>{uuid(1)});
                QVERIFY(f.listModel.data(f.listModel.index(0), PromptListModel::isProcessingRole)
                            .toBool());
                QVERIFY(!f.decider.decide(uuid(1), Decision::allowAlways));
                connection->answer("handlePrompt", [agent](const FakeAgentCall& call) {
                    if (agent == "ok")
                        call.decisionReply(true, std::nullopt);
                    else
                        call.decisionReply(false, "unknown prompt");
                });
                f.settle();
            }
        }
        QTEST(f.viewLog(), "lines");
        QVERIFY(f.store.prompts().isEmpty());
        QVERIFY(!f.listModel.isProcessing(uuid(1)));
    }

    // Only Always stays open for an ended session. Each shortcut is its own and
    // needs a modifier.
    void buttonsAndShortcuts() {
        Fixture f;
        const QList<Decision> all{Decision::allowOnce, Decision::allowSession,
                                  Decision::allowAlways, Decision::denySession,
                                  Decision::denyAlways};
        QSet<int> shortcuts;
        for (Decision decision : all) {
            QCOMPARE(PromptDecider::isEnabled(decision, true, false),
                     PromptDecider::label(decision) == "Always");
            const QKeySequence keys = QKeySequence::fromString(PromptDecider::shortcut(decision),
                                                               QKeySequence::PortableText);
            QCOMPARE(keys.count(), 1);
            QVERIFY(keys[0].keyboardModifiers() &
                    (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
            shortcuts.insert(keys[0].toCombined());
        }
        QCOMPARE(shortcuts.size(), all.size());

        f.store.addPrompt(uuid(1), "s", policy("p"), fileDenial(1), true);
        QVERIFY(!f.viewModel.decideHighlighted(Decision::denyAlways)); // nothing highlighted
        f.store.setHighlightedPromptId(uuid(1));
        QVERIFY(!f.viewModel.decideHighlighted(Decision::denySession));
        QVERIFY(f.viewModel.decideHighlighted(Decision::denyAlways)); // not connected: goes at once
        QVERIFY(f.store.prompts().isEmpty());
    }

    void deleteMovesHighlight_data() {
        QTest::addColumn<int>("prompts");
        QTest::addColumn<int>("highlighted"); // prompt number, 0 for none
        QTest::addColumn<int>("expected");    // prompt number, 0 for none
        // Rows are newest first: 3, 2, 1.
        QTest::newRow("middle: the one that followed") << 3 << 2 << 1;
        QTest::newRow("last: the new last") << 3 << 1 << 2;
        QTest::newRow("only: none") << 1 << 1 << 0;
        QTest::newRow("nothing highlighted: nothing") << 3 << 0 << 0;
    }
    void deleteMovesHighlight() {
        Fixture f;
        QFETCH(int, prompts);
        QFETCH(int, highlighted);
        QFETCH(int, expected);
        f.addPrompts(prompts);
        if (highlighted)
            f.store.setHighlightedPromptId(uuid(highlighted));

        QVERIFY(f.viewModel.handleListKey(Qt::Key_Backspace, Qt::NoModifier));
        QCOMPARE(f.store.prompts().size(), highlighted ? prompts - 1 : prompts);
        QCOMPARE(f.store.highlightedPromptId(),
                 expected ? std::optional(uuid(expected)) : std::nullopt);
        QCOMPARE(f.viewModel.highlightedRow(), expected ? f.rows().indexOf(uuid(expected)) : -1);
        // Not connected: the request fails at once, after the prompt went.
        QCOMPARE(f.viewLog(),
                 highlighted ? QStringList{"Failed to dismiss prompt: Not connected to ZorAgent"}
                             : QStringList());
        if (f.store.prompts().isEmpty())
            QCOMPARE(f.viewModel.contentState(), PromptsViewModel::ContentState::noPendingPrompts);
        QVERIFY(!f.viewModel.handleListKey(Qt::Key_Delete, Qt::ControlModifier));
    }

    void scrolling() {
        Fixture f;
        QSignalSpy requests(&f.viewModel, &PromptsViewModel::scrollRequestChanged);
        f.addPrompts(2); // each new head is brought into view
        QCOMPARE(requests.size(), 2);
        QCOMPARE(f.viewModel.scrollRequest()->id, uuid(2));

        f.store.setHighlightedPromptId(uuid(1));
        f.addPrompts(3); // adds 3 (replacing 1 and 2): the view stays where the user is
        QCOMPARE(requests.size(), 2);

        // Asked twice for the same prompt: two requests, told apart by generation.
        f.store.setScrollToPromptId(uuid(2));
        f.store.setScrollToPromptId(uuid(2));
        QCOMPARE(requests.size(), 4);
        QCOMPARE(f.viewModel.scrollRequest(),
                 (ScrollRequest{uuid(2), PromptsViewModel::kTopAnchor, 4}));
        QCOMPARE(f.viewModel.scrollRequestRow(), 1);
        QCOMPARE(f.store.scrollToPromptId(), std::nullopt);
        QVERIFY(f.viewModel.isListFocused());
    }

    void rowMenu_data() {
        QTest::addColumn<PromptFilter>("filter");
        QTest::addColumn<bool>("hasViewPolicy");
        QTest::addColumn<bool>("hasViewSession");
        QTest::newRow("all") << PromptFilter::all() << true << true;
        QTest::newRow("its policy") << PromptFilter::policy(policy("p")) << false << true;
        QTest::newRow("another policy") << PromptFilter::policy(policy("q")) << true << true;
        QTest::newRow("its session") << PromptFilter::session("s") << true << false;
    }
    void rowMenu() {
        Fixture f;
        QFETCH(PromptFilter, filter);
        f.store.addPrompt(uuid(1), "s", policy("p"), fileDenial(1), false);
        f.store.addPrompt(uuid(2), "t", policy("q"), fileDenial(2), false);
        f.store.setFilter(filter);
        PromptRowMenu menu(f.appState, f.clipboard);
        menu.openFor(policy("p"), "s");
        QTEST(menu.hasViewPolicyItem(), "hasViewPolicy");
        QTEST(menu.hasViewSessionItem(), "hasViewSession");

        menu.viewSessionNotifications();
        QCOMPARE(f.appState.selectedTab(), AppTab::sessions);
        QCOMPARE(f.store.filter(), PromptFilter::session("s"));
        QVERIFY(!menu.hasViewSessionItem());
        menu.viewPolicyNotifications();
        QCOMPARE(f.appState.selectedTab(), AppTab::policies);
        QCOMPARE(f.store.filter(), PromptFilter::policy(policy("p")));
        menu.copyPolicyPath();
        menu.copySessionId();
        QCOMPARE(f.clipboard.texts, (QStringList{policy("p"), "s"}));
    }
};

QTEST_MAIN(PromptsViewTest)
#include "tst_prompts_view.moc"
