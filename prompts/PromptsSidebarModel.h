#pragma once

#include "prompts/PromptFilter.h"
#include "prompts/SequenceIndex.h"
#include "prompts/SidebarEntry.h"
#include "prompts/SidebarGrouping.h"

#include <QAbstractListModel>
#include <QPointer>
#include <vector>

namespace zor {

class PromptStore;
struct PromptItem;

// The sidebar's entries: "All" at row 0, then one per policy file or per
// session, in the store's order (the newest prompt's group first).
//
// It follows the store prompt by prompt: an add or removal changes the rows
// of its own group and "All", moving, inserting or removing at most one row,
// so a large store costs no more per change than a small one. The order needs
// each group's newest prompt, which the store keeps to itself; the model
// numbers the prompts it sees in the same way, newer ones higher.
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
    struct Group {
        QString key;
        quint64 newestSeq;
    };

    QString groupKey(const PromptItem& item) const;
    void rebuild();
    void add(const PromptItem& item);
    void remove(const PromptItem& item);
    void followFilter();
    // The model row of the group whose newest prompt has that number.
    int rowOfNewest(quint64 seq) const;
    int rowOfKey(const QString& key) const;
    int rowSelectedBy(const PromptFilter& filter) const;
    void rowChanged(int row);

    QPointer<PromptStore> promptStore;
    SidebarGrouping currentGrouping = SidebarGrouping::policy;
    std::vector<Group> groups; // newest first
    SequenceIndex<QString> seqsByGroup;
    // By the hash of the de-duplication key, of which the store holds one prompt
    // each: the keys themselves are long. Colliding keys share a hash.
    SequenceIndex<size_t> seqsByKeyHash;
    quint64 lastSeq = 0;
    PromptFilter shownFilter;
};

} // namespace zor
