#include "PromptScreen.h"

#include "prompts/PromptTitle.h"
#include "prompts/SidebarModels.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

namespace zor::testing {
namespace {

const QStringList kPolicies{"/work/alpha/.zor/policy.yml", "/work/beta/.zor/policy.yml",
                            "/etc/gamma/policy.yml"};

// Items of `root`'s tree that carry `property`, in tree order.
QList<QQuickItem*> itemsWith(QQuickItem* root, const char* property) {
    QList<QQuickItem*> found;
    for (QQuickItem* child : root->childItems()) {
        if (child->property(property).isValid())
            found.append(child);
        else
            found.append(itemsWith(child, property));
    }
    return found;
}

// The delegates of a list view that show, in the order assistive tools walk
// them: the stacking order of the view's children.
QList<QQuickItem*> stackedDelegatesOf(QQuickItem* view, const char* property) {
    QList<QQuickItem*> shown;
    if (!view->isVisible())
        return shown;
    for (QQuickItem* row : itemsWith(view->property("contentItem").value<QQuickItem*>(), property))
        if (row->isVisible())
            shown.append(row);
    return shown;
}

// The same, top to bottom.
QList<QQuickItem*> delegatesOf(QQuickItem* view, const char* property) {
    QList<QQuickItem*> shown = stackedDelegatesOf(view, property);
    std::sort(shown.begin(), shown.end(),
              [](QQuickItem* a, QQuickItem* b) { return a->y() < b->y(); });
    return shown;
}

// Empty when assistive tools meet the delegates in the order they show.
QString readingOrderMismatch(QQuickItem* view, const char* property, const QString& what) {
    const QList<QQuickItem*> stacked = stackedDelegatesOf(view, property);
    if (stacked == delegatesOf(view, property))
        return {};
    QStringList indexes;
    for (const QQuickItem* item : stacked)
        indexes << item->property("index").toString();
    return QStringLiteral("%1 read in the order %2").arg(what, indexes.join(u' '));
}

} // namespace

const QStringList PromptMaker::sessions{"s1", "s2", "s3", "s4", "s5"};

QString idText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces);
}

PromptScreen::PromptScreen(Showing showing)
    : mainWindow(scene.appState, {.serviceMonitor = *setup.monitor,
                                  .serviceRepairs = *setup.repairs,
                                  .notificationHandler = scene.handler,
                                  .clipboard = scene.clipboard,
                                  .workspace = setup.workspace,
                                  .commandLineToolPath = QString(),
                                  .liveRegion = nullptr})
    , window(mainWindow.window()) {
    constexpr auto reporting = QAbstractItemModelTester::FailureReportingMode::QtTest;
    listModelTester.emplace(mainWindow.findChild<PromptListModel*>(), reporting);
    // The policies' model is made first.
    const QList<PromptsSidebarModel*> sidebarModels =
        mainWindow.findChild<SidebarModels*>()->findChildren<PromptsSidebarModel*>();
    if (sidebarModels.size() != 2)
        qFatal("PromptScreen: the sidebar has %lld models, not 2", qlonglong(sidebarModels.size()));
    policiesModelTester.emplace(sidebarModels.first(), reporting);
    sessionsModelTester.emplace(sidebarModels.last(), reporting);
    if (showing == Showing::atOnce)
        show();
    sync({});
}

void PromptScreen::show() {
    mainWindow.show();
    if (!QTest::qWaitForWindowExposed(window) || !QTest::qWaitFor([this] { return list(); }))
        qFatal("PromptScreen: the window did not show its list");
    settle();
}

QQuickItem* PromptScreen::item(const char* objectName) const {
    return window->findChild<QQuickItem*>(QString::fromLatin1(objectName));
}

QQuickItem* PromptScreen::scrollBarIn(const char* pane) const {
    QList<QQuickItem*> bars;
    for (QQuickItem* child : item(pane)->findChildren<QQuickItem*>())
        if (child->inherits("QQuickScrollBar"))
            bars.append(child);
    return bars.size() == 1 ? bars.first() : nullptr;
}

void PromptScreen::settle() {
    scene.settle();
    for (QQuickItem* view : {list(), sidebarList()})
        if (view)
            QMetaObject::invokeMethod(view, "forceLayout");
    QCoreApplication::processEvents();
    // What the frame's layout left for the next turn: the rows' reading order.
    QCoreApplication::sendPostedEvents();
    // What the step let go, as the loop deletes it before a hand can click: a
    // popup whose loader went would otherwise stand in the way, modal.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void PromptScreen::sync(const QList<SerializablePromptItem>& records) {
    scene.handler.disconnect();
    scene.queue.drain();
    QSignalSpy synced(&scene.handler, &NotificationHandler::promptsSynced);
    scene.handler.connect();
    agent = scene.connector.connections.last();
    seenCalls = 1; // the sync
    agent->replyToPrompts(SerializablePromptItem::listToJson(records));
    while (synced.isEmpty()) {
        scene.settle();
        // The sync's next turn.
        scene.clock.advance(Millis(0));
        QCoreApplication::processEvents();
    }
    settle();
}

void PromptScreen::add(const SerializablePromptItem& record) {
    scene.queue.post(
        [this, json = record.toJson()] { scene.handler.promptAddedWithPromptData(json); });
    settle();
}

void PromptScreen::removeByAgent(const QUuid& id) {
    scene.queue.post([this, id] { scene.handler.promptRemovedWithPromptId(idText(id)); });
    settle();
}

void PromptScreen::endSession(const QString& session) {
    scene.queue.post([this, session] { scene.handler.promptsClearedWithSessionId(session); });
    settle();
}

void PromptScreen::answerAll(bool isSuccess) {
    for (const FakeAgentCall& call : agent->calls())
        if (call.method != "getPrompts")
            agent->answer(call.method, [isSuccess](const FakeAgentCall& c) {
                c.decisionReply(isSuccess,
                                isSuccess ? std::nullopt : std::optional<QString>("refused"));
            });
    settle();
}

QList<FakeAgentCall> PromptScreen::newCalls() {
    const QList<FakeAgentCall> calls = agent->calls();
    const QList<FakeAgentCall> fresh = calls.mid(seenCalls);
    seenCalls = calls.size();
    return fresh;
}

QList<QQuickItem*> PromptScreen::rows() const {
    return delegatesOf(list(), "promptId");
}

QList<QQuickItem*> PromptScreen::rowsInView() const {
    QList<QQuickItem*> seen = rows();
    seen.removeIf([this](QQuickItem* row) {
        const QRectF inList = row->mapRectToItem(list(), row->boundingRect());
        return inList.bottom() <= 0 || inList.top() >= list()->height();
    });
    return seen;
}

QQuickItem* PromptScreen::highlightedRow() const {
    for (QQuickItem* row : rows())
        if (row->property("isHighlighted").toBool())
            return row;
    return nullptr;
}

QQuickItem* PromptScreen::rowFor(const QUuid& id) const {
    for (QQuickItem* row : rows())
        if (QUuid(row->property("promptId").toString()) == id)
            return row;
    return nullptr;
}

bool PromptScreen::isFullyInView(QQuickItem* item) const {
    const QRectF inList = item->mapRectToItem(list(), item->boundingRect());
    return inList.top() >= -0.5 && inList.bottom() <= list()->height() + 0.5;
}

bool PromptScreen::isClickable(QQuickItem* item) const {
    const QRectF inList = item->mapRectToItem(list(), item->boundingRect());
    const qreal barsHeight = list()->property("bottomMargin").toReal();
    return inList.top() >= -0.5 && inList.bottom() <= list()->height() - barsHeight + 0.5;
}

QList<QQuickItem*> PromptScreen::sidebarEntries() const {
    return delegatesOf(sidebarList(), "isSelected");
}

QQuickItem* PromptScreen::button(QQuickItem* row, PromptDecider::Decision decision) const {
    for (QQuickItem* candidate : itemsWith(row, "decision"))
        if (candidate->property("decision").toInt() == int(decision))
            return candidate;
    return nullptr;
}

void PromptScreen::click(QQuickItem* target, std::optional<QPointF> at, Qt::MouseButton button,
                         Qt::KeyboardModifiers modifiers) {
    // The hand aims at what the last frame shows: positioners place their
    // items as the frame is made.
    window->grabWindow();
    const QPointF point =
        target->mapToScene(at.value_or(QPointF(target->width() / 2, target->height() / 2)));
    // The pointer goes there first, as a hand moves it: hovers end, and the
    // tool tips they showed fade out before the click, as they would for
    // the eye that aims it.
    QTest::mouseMove(window, point.toPoint());
    const bool isClear = QTest::qWaitFor(
        [this] {
            const QList<QObject*> popups = window->findChildren<QObject*>();
            return std::none_of(popups.cbegin(), popups.cend(), [](QObject* popup) {
                return popup->inherits("QQuickToolTip") && popup->property("visible").toBool();
            });
        },
        2000);
    if (!isClear)
        qWarning("PromptScreen: a tool tip stayed over the click");
    QTest::mouseClick(window, button, modifiers, point.toPoint());
    settle();
}

void PromptScreen::clickRow(QQuickItem* row, Qt::KeyboardModifiers modifiers) {
    const QRectF inList = row->mapRectToItem(list(), row->boundingRect());
    const qreal top = std::max<qreal>(0, -inList.top());
    const qreal bottom = std::min(row->height(), list()->height() - inList.top());
    click(row, QPointF(8, (top + bottom) / 2), Qt::LeftButton, modifiers);
}

void PromptScreen::type(const QString& text) {
    for (const QChar c : text)
        QTest::keyClick(window, c.toLatin1());
    settle();
}

QQuickItem* PromptScreen::popupItem(const QString& nameOrText) const {
    // A popup places itself on the frame after it opens.
    window->grabWindow();
    // Popups hang off the window, not its content.
    for (QQuickItem* candidate : window->findChildren<QQuickItem*>())
        if (candidate->isVisible() &&
            (candidate->objectName() == nameOrText ||
             candidate->property("text").toString() == nameOrText) &&
            candidate->inherits("QQuickAbstractButton"))
            return candidate;
    return nullptr;
}

PromptListModel& PromptScreen::listModel() const {
    return *list()->property("model").value<PromptListModel*>();
}

GroupDecision& PromptScreen::group() const {
    return *item("promptsView")->property("group").value<GroupDecision*>();
}

void PromptScreen::keys(const QKeySequence& sequence) {
    const QKeyCombination combination = sequence[0];
    QTest::keyClick(window, combination.key(), combination.keyboardModifiers());
    settle();
}

QString PromptScreen::mismatch() const {
    const PromptList expected = store.filteredPrompts();
    const QList<QQuickItem*> shown = rows();
    if (expected.isEmpty() != shown.isEmpty())
        return QStringLiteral("%1 rows shown for %2 prompts")
            .arg(shown.size())
            .arg(expected.size());
    int previous = -1;
    for (QQuickItem* row : shown) {
        const int index = row->property("index").toInt();
        if (index < 0 || index >= expected.size())
            return QStringLiteral("a row at index %1 of %2").arg(index).arg(expected.size());
        if (previous >= 0 && index != previous + 1)
            return QStringLiteral("row %1 follows row %2").arg(index).arg(previous);
        previous = index;
        const PromptItem& prompt = expected.at(index);
        const auto shows = [row](const char* name) {
            return row->findChild<QQuickItem*>(QString::fromLatin1(name))
                ->property("text")
                .toString();
        };
        // A target too long to show whole shows its ends (aVeryLongTargetShowsItsEnds).
        const QString target = prompt.denial.target();
        const QString shownTarget = shows("promptTarget");
        const bool isTargetShown =
            shownTarget == target ||
            (target.size() > 4097 && shownTarget.startsWith(target.first(3072)) &&
             shownTarget.endsWith(target.last(1024)));
        if (QUuid(row->property("promptId").toString()) != prompt.id ||
            shows("promptTitle") != promptTitle(prompt.denial) || !isTargetShown)
            return QStringLiteral("row %1 shows %2 %3 where the store has %4 %5")
                .arg(index)
                .arg(shows("promptTitle"), shows("promptTarget"), promptTitle(prompt.denial),
                     prompt.denial.target());
        if (const int glyph = row->findChild<QQuickItem*>(QStringLiteral("promptGlyph"))
                                  ->property("shape")
                                  .toInt();
            glyph != int(prompt.denial.kind()))
            return QStringLiteral("row %1 (%2) shows glyph %3 for kind %4")
                .arg(index)
                .arg(prompt.denial.target())
                .arg(glyph)
                .arg(int(prompt.denial.kind()));
        const bool isHighlighted = store.highlightedPromptId() == prompt.id;
        if (row->property("isHighlighted").toBool() != isHighlighted)
            return QStringLiteral("row %1 (%2) is drawn %3highlighted")
                .arg(index)
                .arg(prompt.denial.target(), isHighlighted ? "not " : "");
        // An ended session shows its badge, and leaves only what outlives it open.
        if (row->findChild<QQuickItem*>(QStringLiteral("sessionEndedBadge"))->isVisible() !=
            prompt.sessionEnded)
            return QStringLiteral("row %1 (%2) %3 the session's end")
                .arg(index)
                .arg(prompt.denial.target(), prompt.sessionEnded ? "hides" : "shows");
        using enum PromptDecider::Decision;
        for (const PromptDecider::Decision decision :
             {allowOnce, allowSession, allowAlways, denySession, denyAlways}) {
            const bool isOpen = PromptDecider::isEnabled(decision, prompt.sessionEnded,
                                                         listModel().isProcessing(prompt.id));
            if (QQuickItem* shown = button(row, decision); !shown || shown->isEnabled() != isOpen)
                return QStringLiteral("row %1 (%2): decision %3 is %4")
                    .arg(index)
                    .arg(prompt.denial.target())
                    .arg(int(decision))
                    .arg(!shown   ? "missing"
                         : isOpen ? "closed"
                                  : "open");
        }
        const bool isSelected = listModel().isSelected(prompt.id);
        if (row->property("isSelected").toBool() != isSelected)
            return QStringLiteral("row %1 (%2) is drawn %3selected")
                .arg(index)
                .arg(prompt.denial.target(), isSelected ? "not " : "");
    }
    // The rows fill the viewport, or reach the end of the list.
    if (!shown.isEmpty()) {
        QQuickItem* last = shown.last();
        const qreal bottom = last->mapRectToItem(list(), last->boundingRect()).bottom();
        if (bottom < list()->height() - 0.5 &&
            last->property("index").toInt() != expected.size() - 1)
            return QStringLiteral("the rows end at %1 before the list's end").arg(bottom);
    }
    if (const QString order = readingOrderMismatch(list(), "promptId", QStringLiteral("rows"));
        !order.isEmpty())
        return order;
    return sidebarMismatch();
}

QString PromptScreen::sidebarMismatch() const {
    const bool isSessions = scene.appState.selectedTab() == AppTab::sessions;
    const QStringList keys = isSessions ? store.uniqueSessionIds() : store.uniquePolicyPaths();
    const QList<QQuickItem*> entries = sidebarEntries();
    if (entries.size() != keys.size() + 1)
        return QStringLiteral("%1 sidebar entries for %2 groups")
            .arg(entries.size())
            .arg(keys.size());
    for (QQuickItem* entry : entries) {
        const int index = entry->property("index").toInt();
        const QString key = index == 0 ? QString() : keys.at(index - 1);
        const PromptFilter filter = index == 0   ? PromptFilter::all()
                                    : isSessions ? PromptFilter::session(key)
                                                 : PromptFilter::policy(key);
        const qsizetype count = index == 0   ? store.prompts().size()
                                : isSessions ? store.promptCountForSession(key)
                                             : store.promptCountForPolicy(key);
        if (entry->property("count").toLongLong() != count ||
            entry->property("isSelected").toBool() != (store.filter() == filter))
            return QStringLiteral("sidebar entry %1 (%2) shows count %3, selected %4")
                .arg(index)
                .arg(entry->property("label").toString())
                .arg(entry->property("count").toLongLong())
                .arg(entry->property("isSelected").toBool());
    }
    return readingOrderMismatch(sidebarList(), "isSelected", QStringLiteral("sidebar entries"));
}

SerializablePromptItem PromptMaker::make() {
    const int session = int(random.bounded(sessions.size()));
    SerializablePromptItem record;
    // In braces, so that the draws go left to right with every compiler.
    record.id =
        idText(QUuid{random.generate(), ushort(random.generate()), ushort(random.generate()), 0x40,
                     0x80, 1, 2, 3, 4, 5, uchar(random.generate())});
    record.sessionId = sessions.at(session);
    record.policyPath = kPolicies.at(session % kPolicies.size());
    const int target = int(random.bounded(8));
    switch (random.bounded(5)) {
    case 0:
        record.denial = NetworkDenial{QStringLiteral("host%1.example.org").arg(target),
                                      quint16(443 + target), QStringLiteral("curl")};
        break;
    case 1:
        record.denial = ExecDenial{QStringLiteral("/bin/tool%1").arg(target),
                                   {QStringLiteral("-x")},
                                   QStringLiteral("sh")};
        break;
    case 2:
        record.denial = SignalDenial{15, 100 + target, {}, QStringLiteral("kill")};
        break;
    default:
        record.denial = FileDenial{QStringLiteral("/tmp/file-%1").arg(target),
                                   QStringLiteral("write"), QStringLiteral("vim")};
    }
    return record;
}

SerializablePromptItem PromptMaker::replacing(const PromptItem& held) {
    SerializablePromptItem record = make();
    record.sessionId = held.sessionId;
    record.policyPath = held.policyPath;
    record.denial = held.denial;
    return record;
}

} // namespace zor::testing
