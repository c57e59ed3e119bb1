#pragma once

#include "LogCapture.h"
#include "PromptsScene.h"
#include "SetupScene.h"
#include "prompts/GroupDecision.h"
#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "shared/SerializablePromptItem.h"
#include "window/MainWindow.h"

#include <QAbstractItemModelTester>
#include <QKeySequence>
#include <QRandomGenerator>
#include <optional>

class QQuickItem;
class QQuickWindow;

namespace zor::testing {

// The app's window, as zor builds it, on the real store, fed by a fake agent
// on a fake connection; the background services are healthy. What it reads
// off the screen comes from the instantiated delegates, never from the models.
class PromptScreen {
public:
    // Whether the window shows at once, or only when show() is called: until
    // then it has drawn no frame and made nothing that waits for the first.
    enum class Showing { atOnce, later };

    explicit PromptScreen(Showing showing = Showing::atOnce);

    // Shows the window, and returns once it has made its list.
    void show();

    QQuickItem* item(const char* objectName) const;
    QQuickItem* list() const { return item("promptList"); }
    QQuickItem* sidebarList() const { return item("sidebarEntries"); }
    // The one scroll bar made under the item named `pane`; null until it is made.
    QQuickItem* scrollBarIn(const char* pane) const;

    // Lets the views catch up, as a frame would.
    void settle();

    // A new connection whose sync brings `records`; runs the sync to its end.
    void sync(const QList<SerializablePromptItem>& records);
    // The agent's callbacks, as they come on the connection's queue.
    void add(const SerializablePromptItem& record);
    void removeByAgent(const QUuid& id);
    void endSession(const QString& session);
    // The agent answers every decision and dismissal asked so far.
    void answerAll(bool isSuccess);
    // The decisions and dismissals that reached the agent since the last look.
    QList<FakeAgentCall> newCalls();

    // The prompt rows made, top to bottom; none while the list is hidden.
    QList<QQuickItem*> rows() const;
    // Those a user sees at least in part.
    QList<QQuickItem*> rowsInView() const;
    QQuickItem* highlightedRow() const;
    QQuickItem* rowFor(const QUuid& id) const;
    bool isFullyInView(QQuickItem* item) const;
    // In view, and clear of the bars over the list's foot, which take the clicks there.
    bool isClickable(QQuickItem* item) const;
    // The sidebar's entries made, top to bottom.
    QList<QQuickItem*> sidebarEntries() const;
    QQuickItem* button(QQuickItem* row, PromptDecider::Decision decision) const;

    // At `at` in the item, its centre by default.
    void click(QQuickItem* target, std::optional<QPointF> at = std::nullopt,
               Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // In the row's margin, beside its texts and buttons, where it shows.
    void clickRow(QQuickItem* row, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void keys(const QKeySequence& sequence);
    void type(const QString& text);
    // The item of a menu or dialog now open, by its object name or its text.
    QQuickItem* popupItem(const QString& nameOrText) const;

    PromptListModel& listModel() const;
    GroupDecision& group() const;

    // Empty when the screen shows what the store holds, and assistive tools
    // walk it in the order it shows; else what differs.
    QString mismatch() const;

    LogCapture log;
    PromptsScene scene{false};
    SetupScene setup;
    PromptStore& store = *scene.appState.promptStore();
    MainWindow mainWindow;
    QQuickWindow* window;
    std::shared_ptr<FakeAgentConnection> agent;

private:
    QString sidebarMismatch() const;

    qsizetype seenCalls = 0;
    // The window's list model and both of the sidebar's, checked through
    // every change the tests make.
    std::optional<QAbstractItemModelTester> listModelTester;
    std::optional<QAbstractItemModelTester> policiesModelTester;
    std::optional<QAbstractItemModelTester> sessionsModelTester;
};

// Prompts of a few sessions and policies whose targets repeat, so that
// replacements happen.
class PromptMaker {
public:
    static const QStringList sessions;

    explicit PromptMaker(quint32 seed)
        : random(seed) {}

    SerializablePromptItem make();
    // The same request as `held`, under a new id.
    SerializablePromptItem replacing(const PromptItem& held);

    QRandomGenerator random;
};

QString idText(const QUuid& id);

} // namespace zor::testing
