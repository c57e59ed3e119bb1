#include "prompts/PromptsSidebarModel.h"

#include "prompts/ContextMenuKey.h"
#include "prompts/PromptStore.h"
#include "prompts/RowRuns.h"
#include "shared/VisibleText.h"

#include <algorithm>
#include <utility>

namespace zor {

PromptsSidebarModel::PromptsSidebarModel(QObject* parent)
    : QAbstractListModel(parent) {
    // The selected entry moves with any change of the rows, and a change that
    // leaves it in place is told too: a ListView moves its current index
    // itself after rows come in above it, and is bound back to the selected
    // entry only by this. A batch's changes tell it once, at their end: the
    // view takes every change it holds whenever its current index is set.
    const auto tell = [this] {
        if (!isTakingChanges)
            emit selectedRowChanged();
    };
    connect(this, &QAbstractItemModel::dataChanged, this, tell);
    connect(this, &QAbstractItemModel::rowsInserted, this, tell);
    connect(this, &QAbstractItemModel::rowsRemoved, this, tell);
    connect(this, &QAbstractItemModel::rowsMoved, this, tell);
    connect(this, &QAbstractItemModel::modelReset, this, tell);
    connect(this, &QAbstractItemModel::layoutChanged, this, tell);
}

void PromptsSidebarModel::setStore(PromptStore* store) {
    if (promptStore == store)
        return;
    if (promptStore)
        disconnect(promptStore, nullptr, this, nullptr);
    promptStore = store;
    if (isFollowing)
        follow(store);
    rebuild();
    emit storeChanged();
}

void PromptsSidebarModel::setActive(bool isActive) {
    if (isFollowing == isActive)
        return;
    isFollowing = isActive;
    if (!promptStore)
        return;
    if (isActive)
        follow(promptStore);
    else
        disconnect(promptStore, nullptr, this, nullptr);
    rebuild();
}

void PromptsSidebarModel::follow(PromptStore* store) {
    if (!store)
        return;
    connect(store, &PromptStore::promptAdded, this,
            [this](const PromptItem& item, quint64 seq, const PromptTextHashes& hashes) {
                addedSeqs.push_back(seq);
                touch(groupKey(item), groupKeyHash(hashes)).newestAdded = seq;
            });
    connect(store, &PromptStore::promptRemoved, this,
            [this](const PromptItem& item, quint64 seq, const PromptTextHashes& hashes) {
                removedSeqs.push_back(seq);
                touch(groupKey(item), groupKeyHash(hashes)).hasRemoval = true;
            });
    connect(store, &PromptStore::promptsChanged, this, &PromptsSidebarModel::takeChanges);
    connect(store, &PromptStore::filterChanged, this, &PromptsSidebarModel::followFilter);
}

void PromptsSidebarModel::setGrouping(SidebarGrouping grouping) {
    if (currentGrouping == grouping)
        return;
    currentGrouping = grouping;
    rebuild();
    emit groupingChanged();
}

int PromptsSidebarModel::rowCount(const QModelIndex& parent) const {
    if (parent.isValid() || !promptStore || !isFollowing)
        return 0;
    return int(seqs.markedCount()) + 1;
}

QVariant PromptsSidebarModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SidebarEntry shown = entry(index.row());
    switch (role) {
    // Session ids and policy paths come from the agent: shown with nothing
    // hidden, read left to right (displayText). What is copied is the entry's own.
    case Qt::DisplayRole:
    case labelRole:
        return shown.shownLabel();
    case subtitleRole:
        return displayText(shown.subtitle.value_or(QString()));
    case hasSubtitleRole:
        return shown.subtitle.has_value();
    case sessionIdRole:
        return shown.sessionId.value_or(QString());
    case countRole:
        return qlonglong(shown.count);
    case tooltipRole:
        return displayText(shown.tooltip.value_or(QString()));
    case isSelectedRole:
        return shown.isSelected(shownFilter);
    default:
        return {};
    }
}

QHash<int, QByteArray> PromptsSidebarModel::roleNames() const {
    return {
        {labelRole, "label"},
        {subtitleRole, "subtitle"},
        {hasSubtitleRole, "hasSubtitle"},
        {sessionIdRole, "sessionId"},
        {countRole, "count"},
        {tooltipRole, "tooltip"},
        {isSelectedRole, "isSelected"},
    };
}

SidebarEntry PromptsSidebarModel::entry(int row) const {
    Q_ASSERT(promptStore && row >= 0 && row < rowCount());
    if (row == 0)
        return SidebarEntry::all(*promptStore);
    const QString key = keyOfRow(row);
    return currentGrouping == SidebarGrouping::policy ? SidebarEntry::forPolicy(*promptStore, key)
                                                      : SidebarEntry::forSession(*promptStore, key);
}

void PromptsSidebarModel::select(int row) {
    if (promptStore && row >= 0 && row < rowCount())
        promptStore->setFilter(entry(row).filter);
}

bool PromptsSidebarModel::handleKey(int key, int modifiers) {
    if (rowCount() == 0)
        return false;
    const int selected = rowSelectedBy(shownFilter);
    if (isContextMenuKey(key, modifiers)) {
        if (selected >= 0)
            emit menuRequested(selected);
        return true;
    }
    // The keypad flag says where a key is, not what the user meant.
    if ((Qt::KeyboardModifiers(modifiers) & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    const int last = rowCount() - 1;
    int row = 0;
    switch (key) {
    case Qt::Key_Up:
        // With none selected, Up starts at the bottom and Down at the top.
        row = selected < 0 ? last : std::max(selected - 1, 0);
        break;
    case Qt::Key_Down:
        row = selected < 0 ? 0 : std::min(selected + 1, last);
        break;
    case Qt::Key_Home:
        row = 0;
        break;
    case Qt::Key_End:
        row = last;
        break;
    default:
        return false;
    }
    select(row);
    emit keepRowInView(row);
    return true;
}

QString PromptsSidebarModel::groupKey(const PromptItem& item) const {
    return currentGrouping == SidebarGrouping::policy ? item.policyPath : item.sessionId;
}

KeyHash PromptsSidebarModel::groupKeyHash(const PromptTextHashes& hashes) const {
    return currentGrouping == SidebarGrouping::policy ? hashes.policyPath : hashes.sessionId;
}

std::optional<quint64> PromptsSidebarModel::newestInStore(const TextKey& key) const {
    return currentGrouping == SidebarGrouping::policy ? promptStore->newestSeqForPolicy(key)
                                                      : promptStore->newestSeqForSession(key);
}

void PromptsSidebarModel::rebuild() {
    beginResetModel();
    seqs.clear();
    groups.clear();
    keyByNewest.clear();
    addedSeqs.clear();
    removedSeqs.clear();
    touches.clear();
    shownFilter = PromptFilter::all();
    if (promptStore && isFollowing) {
        std::vector<std::pair<quint64, bool>> held; // newest first
        held.reserve(std::size_t(promptStore->prompts().size()));
        const PromptList prompts = promptStore->prompts();
        for (auto it = prompts.begin(); it != prompts.end(); ++it) {
            const QString key = groupKey(*it);
            TextKey group = textKey(key);
            const bool isNewest = !groups.contains(group);
            if (isNewest) {
                groups.emplace(std::move(group), Group{it.seq(), 0, 0});
                keyByNewest.insert(it.seq(), key);
            }
            held.emplace_back(it.seq(), isNewest);
        }
        for (auto it = held.crbegin(); it != held.crend(); ++it)
            seqs.append(it->first, it->second);
        shownFilter = promptStore->filter();
    }
    endResetModel();
}

PromptsSidebarModel::Touch& PromptsSidebarModel::touch(const QString& key, KeyHash hash) {
    auto group = groups.find(borrowedTextKey(key, hash));
    if (group == groups.end())
        group = groups.emplace(TextKey{key, hash}, Group{});
    if (group->batch != batch) {
        group->batch = batch;
        group->touch = touches.size();
        touches.push_back(Touch{TextKey{key, hash}, group->newest, std::nullopt, false});
    }
    return touches[group->touch];
}

void PromptsSidebarModel::takeChanges() {
    // What came and stayed. Few go in a batch, so look them up rather than
    // each newcomer in the store.
    Gathered<quint64>::Taken removed = removedSeqs.take();
    std::sort(removed.begin(), removed.end());
    for (const quint64 seq : addedSeqs.take())
        if (!std::binary_search(removed.begin(), removed.end(), seq))
            seqs.append(seq, false);
    // Each group once: those that move, come or go, and those that only count
    // anew. A group's newest in the store is the newest the batch added,
    // unless the batch took that one away too; the store is asked only then,
    // or where the batch took some of its prompts and added none.
    ++batch;
    isTakingChanges = true;
    // Held inline for the few groups of a single event.
    GroupChanges moves;
    QVarLengthArray<quint64, 8> recounts; // their newest, which stays
    const bool isAnyChanged = !touches.empty();
    for (Touch& touched : touches.take()) {
        const bool isNewestAddedHeld =
            touched.newestAdded &&
            !std::binary_search(removed.begin(), removed.end(), *touched.newestAdded);
        const std::optional<quint64> newest = isNewestAddedHeld    ? touched.newestAdded
                                              : touched.hasRemoval ? newestInStore(touched.key)
                                                                   : touched.shown;
        GroupChange change{std::move(touched.key), touched.shown, newest};
        if (change.from != change.to)
            moves.push_back(std::move(change));
        else if (change.from)
            recounts.push_back(*change.from);
        else // came and went within the batch
            groups.remove(change.key);
    }
    // One group keeps its row, and its delegate, as it moves; many come and
    // go in runs of rows, and those that stay take their new order at once.
    if (moves.size() == 1)
        moveGroup(moves.front());
    else if (!moves.empty())
        regroup(moves);
    for (const quint64 newest : recounts)
        rowChanged(rowOfNewest(newest));
    // The total, and drawn again even where a replaced duplicate left it as
    // it was: without this change of data, Qt 6.4's list view, given rows that
    // went and came and then a move in the next batch, drew a stale row.
    if (isAnyChanged)
        rowChanged(0);
    // None of them is a group's newest any longer.
    for (const quint64 seq : removed)
        seqs.remove(seq);
    showFilter();
    isTakingChanges = false;
    if (isAnyChanged)
        emit selectedRowChanged();
}

void PromptsSidebarModel::unmark(std::optional<quint64> newest) {
    if (!newest)
        return;
    seqs.setMarked(*newest, false);
    // Until it is marked again, the group has no row.
    if (const auto group = groups.find(textKey(keyByNewest.take(*newest))); group != groups.end())
        group->newest.reset();
}

void PromptsSidebarModel::mark(const TextKey& key, std::optional<quint64> newest) {
    if (!newest) {
        groups.remove(key);
        return;
    }
    seqs.setMarked(*newest, true);
    keyByNewest.insert(*newest, key.text);
    groups[key].newest = newest;
}

void PromptsSidebarModel::renumber(const GroupChange& change) {
    // As unmark() and mark() would, with the group looked up once.
    seqs.setMarked(*change.from, false);
    seqs.setMarked(*change.to, true);
    keyByNewest.insert(*change.to, keyByNewest.take(*change.from));
    groups[change.key].newest = change.to;
}

int PromptsSidebarModel::rowFor(quint64 newest) const {
    // Below the groups with newer prompts; `newest` is not marked yet.
    return 1 + int(seqs.markedCount() - seqs.markedBelow(newest));
}

void PromptsSidebarModel::moveGroup(const GroupChange& change) {
    if (!change.from) {
        const int row = rowFor(*change.to);
        beginInsertRows({}, row, row);
        mark(change.key, change.to);
        endInsertRows();
        return;
    }
    const int from = rowOfNewest(*change.from);
    if (!change.to) {
        beginRemoveRows({}, from, from);
        unmark(change.from);
        mark(change.key, std::nullopt);
        endRemoveRows();
        return;
    }
    // Its row once moved, where the group itself no longer counts above it.
    const int to = rowFor(*change.to) - (*change.from > *change.to ? 1 : 0);
    if (to == from) {
        renumber(change);
    } else {
        beginMoveRows({}, from, from, {}, to > from ? to + 1 : to);
        renumber(change);
        endMoveRows();
    }
    rowChanged(to);
}

void PromptsSidebarModel::regroup(GroupChanges& changes) {
    // Out, from the bottom up, so that the rows still to go keep their numbers.
    std::vector<std::pair<int, const GroupChange*>> leaving;
    for (const GroupChange& change : changes)
        if (change.from && !change.to)
            leaving.emplace_back(rowOfNewest(*change.from), &change);
    std::sort(leaving.begin(), leaving.end(),
              [](const auto& a, const auto& b) { return a.first > b.first; });
    forEachRun(
        leaving, -1, [](const auto& entry) { return entry.first; },
        [&](std::size_t begin, std::size_t end, int first, int last) {
            beginRemoveRows({}, first, last);
            for (std::size_t i = begin; i < end; ++i) {
                unmark(leaving[i].second->from);
                groups.remove(leaving[i].second->key);
            }
            endRemoveRows();
        });
    reorder(changes);
    // Those new, from the top down: each lands below those already in, which
    // are newer, so its row is known before any of them is marked.
    changes.removeIf([](const GroupChange& change) { return change.from || !change.to; });
    std::sort(changes.begin(), changes.end(),
              [](const GroupChange& a, const GroupChange& b) { return *a.to > *b.to; });
    std::vector<int> rows;
    rows.reserve(std::size_t(changes.size()));
    for (qsizetype i = 0; i < changes.size(); ++i)
        rows.push_back(rowFor(*changes[i].to) + int(i));
    forEachRun(
        rows, 1, [](int row) { return row; },
        [&](std::size_t begin, std::size_t end, int first, int last) {
            beginInsertRows({}, first, last);
            for (std::size_t i = begin; i < end; ++i)
                mark(changes[i].key, changes[i].to);
            endInsertRows();
        });
}

void PromptsSidebarModel::reorder(const GroupChanges& changes) {
    // The groups that stay and move, all at once, as a new order of the rows
    // there are: a view shows the rows it has anew, where moves, or rows
    // taken out and put back, would have it drop and make them.
    const bool isAnyMoving = std::any_of(changes.cbegin(), changes.cend(),
                                         [](const GroupChange& c) { return c.from && c.to; });
    if (!isAnyMoving)
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    // Indexes held elsewhere follow their group; none: the "All" row.
    const QModelIndexList held = persistentIndexList();
    QList<std::optional<QString>> heldKeys;
    heldKeys.reserve(held.size());
    for (const QModelIndex& index : held)
        heldKeys.append(index.row() == 0 ? std::nullopt : std::optional(keyOfRow(index.row())));
    for (const GroupChange& change : changes)
        if (change.from && change.to)
            renumber(change);
    QModelIndexList moved;
    moved.reserve(held.size());
    for (const std::optional<QString>& key : heldKeys)
        moved.append(index(key ? rowOfKey(*key) : 0));
    changePersistentIndexList(held, moved);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

QString PromptsSidebarModel::keyOfRow(int row) const {
    return keyByNewest.value(seqs.markedAt(seqs.markedCount() - row));
}

void PromptsSidebarModel::followFilter() {
    // A removal that empties the selected group sets the filter to all before
    // its change reaches the rows; the selection then shows with the rows, and
    // a batch tells the view of it once.
    if (!touches.empty())
        return;
    showFilter();
}

void PromptsSidebarModel::showFilter() {
    const PromptFilter current = promptStore->filter();
    if (current == shownFilter)
        return;
    const int wasSelected = rowSelectedBy(std::exchange(shownFilter, current));
    for (const int row : {wasSelected, rowSelectedBy(current)})
        if (row >= 0)
            emit dataChanged(index(row), index(row), {isSelectedRole});
}

int PromptsSidebarModel::rowOfNewest(quint64 seq) const {
    const qsizetype rank = seqs.rankOf(seq);
    Q_ASSERT(rank >= 0);
    return int(seqs.markedCount() - rank);
}

int PromptsSidebarModel::rowOfKey(const QString& key) const {
    const auto group = groups.constFind(borrowedTextKey(key));
    return group == groups.cend() || !group->newest ? -1 : rowOfNewest(*group->newest);
}

int PromptsSidebarModel::rowSelectedBy(const PromptFilter& filter) const {
    switch (filter.kind()) {
    case PromptFilter::Kind::all:
        return 0;
    case PromptFilter::Kind::policy:
        return currentGrouping == SidebarGrouping::policy ? rowOfKey(*filter.policyPath()) : -1;
    case PromptFilter::Kind::session:
        return currentGrouping == SidebarGrouping::session ? rowOfKey(*filter.sessionId()) : -1;
    }
    return -1;
}

void PromptsSidebarModel::rowChanged(int row) {
    emit dataChanged(index(row), index(row));
}

} // namespace zor
