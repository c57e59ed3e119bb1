#pragma once

#include "prompts/MarkedSeqs.h"
#include "prompts/PromptFilter.h"
#include "prompts/SidebarEntry.h"
#include "prompts/SidebarGrouping.h"

#include <QAbstractListModel>
#include <QHash>
#include <QPointer>
#include <vector>

namespace zor {

class PromptStore;
struct PromptItem;

// The sidebar's entries: "All" at row 0, then one per policy file or per
// session, in the store's order (the newest prompt's group first).
//
// It gathers the store's changes and takes them at the store's
// promptsChanged(): each group that changed is updated in place, or moved,
// inserted or removed as one row, so that a large store costs no more per
// change than a small one and a sync reaches the view as a few changes per
// batch. Groups are ordered by their newest prompt's sequence number; the
// model marks each group's newest among all the prompts it has taken in.
class PromptsSidebarModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(zor::PromptStore* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(zor::SidebarGrouping grouping READ grouping WRITE setGrouping NOTIFY groupingChanged)

public:
    enum Role {
        labelRole = Qt::UserRole + 1,
        subtitleRole, // the text, empty when there is none
        hasSubtitleRole,
        sessionIdRole,
        countRole,
        tooltipRole, // the text, empty when there is none
        isSelectedRole,
        hasPolicyFileItemsRole,
        hasAuditLogsItemRole,
        hasCopySessionIdItemRole,
        hasMenuRole,
    };

    explicit PromptsSidebarModel(QObject* parent = nullptr);

    PromptStore* store() const { return promptStore; }
    void setStore(PromptStore* store);
    SidebarGrouping grouping() const { return currentGrouping; }
    void setGrouping(SidebarGrouping grouping);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    SidebarEntry entry(int row) const;
    // Shows the entry's prompts in the list.
    Q_INVOKABLE void select(int row);

signals:
    void storeChanged();
    void groupingChanged();

private:
    QString groupKey(const PromptItem& item) const;
    std::optional<quint64> newestInStore(const QString& key) const;
    void rebuild();
    void takeChanges();
    // Brings the group's row to its newest prompt in the store.
    void followGroup(const QString& key);
    void followFilter();
    int rowOfNewest(quint64 seq) const;
    int rowOfKey(const QString& key) const;
    int rowSelectedBy(const PromptFilter& filter) const;
    void rowChanged(int row);

    QPointer<PromptStore> promptStore;
    SidebarGrouping currentGrouping = SidebarGrouping::policy;
    // Every prompt taken in; marked: the newest of its group, as shown.
    MarkedSeqs seqs;
    QHash<QString, quint64> newestByKey;
    QHash<quint64, QString> keyByNewest;
    // The store's changes since the last promptsChanged().
    std::vector<quint64> addedSeqs;
    std::vector<quint64> removedSeqs;
    std::vector<QString> changedKeys;
    PromptFilter shownFilter;
};

} // namespace zor
