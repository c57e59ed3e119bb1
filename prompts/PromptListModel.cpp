#include "prompts/PromptListModel.h"

#include "prompts/PromptStore.h"
#include "prompts/PromptTitle.h"
#include "prompts/RowRuns.h"
#include "shared/VisibleText.h"

#include <QVarLengthArray>
#include <algorithm>

namespace zor {

namespace {

// A target as its row shows it: whole, unless it is longer than a row can
// lay out in a moment (a command line may be a megabyte, which would hold
// the window up for minutes). Then its start and its end, which tell
// commands and paths apart, around how much is not shown.
QString shownTarget(const QString& target) {
    const QString shown = visibleText(target);
    const std::optional<MiddleCut> cut = middleCut(shown, 3072, 1024);
    if (!cut)
        return displayText(shown);
    const QStringView hidden =
        QStringView(shown).sliced(cut->headEnd, cut->tailStart - cut->headEnd);
    const qsizetype hiddenCount =
        hidden.size() -
        std::count_if(hidden.cbegin(), hidden.cend(), [](QChar c) { return c.isLowSurrogate(); });
    return displayText(shown.first(cut->headEnd) +
                       QStringLiteral(" … %1 characters not shown … ").arg(hiddenCount) +
                       shown.sliced(cut->tailStart));
}

} // namespace

PromptListModel::PromptListModel(PromptStore& store, QObject* parent)
    : QAbstractListModel(parent)
    , store(store) {
    connect(&store, &PromptStore::promptAdded, this, [this](const PromptItem& item, quint64 seq) {
        if (passesFilter(item))
            addedSeqs.push_back(seq);
    });
    connect(&store, &PromptStore::promptRemoved, this,
            [this](const PromptItem& item, quint64 seq, const PromptTextHashes&, bool isReplaced) {
                if (processingIds.contains(item.id) || selectedIds.contains(item.id))
                    markedRemovals.push_back({item.id, isReplaced});
                removedSeqs.push_back(seq);
            });
    connect(&store, &PromptStore::promptsEnded, this, [this](const QList<quint64>& seqs) {
        for (const quint64 seq : seqs)
            changedSeqs.push_back(seq);
    });
    connect(&store, &PromptStore::promptsChanged, this, &PromptListModel::takeChanges);
    connect(&store, &PromptStore::filterChanged, this, &PromptListModel::rebuild);
    connect(&store, &PromptStore::searchTextChanged, this, &PromptListModel::followSearch);
    connect(&store, &PromptStore::highlightedPromptIdChanged, this, [this] {
        followHighlight();
        emit updated();
    });
    rebuild();
}

int PromptListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

quint64 PromptListModel::seqAt(int row) const {
    return rows.markedAt(rows.markedCount() - 1 - row);
}

const PromptItem* PromptListModel::promptAt(int row) const {
    Q_ASSERT(row >= 0 && row < count());
    return store.promptWithSeq(seqAt(row));
}

QVariant PromptListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const quint64 seq = seqAt(index.row());
    const PromptItem* item = store.promptWithSeq(seq);
    if (!item)
        return {};
    switch (Role(role)) {
    case promptIdRole:
        return item->id.toString(QUuid::WithoutBraces);
    case kindRole:
        return int(item->denial.kind());
    // The agent's texts, as the process chose them: shown with nothing hidden,
    // read left to right (displayText).
    case titleRole:
        return displayText(promptTitle(item->denial));
    case processNameRole:
        return displayText(item->denial.processName().value_or(QString()));
    case targetRole:
        return shownTarget(item->denial.target());
    case sessionIdRole:
        return item->sessionId;
    case policyPathRole:
        return item->policyPath;
    case sessionEndedRole:
        return item->sessionEnded;
    case isProcessingRole:
        return processingIds.contains(item->id);
    case isHighlightedRole:
        return highlightedSeq == seq;
    case isSelectedRole:
        return selectedIds.contains(item->id);
    }
    return {};
}

QHash<int, QByteArray> PromptListModel::roleNames() const {
    return {
        {promptIdRole, "promptId"},
        {kindRole, "kind"},
        {titleRole, "title"},
        {processNameRole, "processName"},
        {targetRole, "target"},
        {sessionIdRole, "sessionId"},
        {policyPathRole, "policyPath"},
        {sessionEndedRole, "sessionEnded"},
        {isProcessingRole, "isProcessing"},
        {isHighlightedRole, "isHighlighted"},
        {isSelectedRole, "isSelected"},
    };
}

int PromptListModel::rowOfSeq(quint64 seq) const {
    const qsizetype rank = rows.rankOf(seq);
    return rank < 0 ? -1 : int(rows.markedCount() - 1 - rank);
}

int PromptListModel::rowOf(const QUuid& id) const {
    const std::optional<quint64> seq = store.seqOf(id);
    return seq ? rowOfSeq(*seq) : -1;
}

int PromptListModel::rowBelow(quint64 seq) const {
    return int(rows.markedCount() - rows.markedBelow(seq));
}

std::optional<QUuid> PromptListModel::firstId() const {
    if (count() == 0)
        return std::nullopt;
    const PromptItem* first = promptAt(0);
    return first ? std::optional(first->id) : std::nullopt;
}

void PromptListModel::setProcessing(const QUuid& id) {
    if (processingIds.contains(id) || !store.containsPrompt(id))
        return;
    processingIds.insert(id);
    rowsOfIdChanged(id, isProcessingRole);
    emit updated();
}

QList<QUuid> PromptListModel::selection() const {
    QList<QUuid> ids;
    ids.reserve(selectedIds.size());
    // Rows in list order; selections are small, rows may be many.
    std::vector<std::pair<int, QUuid>> rowsOf;
    for (const QUuid& id : selectedIds)
        if (const int row = rowOf(id); row >= 0)
            rowsOf.emplace_back(row, id);
    std::sort(rowsOf.begin(), rowsOf.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [row, id] : rowsOf)
        ids.append(id);
    return ids;
}

void PromptListModel::setSelection(const QSet<QUuid>& ids) {
    QSet<QUuid> selected;
    for (const QUuid& id : ids)
        if (rowOf(id) >= 0)
            selected.insert(id);
    if (selected == selectedIds)
        return;
    const QSet<QUuid> changed = (selected - selectedIds) + (selectedIds - selected);
    selectedIds = selected;
    for (const QUuid& id : changed)
        rowsOfIdChanged(id, isSelectedRole);
    emit updated();
}

void PromptListModel::rebuild() {
    beginResetModel();
    // What another filter hides cannot stay selected.
    selectedIds.clear();
    shownSearch = store.search();
    std::vector<std::pair<quint64, bool>> held;
    SharedTextFinds shared;
    for (const quint64 seq : store.filteredSeqs())
        held.emplace_back(seq, shownSearch.isEmpty() ||
                                   shownSearch.matches(*store.promptWithSeq(seq), shared));
    rows.assign(held);
    addedSeqs.clear();
    removedSeqs.clear();
    changedSeqs.clear();
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    const std::optional<quint64> seq = highlighted ? store.seqOf(*highlighted) : std::nullopt;
    highlightedSeq = seq && rows.isMarked(*seq) ? seq : std::nullopt;
    endResetModel();
    emit countChanged();
    emit updated();
}

void PromptListModel::removeRowsOf(const std::vector<quint64>& seqs, bool isForgetting) {
    // From the bottom up, in runs of adjacent rows, so that the rows still to
    // go keep the numbers they were found at.
    // Held inline for the few rows of a single event.
    QVarLengthArray<std::pair<int, quint64>, 16> removed; // row, seq
    for (const quint64 seq : seqs)
        if (const int row = rowOfSeq(seq); row >= 0)
            removed.emplace_back(row, seq);
    std::sort(removed.begin(), removed.end(), std::greater<>());
    forEachRun(
        removed, -1, [](const auto& entry) { return entry.first; },
        [&](std::size_t begin, std::size_t end, int first, int last) {
            beginRemoveRows({}, first, last);
            for (std::size_t i = begin; i < end; ++i)
                isForgetting ? rows.remove(removed[i].second)
                             : void(rows.setMarked(removed[i].second, false));
            endRemoveRows();
        });
}

void PromptListModel::takeChanges() {
    const int before = count();
    if (!addedSeqs.empty())
        emit rowsComingAtHead();

    Gathered<quint64>::Taken removed = removedSeqs.take();
    removeRowsOf(*removed, true);
    // Those the search had left out go without a row.
    for (const quint64 seq : removed)
        rows.remove(seq);

    // What came and stayed, newest on top; the search's finds as rows. A
    // prompt the batch added stayed unless the batch removed it too; only a
    // search needs the prompt itself, which in a large store is a lookup that
    // mostly misses the processor's caches.
    std::sort(removed.begin(), removed.end());
    int found = 0;
    QVarLengthArray<std::pair<quint64, bool>, 16> added;
    for (const quint64 seq : addedSeqs.take()) {
        if (std::binary_search(removed.begin(), removed.end(), seq))
            continue;
        added.emplace_back(seq,
                           shownSearch.isEmpty() || shownSearch.matches(*store.promptWithSeq(seq)));
        found += added.back().second ? 1 : 0;
    }
    if (found > 0)
        beginInsertRows({}, 0, found - 1);
    for (const auto& [seq, isFound] : added)
        rows.append(seq, isFound);
    if (found > 0)
        endInsertRows();

    int firstChanged = count();
    int lastChanged = -1;
    for (const quint64 seq : changedSeqs.take())
        if (const int row = rowOfSeq(seq); row >= 0) {
            firstChanged = std::min(firstChanged, row);
            lastChanged = std::max(lastChanged, row);
        }
    if (lastChanged >= 0)
        emit dataChanged(index(firstChanged), index(lastChanged), {sessionEndedRole});

    for (const auto& [id, isReplaced] : std::exchange(markedRemovals, {}))
        if (!isReplaced || !store.seqOf(id)) {
            // Another prompt under the id, left, shows the marks no more.
            if (processingIds.remove(id))
                rowsOfIdChanged(id, isProcessingRole);
            if (selectedIds.remove(id))
                rowsOfIdChanged(id, isSelectedRole);
        }
    followHighlight();
    if (count() != before)
        emit countChanged();
    emit updated();
}

void PromptListModel::followSearch() {
    const PromptSearch& search = store.search();
    // Typing on narrows what was found: only the rows shown need a look.
    // Taking letters back widens it: only the rows left out do.
    const bool isNarrowing = shownSearch.includes(search);
    const bool isWidening = search.includes(shownSearch);
    shownSearch = search;
    const int before = count();
    // The rows that need a look, oldest first.
    std::vector<std::pair<quint64, bool>> looked;
    rows.forEach([&](quint64 seq, bool isShown) {
        if (isShown ? !isWidening : !isNarrowing)
            looked.emplace_back(seq, isShown);
    });
    // Each row's prompt: from a walk through the store's, newest first, beside
    // the rows, when they are a good share of the store's, as finding each by
    // its number would search the store's chunks every time; found by its
    // number when they are few, as under a filter in a large store.
    const PromptList& prompts = store.prompts();
    const bool isWalking = qsizetype(looked.size()) * 8 >= prompts.size();
    PromptList::const_iterator prompt = prompts.begin();
    const auto promptWithSeq = [&](quint64 seq) -> const PromptItem* {
        if (!isWalking)
            return prompts.find(seq);
        while (prompt != prompts.end() && prompt.seq() > seq)
            ++prompt;
        return prompt != prompts.end() && prompt.seq() == seq ? &*prompt : nullptr;
    };
    std::vector<quint64> lost;
    std::vector<quint64> found; // newest first
    SharedTextFinds shared;
    for (auto row = looked.crbegin(); row != looked.crend(); ++row) {
        const auto [seq, isShown] = *row;
        const PromptItem* item = promptWithSeq(seq);
        const bool isFound = item && search.matches(*item, shared);
        if (isShown && !isFound) {
            lost.push_back(seq);
            if (item)
                selectedIds.remove(item->id);
        } else if (!isShown && isFound)
            found.push_back(seq);
    }
    removeRowsOf(lost, false);
    // Back in from the top down: each lands below the newer ones already back,
    // so its row is known before any of them is marked.
    std::vector<int> at;
    at.reserve(found.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        at.push_back(int(rows.markedCount() - rows.markedBelow(found[i])) + int(i));
    forEachRun(
        at, 1, [](int row) { return row; },
        [&](std::size_t begin, std::size_t end, int first, int last) {
            beginInsertRows({}, first, last);
            for (std::size_t i = begin; i < end; ++i)
                rows.setMarked(found[i], true);
            endInsertRows();
        });
    followHighlight();
    if (count() != before)
        emit countChanged();
    emit updated();
}

void PromptListModel::followHighlight() {
    const std::optional<QUuid> highlighted = store.highlightedPromptId();
    std::optional<quint64> seq = highlighted ? store.seqOf(*highlighted) : std::nullopt;
    if (seq && !rows.isMarked(*seq))
        seq.reset();
    const std::optional<quint64> previous = std::exchange(highlightedSeq, seq);
    if (previous == seq)
        return;
    for (const std::optional<quint64>& changed : {previous, seq})
        if (changed)
            if (const int row = rowOfSeq(*changed); row >= 0)
                rowChanged(row, isHighlightedRole);
}

void PromptListModel::rowChanged(int row, int role) {
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed, {role});
}

void PromptListModel::rowsOfIdChanged(const QUuid& id, int role) {
    for (const quint64 seq : store.seqsOfId(id))
        if (const int row = rowOfSeq(seq); row >= 0)
            rowChanged(row, role);
}

bool PromptListModel::passesFilter(const PromptItem& item) const {
    const PromptFilter filter = store.filter();
    switch (filter.kind()) {
    case PromptFilter::Kind::policy:
        return item.policyPath == *filter.policyPath();
    case PromptFilter::Kind::session:
        return item.sessionId == *filter.sessionId();
    case PromptFilter::Kind::all:
        break;
    }
    return true;
}

} // namespace zor
