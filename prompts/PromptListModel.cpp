#include "prompts/PromptListModel.h"

#include "prompts/PromptStore.h"
#include "prompts/PromptTitle.h"

#include <algorithm>

namespace zor {

PromptListModel::PromptListModel(PromptStore& store, QObject* parent)
    : QAbstractListModel(parent)
    , store(store) {
    connect(&store, &PromptStore::promptAdded, this, [this](const PromptItem& item) {
        if (passesFilter(item))
            insertFirst(item);
    });
    connect(&store, &PromptStore::promptRemoved, this, [this](const PromptItem& item) {
        processingIds.remove(item.id);
        const std::optional<quint64> seq = seqOf(item);
        if (!seq)
            return;
        const int row = rowOfSeq(*seq);
        beginRemoveRows({}, row, row);
        const auto taken = rows.end() - 1 - row;
        release(*taken);
        rows.erase(taken);
        forgetSeq(item.id, *seq);
        endRemoveRows();
        emit countChanged();
    });
    connect(&store, &PromptStore::promptChanged, this, [this](const PromptItem& item) {
        const std::optional<quint64> seq = seqOf(item);
        if (!seq)
            return;
        const int row = rowOfSeq(*seq);
        Row& changedRow = rows[rows.size() - 1 - std::size_t(row)];
        release(changedRow);
        changedRow = ownRow(*seq, item);
        const QModelIndex changed = index(row);
        emit dataChanged(changed, changed, {sessionEndedRole});
    });
    connect(&store, &PromptStore::filterChanged, this, &PromptListModel::rebuild);
    rebuild();
}

int PromptListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

const PromptItem& PromptListModel::promptAt(int row) const {
    Q_ASSERT(row >= 0 && row < count());
    return *rows[rows.size() - 1 - std::size_t(row)].item;
}

QVariant PromptListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const PromptItem& item = promptAt(index.row());
    switch (Role(role)) {
    case promptIdRole:
        return item.id.toString(QUuid::WithoutBraces);
    case kindRole:
        return int(item.denial.kind());
    case titleRole:
        return promptTitle(item.denial);
    case processNameRole:
        return item.denial.processName().value_or(QString());
    case targetRole:
        return item.denial.target();
    case sessionIdRole:
        return item.sessionId;
    case policyPathRole:
        return item.policyPath;
    case sessionEndedRole:
        return item.sessionEnded;
    case isProcessingRole:
        return processingIds.contains(item.id);
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
    };
}

int PromptListModel::rowOf(const QUuid& id) const {
    const auto seqs = seqsById.constFind(id);
    return seqs == seqsById.cend() ? -1 : rowOfSeq(seqs->last());
}

std::optional<QUuid> PromptListModel::firstId() const {
    if (rows.empty())
        return std::nullopt;
    return rows.back().item->id;
}

void PromptListModel::setProcessing(const QUuid& id) {
    if (processingIds.contains(id) || !store.containsPrompt(id))
        return;
    processingIds.insert(id);
    if (const auto shown = seqsById.constFind(id); shown != seqsById.cend())
        for (const quint64 seq : *shown) {
            const QModelIndex changed = index(rowOfSeq(seq));
            emit dataChanged(changed, changed, {isProcessingRole});
        }
}

void PromptListModel::rebuild() {
    beginResetModel();
    rows.clear();
    ownItems.clear();
    freeItems.clear();
    seqsById.clear();
    snapshot = store.filteredPrompts();
    std::vector<const PromptItem*> newestFirst;
    newestFirst.reserve(std::size_t(snapshot.size()));
    for (const PromptItem& item : snapshot)
        newestFirst.push_back(&item);
    rows.reserve(newestFirst.size());
    seqsById.reserve(qsizetype(newestFirst.size()));
    // Oldest first, numbered upwards as if added one by one.
    for (auto it = newestFirst.crbegin(); it != newestFirst.crend(); ++it) {
        const quint64 seq = ++lastSeq;
        rows.push_back({seq, *it, false});
        seqsById[(*it)->id].append(seq);
    }
    endResetModel();
    emit countChanged();
}

void PromptListModel::insertFirst(const PromptItem& item) {
    const quint64 seq = ++lastSeq;
    beginInsertRows({}, 0, 0);
    rows.push_back(ownRow(seq, item));
    seqsById[item.id].append(seq);
    endInsertRows();
    emit countChanged();
}

PromptListModel::Row PromptListModel::ownRow(quint64 seq, const PromptItem& item) {
    if (freeItems.empty())
        return {seq, &ownItems.emplace_back(item), true};
    PromptItem* kept = freeItems.back();
    freeItems.pop_back();
    *kept = item;
    return {seq, kept, true};
}

void PromptListModel::release(const Row& row) {
    // Items of the snapshot stay as they are until the next rebuild.
    if (!row.isOwn)
        return;
    auto* own = const_cast<PromptItem*>(row.item);
    *own = PromptItem();
    freeItems.push_back(own);
}

std::optional<quint64> PromptListModel::seqOf(const PromptItem& item) const {
    const auto candidates = seqsById.constFind(item.id);
    if (candidates == seqsById.cend())
        return std::nullopt;
    for (auto it = candidates->crbegin(); it != candidates->crend(); ++it) {
        const PromptItem& shown = promptAt(rowOfSeq(*it));
        if (shown.policyPath == item.policyPath && shown.denial == item.denial)
            return *it;
    }
    return std::nullopt;
}

void PromptListModel::forgetSeq(const QUuid& id, quint64 seq) {
    const auto seqs = seqsById.find(id);
    if (seqs == seqsById.end())
        return;
    seqs->erase(std::find(seqs->begin(), seqs->end(), seq));
    if (seqs->isEmpty())
        seqsById.erase(seqs);
}

int PromptListModel::rowOfSeq(quint64 seq) const {
    const auto found =
        std::lower_bound(rows.cbegin(), rows.cend(), seq,
                         [](const Row& row, quint64 value) { return row.seq < value; });
    Q_ASSERT(found != rows.cend() && found->seq == seq);
    return int(rows.cend() - 1 - found);
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
