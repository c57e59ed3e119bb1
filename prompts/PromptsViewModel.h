#pragma once

#include "prompts/PromptDecider.h"
#include "prompts/PromptFilter.h"
#include "prompts/ScrollRequest.h"

#include <QObject>
#include <QPointF>
#include <QUuid>
#include <optional>

namespace zor {

class AgentRequests;
class PromptListModel;
class PromptStore;

// The behaviour of the prompt list: what it shows when empty, the highlight
// (the store's highlightedPromptId), keyboard commands on the highlighted
// prompt, delete-to-dismiss and scrolling. Main thread only.
//
// It acts on the list only after the list model's updated(), when every view
// of the model holds the same rows, and it names prompts by id: a row number
// is good only for the moment it was read.
class PromptsViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::PromptsViewModel::ContentState contentState READ contentState NOTIFY
                   contentStateChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY contentStateChanged)
    Q_PROPERTY(QString emptyMessage READ emptyMessage NOTIFY contentStateChanged)
    Q_PROPERTY(
        bool isListFocused READ isListFocused WRITE setListFocused NOTIFY isListFocusedChanged)
    Q_PROPERTY(
        zor::ScrollRequest scrollRequest READ scrollRequestOrNone NOTIFY scrollRequestChanged)
    // The row of the requested prompt when the request was made; -1 when not shown.
    Q_PROPERTY(int scrollRequestRow READ scrollRequestRow NOTIFY scrollRequestChanged)

public:
    enum class ContentState { list, noPendingPrompts, noPromptsMatchingFilter };
    Q_ENUM(ContentState)

    static constexpr QPointF kTopAnchor{0.5, 0.0};

    PromptsViewModel(PromptStore& store, PromptListModel& listModel, PromptDecider& decider,
                     AgentRequests& agent, QObject* parent = nullptr);

    ContentState contentState() const { return state; }
    QString emptyTitle() const;
    QString emptyMessage() const;
    bool isListFocused() const { return isFocused; }
    void setListFocused(bool isFocused);
    std::optional<ScrollRequest> scrollRequest() const { return lastScrollRequest; }
    ScrollRequest scrollRequestOrNone() const {
        return lastScrollRequest.value_or(ScrollRequest{});
    }
    int scrollRequestRow() const { return scrollRow; }
    // The row the user sees highlighted; -1 when none.
    int highlightedRow() const;

    // A click on the row showing that prompt.
    Q_INVOKABLE void highlightPrompt(const QString& promptId);
    // Keys pressed while the list has focus: the arrows move the highlight,
    // Delete and Backspace dismiss. True when the key was one of them.
    Q_INVOKABLE bool handleListKey(int key, int modifiers);
    Q_INVOKABLE bool decideHighlighted(zor::PromptDecider::Decision decision);
    // Asks the agent to drop the highlighted prompt and removes it at once.
    // Nothing while a decision on it is underway.
    void dismissHighlighted();
    void requestScroll(const QUuid& id, QPointF anchor);

signals:
    void contentStateChanged();
    void isListFocusedChanged();
    void scrollRequestChanged();
    // The arrow keys moved the highlight to this row: it must be in view.
    void keepRowInView(int row);
    // A scroll request's row, to bring to the top of the view: the first row,
    // where new arrivals come, or another one, which the view may have to make
    // its neighbours for before it knows where the row lies.
    void showFirstRow();
    void bringRowToTop(int row);

private:
    // What the user saw highlighted at the last update.
    struct ShownHighlight {
        QUuid id;
        quint64 seq;
        bool isDeciding;
        PromptFilter filter;
    };

    void update();
    void moveHighlight(int delta);
    void highlightRow(int row);

    PromptStore& store;
    PromptListModel& listModel;
    PromptDecider& decider;
    AgentRequests& agent;
    ContentState state = ContentState::noPendingPrompts;
    bool isFocused = false;
    std::optional<ShownHighlight> shownHighlight;
    std::optional<QUuid> firstId;
    std::optional<ScrollRequest> lastScrollRequest;
    qint64 scrollGeneration = 0;
    int scrollRow = -1;
};

// The title and line of an empty list; empty texts for the list itself.
struct EmptyStateText {
    const char* title;
    const char* message;
};
EmptyStateText emptyStateText(PromptsViewModel::ContentState state);

} // namespace zor
