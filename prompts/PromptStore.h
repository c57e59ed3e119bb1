#pragma once

#include "prompts/IncomingPrompt.h"
#include "prompts/PromptFilter.h"
#include "prompts/PromptItem.h"
#include "prompts/PromptList.h"
#include "prompts/PromptSearch.h"
#include "prompts/SequenceIndex.h"
#include "prompts/SidebarGrouping.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QUuid>
#include <optional>
#include <vector>

namespace zor {

// The pending prompts, newest first, and the view state that several views
// share. Main thread only.
//
// Observation: `prompts` is a PromptList, a snapshot that costs next to
// nothing to copy or keep (see PromptList.h). Each prompt held has a sequence
// number, which grows with every addition and orders the list: views keep
// their rows by it. promptAdded (the item is now first) and promptRemoved
// follow each change as it happens, promptsEnded (the prompts whose ended
// flag a session's end set, newest first) each session's end; promptRemoved
// says whether a duplicate replaced the prompt;
// promptsChanged() follows every operation that changed the prompts, once, or
// every batch of operations between beginChanges() and endChanges(). Views
// gather the single changes and show them at promptsChanged(), so that a sync
// reaches the screen as a few changes rather than thousands. The other
// properties notify at once, and only when their value really changed.
//
// Every query below answers from indexes kept up to date by the operations,
// so nothing scans the whole list.
class PromptStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::PromptList prompts READ prompts NOTIFY promptsChanged)
    Q_PROPERTY(std::optional<QUuid> highlightedPromptId READ highlightedPromptId WRITE
                   setHighlightedPromptId NOTIFY highlightedPromptIdChanged)
    Q_PROPERTY(std::optional<QUuid> scrollToPromptId READ scrollToPromptId WRITE setScrollToPromptId
                   NOTIFY scrollToPromptIdChanged)
    Q_PROPERTY(zor::PromptFilter filter READ filter WRITE setFilter NOTIFY filterChanged)
    // What the search field holds; the list shows the prompts that pass the
    // filter and that the search finds.
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(zor::SidebarGrouping sidebarGrouping READ sidebarGrouping WRITE setSidebarGrouping
                   NOTIFY sidebarGroupingChanged)

public:
    explicit PromptStore(QObject* parent = nullptr);

    const PromptList& prompts() const { return promptList; }

    std::optional<QUuid> highlightedPromptId() const { return highlighted; }
    void setHighlightedPromptId(std::optional<QUuid> id);
    std::optional<QUuid> scrollToPromptId() const { return scrollTarget; }
    void setScrollToPromptId(std::optional<QUuid> id);
    PromptFilter filter() const { return currentFilter; }
    void setFilter(const PromptFilter& filter);
    QString searchText() const { return currentSearchText; }
    void setSearchText(const QString& text);
    const PromptSearch& search() const { return currentSearch; }
    SidebarGrouping sidebarGrouping() const { return grouping; }
    void setSidebarGrouping(SidebarGrouping grouping);

    // Adds the prompt first, replacing any prompt with the same de-duplication key.
    void addPrompt(const QUuid& id, const QString& sessionId, const QString& policyPath,
                   const Denial& denial, bool sessionEnded);
    // Takes the prompt itself out of `prompt`. The key's parts stay there,
    // to be freed where the caller frees them: a sync hands its spent
    // batches to a worker, as the thread that read them allocated them.
    void addPrompt(IncomingPrompt&& prompt);
    // The same with a fresh random id, for a session that has not ended.
    void addPrompt(const QString& sessionId, const QString& policyPath, const Denial& denial);
    // Removes the first prompt with that id; the filter falls back to all when
    // no prompt of its policy or session remains.
    void removePrompt(const QUuid& id);
    // As removePrompt(), for the prompt with that sequence number, of two
    // under one id the one the user acted on. False when it is not held.
    bool removePromptWithSeq(quint64 seq);
    // Sets the ended flag of every prompt of the session; they stay listed.
    void markSessionEnded(const QString& sessionId);

    // Makes room for `count` prompts in all, so that adding that many does
    // not stop to grow the indexes: growing moves every entry, which takes
    // milliseconds at 100,000 prompts.
    void reserve(qsizetype count);

    // Operations between these report their changes to promptsChanged() as
    // one. They nest; the outermost end reports.
    void beginChanges();
    void endChanges();

    bool containsPrompt(const QUuid& id) const { return seqsById.newest(id).has_value(); }
    // Prompts with that id, which may come again with another request.
    qsizetype promptCountForId(const QUuid& id) const { return seqsById.count(id); }
    // The newest prompt with that id.
    std::optional<PromptItem> prompt(const QUuid& id) const;
    // The sequence number of the newest prompt with that id.
    std::optional<quint64> seqOf(const QUuid& id) const { return seqsById.newest(id); }
    // Those of every prompt with that id, oldest first: one, nearly always.
    QList<quint64> seqsOfId(const QUuid& id) const;
    // The prompt with that sequence number, or null; valid until the next change.
    const PromptItem* promptWithSeq(quint64 seq) const { return promptList.find(seq); }
    // The sequence numbers of the prompts that pass the filter, found by the
    // search or not, oldest first.
    std::vector<quint64> filteredSeqs() const;
    // Of the newest prompt of the policy or session.
    // Looked up by a key that holds its hash.
    std::optional<quint64> newestSeqForPolicy(const TextKey& policyPath) const {
        return seqsByPolicy.newest(policyPath.text, policyPath.hash);
    }
    std::optional<quint64> newestSeqForSession(const TextKey& sessionId) const {
        return seqsBySession.newest(sessionId.text, sessionId.hash);
    }

    // The prompts that pass the filter and the search, in list order.
    PromptList filteredPrompts() const;
    // The prompts a filter shows, whatever the search, in list order.
    PromptList promptsFor(const PromptFilter& filter) const;
    // Distinct values in order of first appearance in the list.
    QStringList uniquePolicyPaths() const;
    QStringList uniqueSessionIds() const;
    qsizetype promptCountForPolicy(const QString& policyPath) const;
    qsizetype promptCountForSession(const QString& sessionId) const;
    // How many prompts a filter shows, whatever the search.
    qsizetype promptCountFor(const PromptFilter& filter) const;
    // Of the session's first prompt in the list.
    std::optional<QString> policyPathForSession(const QString& sessionId) const;
    // The display name of the session's policy, "Unknown" when it has no prompt.
    QString sessionPolicyName(const QString& sessionId) const;
    QString policyDisplayName(const QString& policyPath) const;
    // The de-duplication keys of the prompts held.
    QSet<QString> dedupeKeys() const;

signals:
    void promptsChanged();
    // Each with the hashes of its session and policy path, which a listener
    // that looks those up needs not work out again.
    void promptAdded(const zor::PromptItem& item, quint64 seq, const zor::PromptTextHashes& hashes);
    void promptRemoved(const zor::PromptItem& item, quint64 seq,
                       const zor::PromptTextHashes& hashes, bool isReplaced);
    void promptsEnded(const QList<quint64>& seqs);
    void highlightedPromptIdChanged();
    void scrollToPromptIdChanged();
    void filterChanged();
    void searchTextChanged();
    void sidebarGroupingChanged();

private:
    // Takes the prompt out of the list and every index.
    // None when it is not held.
    std::optional<PromptList::Taken> take(quint64 seq);
    PromptList promptsWithSeqs(const SeqList* seqs) const;
    // Reports the prompts' change now, or at the end of the batch.
    void promptsDidChange();

    PromptList promptList;
    quint64 lastSeq = 0;
    SequenceIndex<QUuid> seqsById;
    SequenceIndex<QString, SeqList> seqsByPolicy;
    SequenceIndex<QString, SeqList> seqsBySession;
    // By the hash of the de-duplication key, which is long: holding the keys
    // themselves would cost more than the rest of a prompt. A key has one
    // prompt at most; a hash may have more when keys collide.
    SequenceIndex<size_t> seqsByKeyHash;

    std::optional<QUuid> highlighted;
    std::optional<QUuid> scrollTarget;
    PromptFilter currentFilter;
    QString currentSearchText;
    PromptSearch currentSearch;
    SidebarGrouping grouping = SidebarGrouping::policy;
    int batchDepth = 0;
    bool hasBatchChanged = false;
};

} // namespace zor
