#pragma once

#include "prompts/PromptDecider.h"
#include "prompts/ScrollRequest.h"

#include <QObject>
#include <QPointF>
#include <QUuid>
#include <optional>

namespace zor {

class NotificationHandler;
class PromptListModel;
class PromptStore;

// The behaviour of the prompt list: what it shows when empty, the highlight
// (the store's highlightedPromptId), keyboard commands on the highlighted
// prompt, delete-to-dismiss and scrolling. Main thread only.
class PromptsViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::PromptsViewModel::ContentState contentState READ contentState NOTIFY
                   contentStateChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY contentStateChanged)
    Q_PROPERTY(QString emptyMessage READ emptyMessage NOTIFY contentStateChanged)
    Q_PROPERTY(int highlightedRow READ highlightedRow NOTIFY highlightedRowChanged)
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
                     NotificationHandler& handler, QObject* parent = nullptr);

    ContentState contentState() const { return state; }
    QString emptyTitle() const;
    QString emptyMessage() const;
    int highlightedRow() const { return highlightRow; }
    bool isListFocused() const { return isFocused; }
    void setListFocused(bool isFocused);
    std::optional<ScrollRequest> scrollRequest() const { return lastScrollRequest; }
    ScrollRequest scrollRequestOrNone() const {
        return lastScrollRequest.value_or(ScrollRequest{});
    }
    int scrollRequestRow() const { return scrollRow; }

    Q_INVOKABLE void highlight(int row);
    // Keys pressed while the list has focus: the arrows move the highlight,
    // Delete and Backspace dismiss. True when the key was one of them.
    Q_INVOKABLE bool handleListKey(int key, int modifiers);
    Q_INVOKABLE bool decideHighlighted(zor::PromptDecider::Decision decision);
    // Asks the agent to drop the highlighted prompt, removes it at once and
    // highlights the one that followed it, else the new last one. Nothing
    // while a decision on it is underway.
    void dismissHighlighted();
    void requestScroll(const QUuid& id, QPointF anchor);

signals:
    void contentStateChanged();
    void highlightedRowChanged();
    void isListFocusedChanged();
    void scrollRequestChanged();

private:
    void update();
    void moveHighlight(int delta);

    PromptStore& store;
    PromptListModel& listModel;
    PromptDecider& decider;
    NotificationHandler& handler;
    ContentState state = ContentState::noPendingPrompts;
    int highlightRow = -1;
    bool isFocused = false;
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
