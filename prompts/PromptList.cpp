#include "prompts/PromptList.h"

#include <algorithm>

namespace zor {
namespace {

// Small enough that copying one chunk on a change stays far below a
// microsecond per item, large enough to keep the chunk array short.
constexpr qsizetype kChunkCapacity = 32;

} // namespace

PromptList::const_iterator& PromptList::const_iterator::operator++() {
    if (entry > 0) {
        --entry;
    } else if (--chunk >= 0) {
        entry = list->chunks[chunk]->entries.size() - 1;
    } else {
        entry = 0;
    }
    return *this;
}

PromptList::const_iterator PromptList::begin() const {
    if (chunks.isEmpty())
        return end();
    return {this, chunks.size() - 1, chunks.last()->entries.size() - 1};
}

const PromptItem& PromptList::at(qsizetype row) const {
    Q_ASSERT(row >= 0 && row < count);
    for (qsizetype c = chunks.size() - 1; c >= 0; --c) {
        const QList<Entry>& entries = chunks[c]->entries;
        if (row < entries.size())
            return entries[entries.size() - 1 - row].item;
        row -= entries.size();
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

bool PromptList::locate(quint64 seq, qsizetype& chunk, qsizetype& entry) const {
    const auto chunkIt = std::lower_bound(
        chunks.cbegin(), chunks.cend(), seq,
        [](const QSharedDataPointer<Chunk>& c, quint64 s) { return c->entries.last().seq < s; });
    if (chunkIt == chunks.cend())
        return false;
    const QList<Entry>& entries = (*chunkIt)->entries;
    const auto entryIt = std::lower_bound(entries.cbegin(), entries.cend(), seq,
                                          [](const Entry& e, quint64 s) { return e.seq < s; });
    if (entryIt == entries.cend() || entryIt->seq != seq)
        return false;
    chunk = chunkIt - chunks.cbegin();
    entry = entryIt - entries.cbegin();
    return true;
}

const PromptItem* PromptList::find(quint64 seq) const {
    qsizetype chunk = 0;
    qsizetype entry = 0;
    if (!locate(seq, chunk, entry))
        return nullptr;
    return &chunks[chunk]->entries[entry].item;
}

void PromptList::prepend(quint64 seq, PromptItem item) {
    Q_ASSERT(chunks.isEmpty() || chunks.last()->entries.last().seq < seq);
    if (chunks.isEmpty() || chunks.last()->entries.size() >= kChunkCapacity) {
        chunks.append(QSharedDataPointer<Chunk>(new Chunk));
        chunks.last()->entries.reserve(kChunkCapacity);
    }
    chunks.last()->entries.append(Entry{seq, std::move(item)});
    ++count;
}

PromptItem* PromptList::findForUpdate(quint64 seq) {
    qsizetype chunk = 0;
    qsizetype entry = 0;
    if (!locate(seq, chunk, entry))
        return nullptr;
    return &chunks[chunk]->entries[entry].item;
}

bool PromptList::remove(quint64 seq) {
    qsizetype chunk = 0;
    qsizetype entry = 0;
    if (!locate(seq, chunk, entry))
        return false;
    chunks[chunk]->entries.removeAt(entry);
    --count;
    if (chunks[chunk]->entries.isEmpty())
        chunks.removeAt(chunk);
    else
        mergeIfSmall(chunk);
    return true;
}

// Keeps the chunk array short when removals thin the chunks out.
void PromptList::mergeIfSmall(qsizetype chunk) {
    const qsizetype size = chunks[chunk]->entries.size();
    if (size >= kChunkCapacity / 4)
        return;
    for (const qsizetype neighbour : {chunk + 1, chunk - 1}) {
        if (neighbour < 0 || neighbour >= chunks.size())
            continue;
        if (chunks[neighbour]->entries.size() + size > kChunkCapacity)
            continue;
        const qsizetype older = std::min(chunk, neighbour);
        const qsizetype newer = std::max(chunk, neighbour);
        chunks[older]->entries.append(std::as_const(chunks)[newer]->entries);
        chunks.removeAt(newer);
        return;
    }
}

} // namespace zor
