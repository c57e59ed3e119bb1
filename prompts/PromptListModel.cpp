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
        seqs.erase(seqs.end() - 1 - row);
        itemsBySeq.remove(*seq);
        seqsById.remove(item.id, *seq);
        endRemoveRows();
        emit countChanged();
    });
    connect(&store, &PromptStore::promptChanged, this, [this](const PromptItem& item) {
        const std::optional<quint64> seq = seqOf(item);
        if (!seq)
            return;
        itemsBySeq[*seq] = item;
        const QModelIndex changed = index(rowOfSeq(*seq));
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
    return *itemsBySeq.constFind(seqs[seqs.size() - 1 - std::size_t(row)]);
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
    const std::optional<quint64> seq = seqsById.newest(id);
    return seq ? rowOfSeq(*seq) : -1;
}

std::optional<QUuid> PromptListModel::firstId() const {
    if (seqs.empty())
        return std::nullopt;
    return itemsBySeq.constFind(seqs.back())->id;
}

void PromptListModel::setProcessing(const QUuid& id) {
    if (processingIds.contains(id) || !store.containsPrompt(id))
        return;
    processingIds.insert(id);
    if (const SequenceIndex<QUuid>::Seqs* shown = seqsById.find(id))
        for (const quint64 seq : *shown) {
            const QModelIndex changed = index(rowOfSeq(seq));
            emit dataChanged(changed, changed, {isProcessingRole});
        }
}

void PromptListModel::rebuild() {
    beginResetModel();
    const PromptList shown = store.filteredPrompts();
    seqs.clear();
    seqs.reserve(std::size_t(shown.size()));
    itemsBySeq.clear();
    itemsBySeq.reserve(shown.size());
    seqsById = {};
    std::vector<const PromptItem*> newestFirst;
    newestFirst.reserve(std::size_t(shown.size()));
    for (const PromptItem& item : shown)
        newestFirst.push_back(&item);
    // Oldest first, numbered upwards as if added one by one.
    for (auto it = newestFirst.crbegin(); it != newestFirst.crend(); ++it) {
        const quint64 seq = ++lastSeq;
        seqs.push_back(seq);
        itemsBySeq.emplace(seq, **it);
        seqsById.insert((*it)->id, seq);
    }
    endResetModel();
    emit countChanged();
}

void PromptListModel::insertFirst(const PromptItem& item) {
    const quint64 seq = ++lastSeq;
    beginInsertRows({}, 0, 0);
    seqs.push_back(seq);
    itemsBySeq.emplace(seq, item);
    seqsById.insert(item.id, seq);
    endInsertRows();
    emit countChanged();
}

std::optional<quint64> PromptListModel::seqOf(const PromptItem& item) const {
    const SequenceIndex<QUuid>::Seqs* candidates = seqsById.find(item.id);
    if (!candidates)
        return std::nullopt;
    for (auto it = candidates->crbegin(); it != candidates->crend(); ++it) {
        const PromptItem& shown = *itemsBySeq.constFind(*it);
        if (shown.policyPath == item.policyPath && shown.denial == item.denial)
            return *it;
    }
    return std::nullopt;
}

int PromptListModel::rowOfSeq(quint64 seq) const {
    const auto found = std::lower_bound(seqs.cbegin(), seqs.cend(), seq);
    Q_ASSERT(found != seqs.cend() && *found == seq);
    return int(seqs.cend() - 1 - found);
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
