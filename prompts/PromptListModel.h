#pragma once

#include "prompts/PromptItem.h"
#include "prompts/PromptList.h"

#include <QAbstractListModel>
#include <QHash>
#include <QSet>
#include <QUuid>
#include <QVarLengthArray>
#include <deque>
#include <optional>
#include <vector>

namespace zor {

class PromptStore;

// The prompts that pass the store's filter, newest first, one row each.
//
// It follows the store row by row: an added prompt that passes the filter is
// one row inserted at the top, a removed prompt one row removed, a prompt of
// an ended session one row changed. Only a filter change resets it.
//
// It also holds which prompts are being decided, so that the mark outlives
// the rows and resets that show them; the mark goes with the prompt.
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
    };
    Q_ENUM(Role)

    explicit PromptListModel(PromptStore& store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(rows.size()); }
    const PromptItem& promptAt(int row) const;
    // The row of the newest shown prompt with that id; -1 when none is shown.
    int rowOf(const QUuid& id) const;
    std::optional<QUuid> firstId() const;

    bool isProcessing(const QUuid& id) const { return processingIds.contains(id); }
    // Marks the prompt as being decided until it leaves the store.
    void setProcessing(const QUuid& id);

signals:
    void countChanged();

private:
    struct Row {
        quint64 seq;
        const PromptItem* item; // in `snapshot` or in `ownItems`
        bool isOwn;
    };

    void rebuild();
    void insertFirst(const PromptItem& item);
    // The model's sequence number of the shown prompt, matched by id and
    // de-duplication identity, of which the store holds one at most.
    std::optional<quint64> seqOf(const PromptItem& item) const;
    // A row's item among those of `ownItems`.
    Row ownRow(quint64 seq, const PromptItem& item);
    void release(const Row& row);
    int rowOfSeq(quint64 seq) const;
    void forgetSeq(const QUuid& id, quint64 seq);
    bool passesFilter(const PromptItem& item) const;

    PromptStore& store;
    // Oldest first, so that adding is an append; row 0 is the last entry.
    std::vector<Row> rows;
    // The filtered list at the last rebuild, never changed, so that its rows
    // point into it and a rebuild copies no item. Items that came or changed
    // later live in `ownItems`, whose addresses stay put; freed ones are reused.
    PromptList snapshot;
    std::deque<PromptItem> ownItems;
    std::vector<PromptItem*> freeItems;
    // The rows' sequence numbers by prompt id, oldest first: more than one only
    // for an agent that reuses an id. Kept here to size it before a rebuild.
    QHash<QUuid, QVarLengthArray<quint64, 1>> seqsById;
    quint64 lastSeq = 0;
    QSet<QUuid> processingIds;
};

} // namespace zor
