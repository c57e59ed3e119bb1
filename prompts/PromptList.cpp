#include "prompts/PromptList.h"

#include <algorithm>

namespace zor {
namespace {

// Small enough that copying one chunk on a change stays cheap, large enough
// to keep the slot array short.
constexpr qsizetype kChunkCapacity = 32;

} // namespace

PromptList::const_iterator& PromptList::const_iterator::operator++() {
    if (entry > 0) {
        --entry;
    } else if (--slot >= 0) {
        entry = list->visibleIn(slot) - 1;
    } else {
        entry = 0;
    }
    return *this;
}

PromptList::const_iterator PromptList::begin() const {
    if (chunkSlots.isEmpty())
        return end();
    return {this, chunkSlots.size() - 1, lastVisible - 1};
}

const PromptItem& PromptList::at(qsizetype row) const {
    Q_ASSERT(row >= 0 && row < count);
    for (qsizetype slot = chunkSlots.size() - 1; slot >= 0; --slot) {
        const qsizetype visible = visibleIn(slot);
        if (row < visible)
            return chunkSlots[slot].chunk->entries[visible - 1 - row].box->item;
        row -= visible;
    }
    Q_UNREACHABLE();
}

QList<PromptItem> PromptList::toList() const {
    QList<PromptItem> list;
    list.reserve(count);
    for (const PromptItem& item : *this)
        list.append(item);
    return list;
}

bool PromptList::locate(quint64 seq, qsizetype& slot, qsizetype& entry) const {
    // Slots and entries are in ascending order of sequence numbers: the item
    // lies in the last slot that starts at or below it.
    const auto after =
        std::upper_bound(chunkSlots.cbegin(), chunkSlots.cend(), seq,
                         [](quint64 s, const Slot& candidate) { return s < candidate.firstSeq; });
    if (after == chunkSlots.cbegin())
        return false;
    const qsizetype found = after - chunkSlots.cbegin() - 1;
    const std::vector<Entry>& entries = chunkSlots[found].chunk->entries;
    const auto visibleEnd = entries.cbegin() + visibleIn(found);
    const auto at = std::lower_bound(entries.cbegin(), visibleEnd, seq,
                                     [](const Entry& e, quint64 s) { return e.seq < s; });
    if (at == visibleEnd || at->seq != seq)
        return false;
    slot = found;
    entry = at - entries.cbegin();
    return true;
}

const PromptItem* PromptList::find(quint64 seq) const {
    qsizetype slot = 0;
    qsizetype entry = 0;
    if (!locate(seq, slot, entry))
        return nullptr;
    return &chunkSlots[slot].chunk->entries[entry].box->item;
}

void PromptList::setVisible(qsizetype slot, qsizetype visible) {
    if (slot == chunkSlots.size() - 1)
        lastVisible = visible;
    else
        chunkSlots[slot].visible = visible;
}

PromptList::Chunk& PromptList::ownChunk(qsizetype slot) {
    // Detaching the slot array first makes a chunk that other lists see
    // through a shared array count as shared.
    Slot& owned = chunkSlots[slot];
    const qsizetype visible = visibleIn(slot);
    if (owned.chunk.isShared()) {
        auto* copy = new Chunk;
        copy->entries.reserve(kChunkCapacity);
        copy->entries.assign(owned.chunk->entries.cbegin(),
                             owned.chunk->entries.cbegin() + visible);
        owned.chunk = Ref<Chunk>(copy);
    } else {
        // Entries past our prefix were added by a list that no longer exists.
        owned.chunk->entries.erase(owned.chunk->entries.begin() + visible,
                                   owned.chunk->entries.end());
    }
    return *owned.chunk;
}

const PromptItem& PromptList::prepend(quint64 seq, PromptItem item, size_t keyHash,
                                      PromptTextHashes textHashes) {
    Q_ASSERT(isEmpty() ||
             std::as_const(chunkSlots).last().chunk->entries[lastVisible - 1].seq < seq);
    Entry entry{seq, Ref<Box>(new Box(std::move(item), keyHash, textHashes))};
    const PromptItem& added = entry.box->item;
    ++count;
    if (!chunkSlots.isEmpty() && lastVisible < kChunkCapacity) {
        Chunk& last = *std::as_const(chunkSlots).last().chunk;
        // In place when no other list added past our prefix: the others do
        // not see past theirs, and the reserved entries do not move.
        if (qsizetype(last.entries.size()) == lastVisible) {
            last.entries.push_back(std::move(entry));
        } else {
            ownChunk(chunkSlots.size() - 1).entries.push_back(std::move(entry));
        }
        ++lastVisible;
        return added;
    }
    if (!chunkSlots.isEmpty())
        chunkSlots.last().visible = lastVisible;
    auto* chunk = new Chunk;
    chunk->entries.reserve(kChunkCapacity);
    chunk->entries.push_back(std::move(entry));
    chunkSlots.append(Slot{Ref<Chunk>(chunk), 0, seq});
    lastVisible = 1;
    return added;
}

const PromptItem* PromptList::setSessionEnded(quint64 seq) {
    qsizetype slot = 0;
    qsizetype entry = 0;
    if (!locate(seq, slot, entry) ||
        std::as_const(chunkSlots)[slot].chunk->entries[entry].box->item.sessionEnded)
        return nullptr;
    Ref<Box>& box = ownChunk(slot).entries[entry].box;
    box.detach();
    box->item.sessionEnded = true;
    return &box->item;
}

void PromptList::removeSlot(qsizetype slot) {
    const bool isLast = slot == chunkSlots.size() - 1;
    chunkSlots.removeAt(slot);
    if (isLast)
        lastVisible = chunkSlots.isEmpty() ? 0 : chunkSlots.last().visible;
}

std::optional<PromptList::Taken> PromptList::take(quint64 seq) {
    qsizetype slot = 0;
    qsizetype entry = 0;
    if (!locate(seq, slot, entry))
        return std::nullopt;
    Chunk& chunk = ownChunk(slot);
    const auto at = chunk.entries.begin() + entry;
    Box& box = *at->box;
    Taken taken{box.refs > 1 ? box.item : std::move(box.item), box.keyHash, box.textHashes};
    chunk.entries.erase(at);
    --count;
    if (chunk.entries.empty()) {
        removeSlot(slot);
    } else {
        setVisible(slot, qsizetype(chunk.entries.size()));
        mergeIfSmall(slot);
    }
    return taken;
}

// Keeps the slot array short when removals thin the chunks out.
void PromptList::mergeIfSmall(qsizetype slot) {
    const qsizetype size = visibleIn(slot);
    if (size >= kChunkCapacity / 4)
        return;
    for (const qsizetype neighbour : {slot + 1, slot - 1}) {
        if (neighbour < 0 || neighbour >= chunkSlots.size() ||
            visibleIn(neighbour) + size > kChunkCapacity)
            continue;
        const qsizetype older = std::min(slot, neighbour);
        const qsizetype newer = std::max(slot, neighbour);
        const qsizetype olderSize = visibleIn(older);
        const qsizetype newerSize = visibleIn(newer);
        const std::vector<Entry>& newerEntries = std::as_const(chunkSlots)[newer].chunk->entries;
        Chunk& merged = ownChunk(older);
        merged.entries.insert(merged.entries.end(), newerEntries.cbegin(),
                              newerEntries.cbegin() + newerSize);
        removeSlot(newer);
        setVisible(older, olderSize + newerSize);
        return;
    }
}

} // namespace zor
