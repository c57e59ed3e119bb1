#include "prompts/PromptsSidebarModel.h"

#include "prompts/PromptStore.h"

#include <QSet>
#include <utility>

namespace zor {

PromptsSidebarModel::PromptsSidebarModel(QObject* parent)
    : QAbstractListModel(parent) {}

void PromptsSidebarModel::setStore(PromptStore* store) {
    if (promptStore == store)
        return;
    if (promptStore)
        disconnect(promptStore, nullptr, this, nullptr);
    promptStore = store;
    if (store) {
        connect(store, &PromptStore::promptAdded, this,
                [this](const PromptItem& item, quint64 seq) {
                    addedSeqs.push_back(seq);
                    changedKeys.push_back(groupKey(item));
                });
        connect(store, &PromptStore::promptRemoved, this,
                [this](const PromptItem& item, quint64 seq) {
                    removedSeqs.push_back(seq);
                    changedKeys.push_back(groupKey(item));
                });
        connect(store, &PromptStore::promptsChanged, this, &PromptsSidebarModel::takeChanges);
        connect(store, &PromptStore::filterChanged, this, &PromptsSidebarModel::followFilter);
    }
    rebuild();
    emit storeChanged();
}

void PromptsSidebarModel::setGrouping(SidebarGrouping grouping) {
    if (currentGrouping == grouping)
        return;
    currentGrouping = grouping;
    rebuild();
    emit groupingChanged();
}

int PromptsSidebarModel::rowCount(const QModelIndex& parent) const {
    if (parent.isValid() || !promptStore)
        return 0;
    return int(seqs.markedCount()) + 1;
}

QVariant PromptsSidebarModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SidebarEntry shown = entry(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case labelRole:
        return shown.label;
    case subtitleRole:
        return shown.subtitle.value_or(QString());
    case hasSubtitleRole:
        return shown.subtitle.has_value();
    case sessionIdRole:
        return shown.sessionId.value_or(QString());
    case countRole:
        return qlonglong(shown.count);
    case tooltipRole:
        return shown.tooltip.value_or(QString());
    case isSelectedRole:
        return shown.isSelected(shownFilter);
    case hasPolicyFileItemsRole:
        return shown.hasPolicyFileItems();
    case hasAuditLogsItemRole:
        return shown.hasAuditLogsItem();
    case hasCopySessionIdItemRole:
        return shown.hasCopySessionIdItem();
    case hasMenuRole:
        return shown.hasMenu();
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
        {hasPolicyFileItemsRole, "hasPolicyFileItems"},
        {hasAuditLogsItemRole, "hasAuditLogsItem"},
        {hasCopySessionIdItemRole, "hasCopySessionIdItem"},
        {hasMenuRole, "hasMenu"},
    };
}

SidebarEntry PromptsSidebarModel::entry(int row) const {
    Q_ASSERT(promptStore && row >= 0 && row < rowCount());
    if (row == 0)
        return SidebarEntry::all(*promptStore);
    const QString key = keyByNewest.value(seqs.markedAt(seqs.markedCount() - row));
    return currentGrouping == SidebarGrouping::policy ? SidebarEntry::forPolicy(*promptStore, key)
                                                      : SidebarEntry::forSession(*promptStore, key);
}

void PromptsSidebarModel::select(int row) {
    if (promptStore && row >= 0 && row < rowCount())
        promptStore->setFilter(entry(row).filter);
}

QString PromptsSidebarModel::groupKey(const PromptItem& item) const {
    return currentGrouping == SidebarGrouping::policy ? item.policyPath : item.sessionId;
}

std::optional<quint64> PromptsSidebarModel::newestInStore(const QString& key) const {
    return currentGrouping == SidebarGrouping::policy ? promptStore->newestSeqForPolicy(key)
                                                      : promptStore->newestSeqForSession(key);
}

void PromptsSidebarModel::rebuild() {
    beginResetModel();
    seqs.clear();
    newestByKey.clear();
    keyByNewest.clear();
    addedSeqs.clear();
    removedSeqs.clear();
    changedKeys.clear();
    shownFilter = PromptFilter::all();
    if (promptStore) {
        std::vector<std::pair<quint64, bool>> held; // newest first
        held.reserve(std::size_t(promptStore->prompts().size()));
        const PromptList prompts = promptStore->prompts();
        for (auto it = prompts.begin(); it != prompts.end(); ++it) {
            const QString key = groupKey(*it);
            const bool isNewest = !newestByKey.contains(key);
            if (isNewest) {
                newestByKey.insert(key, it.seq());
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

void PromptsSidebarModel::takeChanges() {
    for (const quint64 seq : std::exchange(addedSeqs, {}))
        if (promptStore->promptWithSeq(seq))
            seqs.append(seq, false);
    const std::vector<QString> keys = std::exchange(changedKeys, {});
    QSet<QString> followed;
    for (const QString& key : keys)
        if (!followed.contains(key)) {
            followed.insert(key);
            followGroup(key);
        }
    if (!keys.empty())
        rowChanged(0);
    // None of them is a group's newest any longer.
    for (const quint64 seq : std::exchange(removedSeqs, {}))
        seqs.remove(seq);
}

void PromptsSidebarModel::followGroup(const QString& key) {
    const auto shown = newestByKey.constFind(key);
    const std::optional<quint64> old =
        shown == newestByKey.cend() ? std::nullopt : std::optional(*shown);
    const std::optional<quint64> newest = newestInStore(key);
    const auto remark = [&] {
        if (old) {
            seqs.setMarked(*old, false);
            keyByNewest.remove(*old);
            newestByKey.remove(key);
        }
        if (newest) {
            seqs.setMarked(*newest, true);
            keyByNewest.insert(*newest, key);
            newestByKey.insert(key, *newest);
        }
    };
    if (old == newest) {
        if (newest)
            rowChanged(rowOfNewest(*newest)); // its count
        return;
    }
    if (!old) {
        // Below the groups with newer prompts.
        const int row = 1 + int(seqs.markedCount() - seqs.markedBelow(*newest));
        beginInsertRows({}, row, row);
        remark();
        endInsertRows();
        return;
    }
    const int from = rowOfNewest(*old);
    if (!newest) {
        beginRemoveRows({}, from, from);
        remark();
        endRemoveRows();
        return;
    }
    // Its row once moved: below the other groups with newer prompts.
    const int to =
        1 + int(seqs.markedCount() - seqs.markedBelow(*newest)) - (*old > *newest ? 1 : 0);
    if (to == from) {
        remark();
    } else {
        beginMoveRows({}, from, from, {}, to > from ? to + 1 : to);
        remark();
        endMoveRows();
    }
    rowChanged(to);
}

void PromptsSidebarModel::followFilter() {
    const PromptFilter current = promptStore->filter();
    if (current == shownFilter)
        return;
    const int wasSelected = rowSelectedBy(shownFilter);
    shownFilter = current;
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
    const auto newest = newestByKey.constFind(key);
    return newest == newestByKey.cend() ? -1 : rowOfNewest(*newest);
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
