#pragma once

#include "prompts/Gathered.h"
#include "prompts/IncomingPrompt.h"
#include "prompts/MarkedSeqs.h"
#include "prompts/PromptFilter.h"
#include "prompts/SidebarEntry.h"
#include "prompts/SidebarGrouping.h"
#include "shared/TextHash.h"

#include <QAbstractListModel>
#include <QHash>
#include <QPointer>
#include <QVarLengthArray>
#include <optional>
#include <vector>

namespace zor {

class PromptStore;
struct PromptItem;

// The sidebar's entries: "All" at row 0, then one per policy file or per
// session, in the store's order (the newest prompt's group first).
//
// It gathers the store's changes and takes them at the store's
// promptsChanged(). A group that only counts anew is updated in place; when
// one group moves, comes or goes, it is one row moved, inserted or removed;
// when many do, as in a sync, they leave and come back in runs of rows, so
// that the view takes a batch as a few changes. Groups are ordered by their
// newest prompt's sequence number; the model marks each group's newest among
// all the prompts it has taken in, so that a large store costs no more per
// change than a small one.
class PromptsSidebarModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(zor::PromptStore* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(zor::SidebarGrouping grouping READ grouping WRITE setGrouping NOTIFY groupingChanged)
    // The entry whose prompts the list shows; -1 while none does.
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedRowChanged)

public:
    enum Role {
        labelRole = Qt::UserRole + 1,
        subtitleRole, // the text, empty when there is none
        hasSubtitleRole,
        sessionIdRole,
        countRole,
        tooltipRole, // the text, empty when there is none
        isSelectedRole,
    };

    explicit PromptsSidebarModel(QObject* parent = nullptr);

    PromptStore* store() const { return promptStore; }
    void setStore(PromptStore* store);
    // Whether it follows the store. One that no view shows need not: it
    // holds no rows and takes no changes, and catches up in one reset when
    // it is made active again. Active from the start.
    void setActive(bool isActive);
    SidebarGrouping grouping() const { return currentGrouping; }
    void setGrouping(SidebarGrouping grouping);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    SidebarEntry entry(int row) const;
    int selectedRow() const { return rowCount() > 0 ? rowSelectedBy(shownFilter) : -1; }
    // Shows the entry's prompts in the list.
    Q_INVOKABLE void select(int row);
    // Keys pressed while the entries have focus: the arrows, Home and End
    // select an entry, the menu key asks for the selected one's context
    // menu. True when the key was one of them.
    Q_INVOKABLE bool handleKey(int key, int modifiers);

signals:
    void storeChanged();
    void groupingChanged();
    void selectedRowChanged();
    // The keys selected the entry in this row: it must be in view.
    void keepRowInView(int row);
    // The context menu of the entry in this row, from the keyboard.
    void menuRequested(int row);

private:
    // A group's newest prompt as shown and as the store has it; none when the
    // group is not shown, or gone. Keys here hold their hash, worked out as
    // the prompt came in.
    struct GroupChange {
        TextKey key;
        std::optional<quint64> from;
        std::optional<quint64> to;
    };
    // A group as shown: none only while a batch brings it in. `touch` is
    // its place in `touches` while `batch` is the batch being gathered.
    struct Group {
        std::optional<quint64> newest;
        quint64 batch = 0;
        std::size_t touch = 0;
    };
    // What the batch being gathered did to one group.
    struct Touch {
        TextKey key;
        std::optional<quint64> shown; // its newest as shown
        std::optional<quint64> newestAdded;
        bool hasRemoval = false;
    };

    void follow(PromptStore* store);
    QString groupKey(const PromptItem& item) const;
    KeyHash groupKeyHash(const PromptTextHashes& hashes) const;
    // The group's changes in the batch being gathered; `hash` is the key's.
    Touch& touch(const QString& key, KeyHash hash);
    std::optional<quint64> newestInStore(const TextKey& key) const;
    void rebuild();
    void takeChanges();
    void moveGroup(const GroupChange& change);
    using GroupChanges = QVarLengthArray<GroupChange, 4>;
    void regroup(GroupChanges& changes);
    void reorder(const GroupChanges& changes);
    // The key of a group's row; not of the "All" row.
    QString keyOfRow(int row) const;
    // A group's newest as shown: no longer, or from now on (none: the group goes).
    void unmark(std::optional<quint64> newest);
    void mark(const TextKey& key, std::optional<quint64> newest);
    // A group that stays: its newest as shown is `to` in place of `from`.
    void renumber(const GroupChange& change);
    // The row a group whose newest prompt is `newest` would take.
    int rowFor(quint64 newest) const;
    void followFilter();
    // The selection as the store's filter has it, on the rows as they are.
    void showFilter();
    int rowOfNewest(quint64 seq) const;
    int rowOfKey(const QString& key) const;
    int rowSelectedBy(const PromptFilter& filter) const;
    void rowChanged(int row);

    QPointer<PromptStore> promptStore;
    bool isFollowing = true;
    // While a batch's changes go out; the selected row is told after them.
    bool isTakingChanges = false;
    SidebarGrouping currentGrouping = SidebarGrouping::policy;

    // Every prompt taken in; marked: the newest of its group, as shown.
    MarkedSeqs seqs;
    QHash<TextKey, Group> groups;
    QHash<quint64, QString> keyByNewest;
    quint64 batch = 1; // being gathered
    // The store's changes since the last promptsChanged().
    Gathered<quint64> addedSeqs;
    Gathered<quint64> removedSeqs;
    Gathered<Touch> touches;
    PromptFilter shownFilter;
};

} // namespace zor
