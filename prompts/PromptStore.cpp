#include "prompts/PromptStore.h"

#include "platform/Log.h"
#include "platform/MainThread.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace zor {

PromptStore::PromptStore(QObject* parent)
    : QObject(parent) {
    requireMainThread("PromptStore");
}

void PromptStore::setHighlightedPromptId(std::optional<QUuid> id) {
    requireMainThread("PromptStore::setHighlightedPromptId");
    if (highlighted == id)
        return;
    highlighted = id;
    emit highlightedPromptIdChanged();
}

void PromptStore::setScrollToPromptId(std::optional<QUuid> id) {
    requireMainThread("PromptStore::setScrollToPromptId");
    if (scrollTarget == id)
        return;
    scrollTarget = id;
    emit scrollToPromptIdChanged();
}

void PromptStore::setFilter(const PromptFilter& filter) {
    requireMainThread("PromptStore::setFilter");
    if (currentFilter == filter)
        return;
    currentFilter = filter;
    emit filterChanged();
}

void PromptStore::setSearchText(const QString& text) {
    requireMainThread("PromptStore::setSearchText");
    if (currentSearchText == text)
        return;
    currentSearchText = text;
    currentSearch = PromptSearch(text);
    emit searchTextChanged();
}

void PromptStore::setSidebarGrouping(SidebarGrouping newGrouping) {
    requireMainThread("PromptStore::setSidebarGrouping");
    if (grouping == newGrouping)
        return;
    grouping = newGrouping;
    emit sidebarGroupingChanged();
}

std::optional<PromptList::Taken> PromptStore::take(quint64 seq) {
    std::optional<PromptList::Taken> taken = promptList.take(seq);
    if (!taken)
        return taken;
    const PromptItem& item = taken->item;
    seqsById.remove(item.id, seq);
    seqsByPolicy.remove(item.policyPath, taken->textHashes.policyPath, seq);
    seqsBySession.remove(item.sessionId, taken->textHashes.sessionId, seq);
    // Under the hash it was filed under, whatever a key worked out now would give.
    seqsByKeyHash.remove(taken->keyHash, seq);
    return taken;
}

void PromptStore::addPrompt(const QUuid& id, const QString& sessionId, const QString& policyPath,
                            const Denial& denial, bool sessionEnded) {
    addPrompt(IncomingPrompt(id, sessionId, policyPath, denial, sessionEnded));
}

void PromptStore::addPrompt(IncomingPrompt&& incoming) {
    requireMainThread("PromptStore::addPrompt");
    PromptItem item = incoming.takeItem();
    // UTC: the same instant as local time, without a time zone lookup per prompt.
    item.timestamp = QDateTime::currentDateTimeUtc();
    const quint64 seq = ++lastSeq;
    const QString& target = incoming.target();

    // A key has one prompt at most, so a duplicate is one prompt to replace.
    // Keys whose parts differ can still be equal, as parts may hold colons.
    // Most duplicates repeat the whole request, which compares without
    // writing out the held one's target. The hash's entry is looked up once:
    // in a large store a lookup mostly misses the processor's caches.
    std::optional<std::pair<PromptList::Taken, quint64>> replaced;
    const size_t hash = incoming.keyHash();
    SequenceIndex<size_t>::Seqs& sameHash = seqsByKeyHash.entry(hash);
    const auto held = std::find_if(sameHash.cbegin(), sameHash.cend(), [&](quint64 heldSeq) {
        const PromptItem& other = *promptList.find(heldSeq);
        return (other.policyPath == item.policyPath &&
                (other.denial == item.denial ||
                 (other.denial.kind() == item.denial.kind() && other.denial.target() == target))) ||
               other.dedupeKey() == item.dedupeKey();
    });
    if (held == sameHash.cend()) {
        sameHash.append(seq);
    } else {
        // Taking it may drop the entry, so the new number goes in anew.
        const quint64 heldSeq = *held;
        replaced.emplace(*take(heldSeq), heldSeq);
        seqsByKeyHash.insert(hash, seq);
    }

    // Prompts of one session or policy share the index's copy of its text.
    seqsById.insert(item.id, seq);
    const PromptTextHashes& hashes = incoming.textHashes();
    item.policyPath = seqsByPolicy.insert(item.policyPath, hashes.policyPath, seq);
    item.sessionId = seqsBySession.insert(item.sessionId, hashes.sessionId, seq);
    const PromptItem& added = promptList.prepend(seq, std::move(item), hash, hashes);

    logger(LogCategory::promptStore)
        .info("Added prompt: %{public}s %{public}s session=%{public}s",
              {incoming.typeString(), target, added.sessionId});
    if (replaced)
        emit promptRemoved(replaced->first.item, replaced->second, replaced->first.textHashes,
                           true);
    emit promptAdded(added, seq, hashes);
    promptsDidChange();
}

void PromptStore::addPrompt(const QString& sessionId, const QString& policyPath,
                            const Denial& denial) {
    addPrompt(QUuid::createUuid(), sessionId, policyPath, denial, false);
}

void PromptStore::removePrompt(const QUuid& id) {
    requireMainThread("PromptStore::removePrompt");
    // The first in list order is the newest.
    if (const std::optional<quint64> seq = seqsById.newest(id))
        removePromptWithSeq(*seq);
}

QList<quint64> PromptStore::seqsOfId(const QUuid& id) const {
    const auto* seqs = seqsById.find(id);
    return seqs ? QList<quint64>(seqs->cbegin(), seqs->cend()) : QList<quint64>();
}

bool PromptStore::removePromptWithSeq(quint64 seq) {
    requireMainThread("PromptStore::removePromptWithSeq");
    const std::optional<PromptList::Taken> taken = take(seq);
    if (!taken)
        return false;
    const PromptItem& item = taken->item;

    const bool isFilterEmptied = (currentFilter.kind() == PromptFilter::Kind::policy &&
                                  seqsByPolicy.count(*currentFilter.policyPath()) == 0) ||
                                 (currentFilter.kind() == PromptFilter::Kind::session &&
                                  seqsBySession.count(*currentFilter.sessionId()) == 0);
    if (isFilterEmptied)
        currentFilter = PromptFilter::all();

    logger(LogCategory::promptStore)
        .info("Removed prompt: %{public}s %{public}s",
              {item.denial.typeString(), item.denial.target()});
    emit promptRemoved(item, seq, taken->textHashes, false);
    if (isFilterEmptied)
        emit filterChanged();
    promptsDidChange();
    return true;
}

void PromptStore::markSessionEnded(const QString& sessionId) {
    requireMainThread("PromptStore::markSessionEnded");
    const SeqList* seqs = seqsBySession.find(sessionId);
    if (!seqs)
        return;
    // Prompts already marked count again but do not change.
    logger(LogCategory::promptStore)
        .info("Marked %ld prompts as ended for session %{public}s",
              {long(seqs->size()), sessionId});
    QList<quint64> ended;
    ended.reserve(seqs->size());
    for (auto it = seqs->crbegin(); it != seqs->crend(); ++it)
        if (promptList.setSessionEnded(*it))
            ended.append(*it);
    if (ended.isEmpty())
        return;
    emit promptsEnded(ended);
    promptsDidChange();
}

void PromptStore::reserve(qsizetype count) {
    requireMainThread("PromptStore::reserve");
    seqsById.reserve(count);
    seqsByKeyHash.reserve(count);
}

void PromptStore::beginChanges() {
    requireMainThread("PromptStore::beginChanges");
    ++batchDepth;
}

void PromptStore::endChanges() {
    requireMainThread("PromptStore::endChanges");
    Q_ASSERT(batchDepth > 0);
    if (--batchDepth > 0 || !std::exchange(hasBatchChanged, false))
        return;
    emit promptsChanged();
}

void PromptStore::promptsDidChange() {
    if (batchDepth > 0)
        hasBatchChanged = true;
    else
        emit promptsChanged();
}

PromptList PromptStore::promptsWithSeqs(const SeqList* seqs) const {
    PromptList list;
    if (seqs)
        for (const quint64 seq : *seqs)
            list.prepend(seq, *promptList.find(seq));
    return list;
}

std::optional<PromptItem> PromptStore::prompt(const QUuid& id) const {
    const std::optional<quint64> seq = seqsById.newest(id);
    if (!seq)
        return std::nullopt;
    return *promptList.find(*seq);
}

PromptList PromptStore::promptsFor(const PromptFilter& filter) const {
    requireMainThread("PromptStore::promptsFor");
    switch (filter.kind()) {
    case PromptFilter::Kind::policy:
        return promptsWithSeqs(seqsByPolicy.find(*filter.policyPath()));
    case PromptFilter::Kind::session:
        return promptsWithSeqs(seqsBySession.find(*filter.sessionId()));
    case PromptFilter::Kind::all:
        break;
    }
    return promptList;
}

PromptList PromptStore::filteredPrompts() const {
    requireMainThread("PromptStore::filteredPrompts");
    PromptList shown = promptsFor(currentFilter);
    if (currentSearch.isEmpty())
        return shown;
    // Newest first in the list, oldest first into the result.
    std::vector<PromptList::const_iterator> matching;
    for (auto it = shown.begin(); it != shown.end(); ++it)
        if (currentSearch.matches(*it))
            matching.push_back(it);
    PromptList found;
    for (auto it = matching.crbegin(); it != matching.crend(); ++it)
        found.prepend(it->seq(), **it);
    return found;
}

std::vector<quint64> PromptStore::filteredSeqs() const {
    requireMainThread("PromptStore::filteredSeqs");
    const SeqList* seqs = nullptr;
    switch (currentFilter.kind()) {
    case PromptFilter::Kind::policy:
        seqs = seqsByPolicy.find(*currentFilter.policyPath());
        break;
    case PromptFilter::Kind::session:
        seqs = seqsBySession.find(*currentFilter.sessionId());
        break;
    case PromptFilter::Kind::all:
        std::vector<quint64> all;
        all.reserve(std::size_t(promptList.size()));
        for (auto it = promptList.begin(); it != promptList.end(); ++it)
            all.push_back(it.seq());
        std::reverse(all.begin(), all.end());
        return all;
    }
    return seqs ? std::vector<quint64>(seqs->cbegin(), seqs->cend()) : std::vector<quint64>();
}

QStringList PromptStore::uniquePolicyPaths() const {
    requireMainThread("PromptStore::uniquePolicyPaths");
    return seqsByPolicy.keysNewestFirst();
}

QStringList PromptStore::uniqueSessionIds() const {
    requireMainThread("PromptStore::uniqueSessionIds");
    return seqsBySession.keysNewestFirst();
}

qsizetype PromptStore::promptCountForPolicy(const QString& policyPath) const {
    requireMainThread("PromptStore::promptCountForPolicy");
    return seqsByPolicy.count(policyPath);
}

qsizetype PromptStore::promptCountForSession(const QString& sessionId) const {
    requireMainThread("PromptStore::promptCountForSession");
    return seqsBySession.count(sessionId);
}

qsizetype PromptStore::promptCountFor(const PromptFilter& filter) const {
    if (const std::optional<QString> policyPath = filter.policyPath())
        return promptCountForPolicy(*policyPath);
    if (const std::optional<QString> sessionId = filter.sessionId())
        return promptCountForSession(*sessionId);
    requireMainThread("PromptStore::promptCountFor");
    return promptList.size();
}

std::optional<QString> PromptStore::policyPathForSession(const QString& sessionId) const {
    requireMainThread("PromptStore::policyPathForSession");
    const std::optional<quint64> seq = seqsBySession.newest(sessionId);
    if (!seq)
        return std::nullopt;
    return promptList.find(*seq)->policyPath;
}

QString PromptStore::sessionPolicyName(const QString& sessionId) const {
    const std::optional<QString> policyPath = policyPathForSession(sessionId);
    return policyPath ? zor::policyDisplayName(*policyPath) : QStringLiteral("Unknown");
}

QString PromptStore::policyDisplayName(const QString& policyPath) const {
    return zor::policyDisplayName(policyPath);
}

QSet<QString> PromptStore::dedupeKeys() const {
    requireMainThread("PromptStore::dedupeKeys");
    QSet<QString> keys;
    keys.reserve(promptList.size());
    for (const PromptItem& item : promptList)
        keys.insert(item.dedupeKey());
    return keys;
}

} // namespace zor
