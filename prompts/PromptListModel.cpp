#include "prompts/PromptListModel.h"

#include "prompts/PromptStore.h"
#include "prompts/PromptTitle.h"

#include <algorithm>

namespace zor {

PromptListModel::PromptListModel(PromptStore& store, QObject* parent)
    : QAbstractListModel(parent)
    , store(store) {
    connect(&store, &PromptStore::promptAdded, this, [this](const PromptItem& item, quint64 seq) {
        if (passesFilter(item))
            addedSeqs.push_back(seq);
    });
    connect(&store, &PromptStore::promptRemoved, this, [this](const PromptItem& item, quint64 seq) {
        processingIds.remove(item.id);
        removedSeqs.push_back(seq);
    });
    connect(&store, &PromptStore::promptChanged, this,
            [this](const PromptItem&, quint64 seq) { changedSeqs.push_back(seq); });
    connect(&store, &PromptStore::promptsChanged, this, &PromptListModel::takeChanges);
    connect(&store, &PromptStore::filterChanged, this, &PromptListModel::rebuild);
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
    case titleRole:
        return promptTitle(item->denial);
    case processNameRole:
        return item->denial.processName().value_or(QString());
    case targetRole:
        return item->denial.target();
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
    if (const int row = rowOf(id); row >= 0)
        rowChanged(row, isProcessingRole);
    emit updated();
}

void PromptListModel::rebuild() {
    beginResetModel();
    rows.assignMarked(store.filteredSeqs());
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

void PromptListModel::takeChanges() {
    const int before = count();

    // Removed rows go from the bottom up, in runs of adjacent rows, so that
    // the rows still to go keep the numbers they were found at.
    std::vector<std::pair<int, quint64>> removed; // row, seq
    for (const quint64 seq : std::exchange(removedSeqs, {}))
        if (const int row = rowOfSeq(seq); row >= 0)
            removed.emplace_back(row, seq);
    std::sort(removed.begin(), removed.end(), std::greater<>());
    for (auto run = removed.cbegin(); run != removed.cend();) {
        auto end = run + 1;
        while (end != removed.cend() && end->first == (end - 1)->first - 1)
            ++end;
        beginRemoveRows({}, (end - 1)->first, run->first);
        for (auto it = run; it != end; ++it)
            rows.remove(it->second);
        endRemoveRows();
        run = end;
    }

    // What came and stayed, newest on top.
    std::vector<quint64> added;
    for (const quint64 seq : std::exchange(addedSeqs, {}))
        if (store.promptWithSeq(seq))
            added.push_back(seq);
    if (!added.empty()) {
        beginInsertRows({}, 0, int(added.size()) - 1);
        for (const quint64 seq : added)
            rows.append(seq, true);
        endInsertRows();
    }

    int firstChanged = count();
    int lastChanged = -1;
    for (const quint64 seq : std::exchange(changedSeqs, {}))
        if (const int row = rowOfSeq(seq); row >= 0) {
            firstChanged = std::min(firstChanged, row);
            lastChanged = std::max(lastChanged, row);
        }
    if (lastChanged >= 0)
        emit dataChanged(index(firstChanged), index(lastChanged), {sessionEndedRole});

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
