#include "prompts/PromptsViewModel.h"

#include "agent/NotificationHandler.h"
#include "platform/Log.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"

#include <limits>

namespace zor {

EmptyStateText emptyStateText(PromptsViewModel::ContentState state) {
    switch (state) {
    case PromptsViewModel::ContentState::list:
        return {"", ""};
    case PromptsViewModel::ContentState::noPendingPrompts:
        return {"No Pending Prompts", "Unknown policy decisions will appear here."};
    case PromptsViewModel::ContentState::noPromptsMatchingFilter:
        return {"No Prompts Matching Filter", "Select \"All\" in the sidebar to see all prompts."};
    }
    return {"", ""};
}

PromptsViewModel::PromptsViewModel(PromptStore& store, PromptListModel& listModel,
                                   PromptDecider& decider, NotificationHandler& handler,
                                   QObject* parent)
    : QObject(parent)
    , store(store)
    , listModel(listModel)
    , decider(decider)
    , handler(handler) {
    // After the list model has taken the change, which it connected for first.
    connect(&listModel, &PromptListModel::rowsInserted, this, &PromptsViewModel::update);
    connect(&listModel, &PromptListModel::rowsRemoved, this, &PromptsViewModel::update);
    connect(&listModel, &PromptListModel::modelReset, this, &PromptsViewModel::update);
    // Rows may stay while the store empties elsewhere, under another filter.
    connect(&store, &PromptStore::promptsChanged, this, &PromptsViewModel::update);
    connect(&store, &PromptStore::highlightedPromptIdChanged, this, &PromptsViewModel::update);
    connect(&store, &PromptStore::scrollToPromptIdChanged, this, [this] {
        const std::optional<QUuid> target = this->store.scrollToPromptId();
        if (!target)
            return;
        this->store.setScrollToPromptId(std::nullopt);
        setListFocused(true);
        requestScroll(*target, kTopAnchor);
    });
    firstId = listModel.firstId();
    update();
}

QString PromptsViewModel::emptyTitle() const {
    return QString::fromUtf8(emptyStateText(state).title);
}

QString PromptsViewModel::emptyMessage() const {
    return QString::fromUtf8(emptyStateText(state).message);
}

void PromptsViewModel::setListFocused(bool newIsFocused) {
    if (isFocused == newIsFocused)
        return;
    isFocused = newIsFocused;
    emit isListFocusedChanged();
}

void PromptsViewModel::update() {
    const ContentState newState = store.prompts().isEmpty() ? ContentState::noPendingPrompts
                                  : listModel.count() == 0  ? ContentState::noPromptsMatchingFilter
                                                            : ContentState::list;
    if (newState != state) {
        state = newState;
        emit contentStateChanged();
    }

    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    const int newRow = highlighted ? listModel.rowOf(*highlighted) : -1;
    if (newRow != highlightRow) {
        highlightRow = newRow;
        emit highlightedRowChanged();
    }

    // New arrivals at the head come into view, unless the user is at work on one.
    const std::optional<QUuid> newFirstId = listModel.firstId();
    if (newFirstId != firstId) {
        firstId = newFirstId;
        if (firstId && !highlighted)
            requestScroll(*firstId, kTopAnchor);
    }
}

void PromptsViewModel::highlight(int row) {
    if (row < 0 || row >= listModel.count())
        return;
    store.setHighlightedPromptId(listModel.promptAt(row).id);
}

void PromptsViewModel::moveHighlight(int delta) {
    const int count = listModel.count();
    if (count == 0)
        return;
    if (highlightRow < 0)
        highlight(delta > 0 ? 0 : count - 1);
    else
        highlight(std::clamp(highlightRow + delta, 0, count - 1));
}

bool PromptsViewModel::handleListKey(int key, int modifiers) {
    // The keypad flag says where a key is, not what the user meant.
    const bool isPlain = (Qt::KeyboardModifiers(modifiers) & ~Qt::KeypadModifier) == 0;
    if (!isPlain)
        return false;
    switch (key) {
    case Qt::Key_Up:
        moveHighlight(-1);
        return true;
    case Qt::Key_Down:
        moveHighlight(1);
        return true;
    case Qt::Key_Delete:
    case Qt::Key_Backspace: // what the Mac's delete key sends
        dismissHighlighted();
        return true;
    default:
        return false;
    }
}

bool PromptsViewModel::decideHighlighted(PromptDecider::Decision decision) {
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    return highlighted && listModel.rowOf(*highlighted) >= 0 &&
           decider.decide(*highlighted, decision);
}

void PromptsViewModel::dismissHighlighted() {
    const std::optional<QUuid> id = store.highlightedPromptId();
    if (!id)
        return;
    const int row = listModel.rowOf(*id);
    // A prompt whose decision is underway is closed to the keyboard as to clicks.
    if (row < 0 || listModel.isProcessing(*id))
        return;
    handler.dismissPrompt(*id, [](bool success, std::optional<QString> error) {
        if (!success)
            logger(LogCategory::promptsView)
                .error("Failed to dismiss prompt: %s", {error.value_or(QStringLiteral("unknown"))});
    });
    store.removePrompt(*id);
    const int count = listModel.count();
    if (count == 0)
        store.setHighlightedPromptId(std::nullopt);
    else
        store.setHighlightedPromptId(listModel.promptAt(std::min(row, count - 1)).id);
}

void PromptsViewModel::requestScroll(const QUuid& id, QPointF anchor) {
    if (scrollGeneration == std::numeric_limits<qint64>::max())
        qFatal("PromptsViewModel: scroll generation overflow");
    lastScrollRequest = ScrollRequest{id, anchor, ++scrollGeneration};
    scrollRow = listModel.rowOf(id);
    emit scrollRequestChanged();
}

} // namespace zor
