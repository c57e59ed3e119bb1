#include "prompts/PromptsViewModel.h"

#include "platform/Log.h"
#include "prompts/ContextMenuKey.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"

#include <QScopeGuard>
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
    case PromptsViewModel::ContentState::noPromptsMatchingSearch:
        return {"No Prompts Found", "No prompt here holds the searched text."};
    }
    return {"", ""};
}

PromptsViewModel::PromptsViewModel(PromptStore& store, PromptListModel& listModel,
                                   PromptDecider& decider, GroupDecision& group, QObject* parent)
    : QObject(parent)
    , store(store)
    , listModel(listModel)
    , decider(decider)
    , group(group) {
    connect(&listModel, &PromptListModel::updated, this, &PromptsViewModel::update);
    // Only a highlight the list shows holds it: one the search hides is out
    // of the keys' reach, and the user waits for what the search finds.
    connect(&listModel, &PromptListModel::rowsComingAtHead, this, [this] {
        const std::optional<QUuid> highlighted = this->store.highlightedPromptId();
        if (highlighted && this->listModel.rowOf(*highlighted) >= 0)
            emit rowsComingAtHead();
    });
    connect(&store, &PromptStore::promptRemoved, this,
            [this](const PromptItem& item, quint64, const PromptTextHashes&, bool isReplaced) {
                if (isReplaced && shownHighlight && shownHighlight->id == item.id)
                    shownHighlight->isGoingByUser = false;
            });
    connect(&store, &PromptStore::searchTextChanged, this, &PromptsViewModel::searchTextChanged);
    connect(&store, &PromptStore::scrollToPromptIdChanged, this, [this] {
        const std::optional<QUuid> target = this->store.scrollToPromptId();
        if (!target)
            return;
        this->store.setScrollToPromptId(std::nullopt);
        // An open question keeps the keys, which would reach the list behind
        // it: the list has them once the question closes.
        if (this->group.state() == GroupDecision::State::asking)
            isFocusOwed = true;
        else
            setListFocused(true);
        requestScroll(*target, kTopAnchor);
    });
    connect(&group, &GroupDecision::stateChanged, this, [this] {
        if (!isFocusOwed || this->group.state() == GroupDecision::State::asking)
            return;
        isFocusOwed = false;
        setListFocused(true);
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

auto PromptsViewModel::moveSelection() {
    isMovingSelection = true;
    return qScopeGuard([this] {
        isMovingSelection = false;
        update();
    });
}

void PromptsViewModel::update() {
    if (isMovingSelection)
        return;
    // An empty list is the filter's doing when the filter alone leaves
    // nothing: the search cannot bring back what it left out.
    const ContentState newState =
        store.prompts().isEmpty() ? ContentState::noPendingPrompts
        : listModel.count() > 0   ? ContentState::list
        : store.search().isEmpty() || store.promptCountFor(store.filter()) == 0
            ? ContentState::noPromptsMatchingFilter
            : ContentState::noPromptsMatchingSearch;
    if (newState != state) {
        state = newState;
        emit contentStateChanged();
    }

    // New arrivals at the head come into view, unless the user is at work on
    // one: then the view stays as it was.
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    const std::optional<QUuid> newFirstId = listModel.firstId();
    if (newFirstId != firstId) {
        firstId = newFirstId;
        if (firstId && !highlighted)
            requestScroll(*firstId, kTopAnchor);
    }
    if (const std::optional<HeldTopRow> held = std::exchange(heldTopRow, std::nullopt)) {
        // Gone in the same batch, it leaves its place to the row after it.
        const int row = listModel.rowOfSeq(held->seq);
        const int kept = row >= 0 ? row : listModel.rowBelow(held->seq);
        if (kept < listModel.count())
            emit keepRowAt(kept, held->offset);
    }

    if (!highlighted) {
        shownHighlight.reset();
        hiddenHighlight.reset();
        anchor.reset();
        listModel.setSelection({});
        followSelection();
        return;
    }
    // A prompt handed over again keeps its id under a new number: it stays.
    const std::optional<quint64> seq = store.seqOf(*highlighted);
    if (shownHighlight && shownHighlight->id == *highlighted && !seq) {
        // The highlighted prompt has gone. What remains of a selection
        // stays, its prompt nearest to the gone one highlighted. Else, after
        // the user's own decision or dismissal, the next one takes its place,
        // so that the keys go on working; otherwise, and when its going
        // changed the filter, nothing is highlighted, so that no key acts on
        // a prompt the user has not seen.
        const ShownHighlight gone = *std::exchange(shownHighlight, std::nullopt);
        const int count = listModel.count();
        const int row = listModel.rowBelow(gone.seq);
        const bool isSameList = gone.filter == store.filter();
        if (const std::optional<QUuid> nearest = selectedByDistance(row, Distance::nearest);
            nearest && isSameList)
            store.setHighlightedPromptId(*nearest);
        else if (gone.isGoingByUser && isSameList && count > 0)
            highlightRow(std::min(row, count - 1));
        else
            store.setHighlightedPromptId(std::nullopt);
        return;
    }
    if (seq && listModel.rowOfSeq(*seq) >= 0) {
        shownHighlight = ShownHighlight{*highlighted, *seq, listModel.isProcessing(*highlighted),
                                        store.filter()};
        // The highlighted prompt is always among the selected ones: a
        // highlight set from elsewhere starts a selection of its own, one
        // that a search hid and shows again rejoins the selection it left.
        const std::optional<HiddenHighlight> wasHidden = std::exchange(hiddenHighlight, {});
        const bool isBackInView = wasHidden && wasHidden->id == *highlighted;
        if (!listModel.isSelected(*highlighted)) {
            QSet<QUuid> selection{*highlighted};
            if (isBackInView && listModel.selectedCount() > 0) {
                const QList<QUuid> left = listModel.selection();
                selection.unite(QSet<QUuid>(left.cbegin(), left.cend()));
            } else {
                anchor = *highlighted;
            }
            listModel.setSelection(selection);
        }
    } else if (!seq) {
        // Gone while hidden: what remains of its selection stays, as when
        // one shown goes.
        const std::optional<HiddenHighlight> gone = std::exchange(hiddenHighlight, {});
        store.setHighlightedPromptId(
            gone && gone->id == *highlighted && gone->filter == store.filter()
                ? selectedByDistance(listModel.rowBelow(gone->seq), Distance::nearest)
                : std::nullopt);
    } else {
        shownHighlight.reset();
        hiddenHighlight = HiddenHighlight{*highlighted, *seq, store.filter()};
    }
    followSelection();
}

void PromptsViewModel::followSelection() {
    if (shownSelectedCount != listModel.selectedCount()) {
        shownSelectedCount = listModel.selectedCount();
        emit selectedCountChanged();
    }
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    const QString target = highlighted && shownSelectedCount <= 1
                               ? highlighted->toString(QUuid::WithoutBraces)
                               : QString();
    if (target == keysTarget)
        return;
    keysTarget = target;
    emit keysTargetIdChanged();
}

int PromptsViewModel::selectedCount() const {
    return shownSelectedCount;
}

QString PromptsViewModel::searchText() const {
    return store.searchText();
}

void PromptsViewModel::setSearchText(const QString& text) {
    store.setSearchText(text);
}

void PromptsViewModel::clearSearch() {
    store.setSearchText(QString());
    // The keys go on to the list where it shows; a hidden one would hold
    // them where no key acts, out of sight.
    if (state == ContentState::list)
        setListFocused(true);
}

void PromptsViewModel::clickPrompt(const QString& promptId, Click click) {
    const std::optional<QUuid> id = parsePromptId(promptId);
    const int row = id ? listModel.rowOf(*id) : -1;
    if (row < 0)
        return;
    const auto moved = moveSelection();
    switch (click) {
    case Click::only:
        anchor = *id;
        listModel.setSelection({*id});
        break;
    case Click::toggle: {
        QList<QUuid> selected = listModel.selection();
        if (!selected.contains(*id)) {
            anchor = *id;
            selected.append(*id);
        } else if (selected.size() > 1) {
            // Out of the selection, and the highlight to its nearest selected neighbour.
            selected.removeOne(*id);
            listModel.setSelection({selected.cbegin(), selected.cend()});
            anchor = selectedByDistance(row, Distance::nearest);
            store.setHighlightedPromptId(anchor);
            return;
        }
        listModel.setSelection({selected.cbegin(), selected.cend()});
        break;
    }
    case Click::extend:
        selectRange(row);
        break;
    }
    store.setHighlightedPromptId(*id);
}

std::optional<QUuid> PromptsViewModel::selectedByDistance(int row, Distance distance) const {
    const QList<QUuid> selected = listModel.selection();
    const auto isCloser = [this, row](const QUuid& a, const QUuid& b) {
        return std::abs(listModel.rowOf(a) - row) < std::abs(listModel.rowOf(b) - row);
    };
    const auto found = distance == Distance::nearest
                           ? std::min_element(selected.cbegin(), selected.cend(), isCloser)
                           : std::max_element(selected.cbegin(), selected.cend(), isCloser);
    return found == selected.cend() ? std::nullopt : std::optional(*found);
}

void PromptsViewModel::selectRange(int row) {
    // With its anchor gone, a selection grows from its far end as it stands.
    // Where the highlight is not in the list, nothing shown is selected: the
    // range starts anew.
    const int highlightedAt = highlightedRow();
    if (highlightedAt >= 0 && !(anchor && listModel.rowOf(*anchor) >= 0))
        anchor = selectedByDistance(highlightedAt, Distance::farthest);
    const int from = anchor && highlightedAt >= 0 ? listModel.rowOf(*anchor) : -1;
    if (from < 0) {
        if (const PromptItem* item = listModel.promptAt(row)) {
            anchor = item->id;
            listModel.setSelection({item->id});
        }
        return;
    }
    QSet<QUuid> range;
    for (int r = std::min(from, row); r <= std::max(from, row); ++r)
        if (const PromptItem* item = listModel.promptAt(r))
            range.insert(item->id);
    listModel.setSelection(range);
}

void PromptsViewModel::decideSelection(GroupDecision::Action action) {
    group.ask(action, listModel.selection());
}

void PromptsViewModel::clearSelection() {
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    listModel.setSelection(highlighted ? QSet<QUuid>{*highlighted} : QSet<QUuid>());
    anchor = highlighted;
}

void PromptsViewModel::highlightRow(int row) {
    if (const PromptItem* item = listModel.promptAt(row))
        store.setHighlightedPromptId(item->id);
}

void PromptsViewModel::moveHighlight(int delta, bool isExtending) {
    const int count = listModel.count();
    if (count == 0)
        return;
    const int row = highlightedRow();
    // With nothing highlighted, Down starts at the top and Up at the bottom.
    highlightAt(row < 0 ? (delta > 0 ? 0 : count - 1) : std::clamp(row + delta, 0, count - 1),
                isExtending);
}

void PromptsViewModel::highlightAt(int target, bool isExtending) {
    const PromptItem* item = listModel.promptAt(target);
    if (!item)
        return;
    {
        // The selection's bar, when it comes, is in place before the row is brought into view.
        const auto moved = moveSelection();
        if (isExtending && highlightedRow() >= 0) {
            selectRange(target);
        } else {
            anchor = item->id;
            listModel.setSelection({item->id});
        }
        store.setHighlightedPromptId(item->id);
    }
    isScrollRequestHeld = false;
    emit keepRowInView(target);
}

void PromptsViewModel::movePage(int direction, bool isExtending, int topShownRow,
                                int bottomShownRow) {
    const int count = listModel.count();
    const int top = std::clamp(topShownRow, 0, count - 1);
    // Below the last row the view shows nothing.
    const int bottom = bottomShownRow < 0 ? count - 1 : std::clamp(bottomShownRow, top, count - 1);
    const int page = std::max(1, bottom - top);
    const int row = highlightedRow();
    const int edge = direction > 0 ? bottom : top;
    // First to the view's edge; from there a page on, as the view then
    // shows it at the same edge.
    const bool isAtEdge = row >= 0 && (direction > 0 ? row >= bottom : row <= top);
    highlightAt(std::clamp(isAtEdge ? row + direction * page : edge, 0, count - 1), isExtending);
}

bool PromptsViewModel::handleListKey(int key, int modifiers, int topShownRow, int bottomShownRow) {
    if (isContextMenuKey(key, modifiers)) {
        const int row = highlightedRow();
        if (const PromptItem* item = row >= 0 ? listModel.promptAt(row) : nullptr)
            emit rowMenuRequested(row, item->policyPath, item->sessionId);
        return true;
    }
    // The keypad flag says where a key is, not what the user meant.
    const Qt::KeyboardModifiers held = Qt::KeyboardModifiers(modifiers) & ~Qt::KeypadModifier;
    const bool isPlain = held == Qt::NoModifier;
    const bool isShifted = held == Qt::ShiftModifier;
    switch (key) {
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (!isPlain && !isShifted)
            return false;
        moveHighlight(key == Qt::Key_Up ? -1 : 1, isShifted);
        return true;
    case Qt::Key_Home:
    case Qt::Key_End:
        if ((!isPlain && !isShifted) || listModel.count() == 0)
            return false;
        highlightAt(key == Qt::Key_Home ? 0 : listModel.count() - 1, isShifted);
        return true;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        if ((!isPlain && !isShifted) || listModel.count() == 0)
            return false;
        movePage(key == Qt::Key_PageUp ? -1 : 1, isShifted, topShownRow, bottomShownRow);
        return true;
    case Qt::Key_Delete:
    case Qt::Key_Backspace: // what the Mac's delete key sends
        if (!isPlain)
            return false;
        dismissHighlighted();
        return true;
    default:
        return false;
    }
}

bool PromptsViewModel::decideHighlighted(PromptDecider::Decision decision) {
    if (listModel.selectedCount() > 1)
        return group.ask(GroupDecision::Action(int(decision)), listModel.selection());
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    return highlighted && listModel.rowOf(*highlighted) >= 0 &&
           decider.decide(*highlighted, decision);
}

void PromptsViewModel::dismissHighlighted() {
    if (listModel.selectedCount() > 1) {
        group.ask(GroupDecision::Action::dismiss, listModel.selection());
        return;
    }
    const std::optional<QUuid> id = store.highlightedPromptId();
    // A prompt whose decision is underway is closed to the keyboard as to clicks.
    if (id && listModel.rowOf(*id) >= 0)
        decider.dismiss(*id);
}

void PromptsViewModel::requestScroll(const QUuid& id, QPointF anchor) {
    if (scrollGeneration == std::numeric_limits<qint64>::max())
        qFatal("PromptsViewModel: scroll generation overflow");
    lastScrollRequest = ScrollRequest{id, anchor, ++scrollGeneration};
    isScrollRequestHeld = true;
    scrollRow = listModel.rowOf(id);
    emit scrollRequestChanged();
    scrollToRequest();
}

void PromptsViewModel::listMade() {
    // The view gives the list the keyboard on this signal, as it would have
    // when the keyboard was asked for.
    if (isFocused)
        emit isListFocusedChanged();
    serveScrollRequestAgain();
}

void PromptsViewModel::listResized() {
    if (isScrollRequestHeld)
        serveScrollRequestAgain();
}

void PromptsViewModel::listMovedByUser() {
    isScrollRequestHeld = false;
}

void PromptsViewModel::holdTopRow(int row, qreal offset) {
    if (row >= 0 && row < listModel.count())
        heldTopRow = HeldTopRow{listModel.seqAt(row), offset};
}

void PromptsViewModel::serveScrollRequestAgain() {
    if (!lastScrollRequest)
        return;
    const int row = listModel.rowOf(lastScrollRequest->id);
    if (row != scrollRow) {
        scrollRow = row;
        emit scrollRequestChanged();
    }
    scrollToRequest();
}

void PromptsViewModel::scrollToRequest() {
    if (scrollRow == 0)
        emit showFirstRow();
    else if (scrollRow > 0)
        emit bringRowToTop(scrollRow);
}

} // namespace zor
