#include "prompts/PromptsViewModel.h"

#include "platform/Log.h"
#include "prompts/AgentRequests.h"
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
                                   PromptDecider& decider, AgentRequests& agent, QObject* parent)
    : QObject(parent)
    , store(store)
    , listModel(listModel)
    , decider(decider)
    , agent(agent) {
    connect(&listModel, &PromptListModel::updated, this, &PromptsViewModel::update);
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

int PromptsViewModel::highlightedRow() const {
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    return highlighted ? listModel.rowOf(*highlighted) : -1;
}

void PromptsViewModel::update() {
    const ContentState newState = store.prompts().isEmpty() ? ContentState::noPendingPrompts
                                  : listModel.count() == 0  ? ContentState::noPromptsMatchingFilter
                                                            : ContentState::list;
    if (newState != state) {
        state = newState;
        emit contentStateChanged();
    }

    // New arrivals at the head come into view, unless the user is at work on one.
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    const std::optional<QUuid> newFirstId = listModel.firstId();
    if (newFirstId != firstId) {
        firstId = newFirstId;
        if (firstId && !highlighted)
            requestScroll(*firstId, kTopAnchor);
    }

    if (!highlighted) {
        shownHighlight.reset();
        return;
    }
    const std::optional<quint64> seq = store.seqOf(*highlighted);
    if (shownHighlight && shownHighlight->id == *highlighted && shownHighlight->seq != seq) {
        // The highlighted prompt has gone. After the user's own decision or
        // dismissal the next one takes its place, so that the keys go on
        // working; otherwise, and when its going changed the filter, nothing
        // is highlighted, so that no key acts on a prompt the user has not seen.
        const ShownHighlight gone = *std::exchange(shownHighlight, std::nullopt);
        const int count = listModel.count();
        if (gone.isDeciding && gone.filter == store.filter() && count > 0)
            highlightRow(std::min(listModel.rowBelow(gone.seq), count - 1));
        else
            store.setHighlightedPromptId(std::nullopt);
        return;
    }
    if (seq && listModel.rowOfSeq(*seq) >= 0)
        shownHighlight = ShownHighlight{*highlighted, *seq, listModel.isProcessing(*highlighted),
                                        store.filter()};
    else if (!seq)
        store.setHighlightedPromptId(std::nullopt);
    else
        shownHighlight.reset();
}

void PromptsViewModel::highlightPrompt(const QString& promptId) {
    const std::optional<QUuid> id = parsePromptId(promptId);
    if (id && listModel.rowOf(*id) >= 0)
        store.setHighlightedPromptId(*id);
}

void PromptsViewModel::highlightRow(int row) {
    if (const PromptItem* item = listModel.promptAt(row))
        store.setHighlightedPromptId(item->id);
}

void PromptsViewModel::moveHighlight(int delta) {
    const int count = listModel.count();
    if (count == 0)
        return;
    const int row = highlightedRow();
    // With nothing highlighted, Down starts at the top and Up at the bottom.
    const int target =
        row < 0 ? (delta > 0 ? 0 : count - 1) : std::clamp(row + delta, 0, count - 1);
    highlightRow(target);
    emit keepRowInView(target);
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
    // A prompt whose decision is underway is closed to the keyboard as to clicks.
    if (!id || listModel.rowOf(*id) < 0 || listModel.isProcessing(*id))
        return;
    agent.dismissPrompt(*id, [](bool success, std::optional<QString> error) {
        if (!success)
            logger(LogCategory::promptsView)
                .error("Failed to dismiss prompt: %s", {error.value_or(QStringLiteral("unknown"))});
    });
    // Marked as the user's own act, which passes the highlight on once it is gone.
    listModel.setProcessing(*id);
    store.removePrompt(*id);
}

void PromptsViewModel::requestScroll(const QUuid& id, QPointF anchor) {
    if (scrollGeneration == std::numeric_limits<qint64>::max())
        qFatal("PromptsViewModel: scroll generation overflow");
    lastScrollRequest = ScrollRequest{id, anchor, ++scrollGeneration};
    scrollRow = listModel.rowOf(id);
    emit scrollRequestChanged();
    if (scrollRow == 0)
        emit showFirstRow();
    else if (scrollRow > 0)
        emit bringRowToTop(scrollRow);
}

} // namespace zor
