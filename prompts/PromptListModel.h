#pragma once

#include "prompts/Gathered.h"
#include "prompts/MarkedSeqs.h"
#include "prompts/PromptItem.h"
#include "prompts/PromptSearch.h"

#include <QAbstractListModel>
#include <QSet>
#include <QUuid>
#include <optional>
#include <vector>

namespace zor {

class PromptStore;

// The prompts that pass the store's filter and its search, newest first, one
// row each.
//
// It holds the store's sequence numbers of the prompts that pass the filter,
// marked where the search finds them: its rows are the marked ones; what a
// row shows is read from the store. It gathers the store's changes and takes
// them at the store's promptsChanged(): the removed rows go, in as few
// removals as they allow, then the new prompts come in as one insertion at the
// top. A new search changes the marks, and rows go and come back in runs;
// only a filter change resets it.
//
// updated() follows every change of its rows or marks, once every view
// attached to the model has taken the change: whoever moves the views in
// response (a highlight, a scroll) must wait for it rather than follow the
// row signals, or a view would act on rows it has not yet been told of.
//
// It also holds which prompts are being decided, so that the mark outlives
// resets; the mark goes with the prompt.
class PromptListModel final : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        promptIdRole = Qt::UserRole + 1, // the id's text, without braces
        kindRole,                        // Denial::Kind, as a number
        titleRole,
        processNameRole, // empty when unknown
        targetRole,
        sessionIdRole,
        policyPathRole,
        sessionEndedRole,
        isProcessingRole,
        isHighlightedRole, // the store's highlighted prompt
        isSelectedRole,    // among the prompts selected for a decision together
    };
    Q_ENUM(Role)

    explicit PromptListModel(PromptStore& store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(rows.markedCount()); }
    // What row `row` shows; null only while the store's batch is open.
    const PromptItem* promptAt(int row) const;
    // The row of the newest prompt with that id; -1 when it is not shown.
    int rowOf(const QUuid& id) const;
    // The row of the prompt with that sequence number; -1 when not shown.
    int rowOfSeq(quint64 seq) const;
    // The sequence number of the prompt that row `row` shows.
    quint64 seqAt(int row) const;
    // The row that a prompt with that sequence number would have, shown or
    // not: the first row of an older prompt.
    int rowBelow(quint64 seq) const;
    std::optional<QUuid> firstId() const;

    bool isProcessing(const QUuid& id) const { return processingIds.contains(id); }

    // The prompts selected together, shown and pending: the highlighted one
    // and those added to it with Shift or Ctrl.
    bool isSelected(const QUuid& id) const { return selectedIds.contains(id); }
    int selectedCount() const { return int(selectedIds.size()); }
    // The selected prompts in list order.
    QList<QUuid> selection() const;
    void setSelection(const QSet<QUuid>& ids);
    // Marks the prompt as being decided until it leaves the store.
    void setProcessing(const QUuid& id);

signals:
    void countChanged();
    // New prompts come at the top: sent before any view is told of the
    // batch, so that a view can note what it shows still as it was.
    void rowsComingAtHead();
    void updated();

private:
    void rebuild();
    void takeChanges();
    void followSearch();
    // Removes the rows of these marked numbers, in runs from the bottom up.
    void removeRowsOf(const std::vector<quint64>& seqs, bool isForgetting);
    void followHighlight();
    bool passesFilter(const PromptItem& item) const;
    void rowChanged(int row, int role);
    // The marks go by the id: every row of a prompt under it shows them.
    void rowsOfIdChanged(const QUuid& id, int role);

    PromptStore& store;
    // The prompts that pass the filter; those the search finds are marked.
    MarkedSeqs rows;
    PromptSearch shownSearch;
    // The store's changes since the last promptsChanged(), in order.
    Gathered<quint64> addedSeqs;
    Gathered<quint64> removedSeqs;
    Gathered<quint64> changedSeqs;
    std::optional<quint64> highlightedSeq;
    QSet<QUuid> processingIds;
    QSet<QUuid> selectedIds;
    // Marked prompts the batch removed. A prompt handed over again under its
    // id replaces itself and comes back in the same batch: it keeps its
    // marks. Any other removal takes them, even where another prompt the
    // agent sent under the same id stays.
    struct MarkedRemoval {
        QUuid id;
        bool isReplaced;
    };
    std::vector<MarkedRemoval> markedRemovals;
};

} // namespace zor
