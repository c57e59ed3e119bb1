#include "prompts/PromptsSidebarModel.h"

#include "prompts/PromptStore.h"

#include <algorithm>

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
        connect(store, &PromptStore::promptAdded, this, &PromptsSidebarModel::add);
        connect(store, &PromptStore::promptRemoved, this, &PromptsSidebarModel::remove);
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
    return int(groups.size()) + 1;
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
    Q_ASSERT(promptStore && row >= 0 && row <= int(groups.size()));
    if (row == 0)
        return SidebarEntry::all(*promptStore);
    const QString& key = groups[std::size_t(row - 1)].key;
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

void PromptsSidebarModel::rebuild() {
    beginResetModel();
    groups.clear();
    seqsByGroup = {};
    seqsByKeyHash = {};
    shownFilter = PromptFilter::all();
    if (promptStore) {
        // Numbered oldest first, as the store numbered them.
        const QList<PromptItem> items = promptStore->prompts().toList();
        for (auto it = items.crbegin(); it != items.crend(); ++it) {
            const quint64 seq = ++lastSeq;
            seqsByKeyHash.insert(qHash(it->dedupeKey()), seq);
            seqsByGroup.insert(groupKey(*it), seq);
        }
        const QList<QString> keys = seqsByGroup.keysNewestFirst();
        groups.reserve(std::size_t(keys.size()));
        for (const QString& key : keys)
            groups.push_back(Group{key, *seqsByGroup.newest(key)});
        shownFilter = promptStore->filter();
    }
    endResetModel();
}

void PromptsSidebarModel::add(const PromptItem& item) {
    const quint64 seq = ++lastSeq;
    seqsByKeyHash.insert(qHash(item.dedupeKey()), seq);
    const QString key = groupKey(item);
    const std::optional<quint64> previous = seqsByGroup.newest(key);
    seqsByGroup.insert(key, seq);
    if (previous) {
        // The group now holds the newest prompt, so it moves to the top.
        const int row = rowOfNewest(*previous);
        if (row > 1) {
            beginMoveRows({}, row, row, {}, 1);
            std::rotate(groups.begin(), groups.begin() + (row - 1), groups.begin() + row);
            endMoveRows();
        }
        groups.front().newestSeq = seq;
        rowChanged(1);
    } else {
        beginInsertRows({}, 1, 1);
        groups.insert(groups.begin(), Group{key, seq});
        endInsertRows();
    }
    rowChanged(0);
}

void PromptsSidebarModel::remove(const PromptItem& item) {
    const size_t keyHash = qHash(item.dedupeKey());
    const SequenceIndex<size_t>::Seqs* held = seqsByKeyHash.find(keyHash);
    if (!held)
        return;
    const QString key = groupKey(item);
    // Of colliding keys, the prompt in the item's group.
    const SequenceIndex<QString>::Seqs* inGroup = seqsByGroup.find(key);
    const auto found = std::find_if(held->begin(), held->end(), [inGroup](quint64 s) {
        return inGroup && std::binary_search(inGroup->begin(), inGroup->end(), s);
    });
    if (found == held->end())
        return;
    const quint64 seq = *found;
    seqsByKeyHash.remove(keyHash, seq);
    const int row = rowOfNewest(*seqsByGroup.newest(key));
    seqsByGroup.remove(key, seq);
    const std::optional<quint64> newest = seqsByGroup.newest(key);
    if (!newest) {
        beginRemoveRows({}, row, row);
        groups.erase(groups.begin() + (row - 1));
        endRemoveRows();
    } else {
        // With an older newest prompt the group may fall behind others.
        const auto from = groups.begin() + (row - 1);
        const auto to = std::lower_bound(from + 1, groups.end(), *newest,
                                         [](const Group& g, quint64 s) { return g.newestSeq > s; });
        const int destination = int(to - groups.begin()) + 1; // the model row it goes before
        if (destination > row + 1) {
            beginMoveRows({}, row, row, {}, destination);
            std::rotate(from, from + 1, to);
            endMoveRows();
        }
        const int newRow = std::max(row, destination - 1);
        groups[std::size_t(newRow - 1)].newestSeq = *newest;
        rowChanged(newRow);
    }
    rowChanged(0);
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
    const auto found = std::lower_bound(groups.begin(), groups.end(), seq,
                                        [](const Group& g, quint64 s) { return g.newestSeq > s; });
    Q_ASSERT(found != groups.end() && found->newestSeq == seq);
    return int(found - groups.begin()) + 1;
}

int PromptsSidebarModel::rowOfKey(const QString& key) const {
    const std::optional<quint64> newest = seqsByGroup.newest(key);
    return newest ? rowOfNewest(*newest) : -1;
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
