#include "prompts/MarkedSeqs.h"

#include <algorithm>
#include <bit>

namespace zor {
namespace {

qsizetype lowBit(qsizetype i) {
    return i & -i;
}

} // namespace

qsizetype MarkedSeqs::lowerBound(quint64 seq) const {
    // Entries ascend by one at least, so the slot of the first at or above
    // `seq` lies in a window as wide as the numbers missing between the first
    // entry and the last: next to none after a sync, as each number came in.
    if (entries.empty() || seq <= entries.front().seq)
        return 0;
    if (seq > entries.back().seq)
        return qsizetype(entries.size());
    const auto size = qsizetype(entries.size());
    const auto low = size - 1 - qsizetype(entries.back().seq - seq);
    const auto high = qsizetype(std::min<quint64>(seq - entries.front().seq, quint64(size - 1)));
    const auto found =
        std::lower_bound(entries.cbegin() + std::max<qsizetype>(low, 0), entries.cbegin() + high,
                         seq, [](const Slot& slot, quint64 s) { return slot.seq < s; });
    return found - entries.cbegin();
}

qsizetype MarkedSeqs::slotOf(quint64 seq) const {
    const qsizetype slot = lowerBound(seq);
    if (slot == qsizetype(entries.size()) || entries[std::size_t(slot)].seq != seq ||
        !entries[std::size_t(slot)].isLive)
        return -1;
    return slot;
}

bool MarkedSeqs::isMarked(quint64 seq) const {
    const qsizetype slot = slotOf(seq);
    return slot >= 0 && entries[std::size_t(slot)].isMarked;
}

qsizetype MarkedSeqs::prefix(qsizetype end) const {
    qsizetype sum = 0;
    for (qsizetype i = end; i > 0; i -= lowBit(i))
        sum += tree[std::size_t(i)];
    return sum;
}

void MarkedSeqs::add(qsizetype slot, int delta) {
    const auto size = qsizetype(entries.size());
    for (qsizetype i = slot + 1; i <= size; i += lowBit(i))
        tree[std::size_t(i)] += delta;
}

void MarkedSeqs::append(quint64 seq, bool isMarked) {
    Q_ASSERT(entries.empty() || entries.back().seq < seq);
    entries.push_back({seq, true, isMarked});
    // The new node covers the entries (i - lowbit(i), i]: those before it it
    // takes from the prefix sums, which do not include it yet.
    const auto i = qsizetype(entries.size());
    if (tree.empty())
        tree.push_back(0);
    tree.push_back(qint32(prefix(i - 1) - prefix(i - lowBit(i)) + (isMarked ? 1 : 0)));
    ++live;
    marked += isMarked ? 1 : 0;
}

void MarkedSeqs::remove(quint64 seq) {
    const qsizetype slot = slotOf(seq);
    if (slot < 0)
        return;
    Slot& found = entries[std::size_t(slot)];
    if (found.isMarked) {
        add(slot, -1);
        --marked;
    }
    found = {seq, false, false};
    --live;
    compactIfSparse();
}

bool MarkedSeqs::setMarked(quint64 seq, bool isMarked) {
    const qsizetype slot = slotOf(seq);
    if (slot < 0 || entries[std::size_t(slot)].isMarked == isMarked)
        return false;
    entries[std::size_t(slot)].isMarked = isMarked;
    add(slot, isMarked ? 1 : -1);
    marked += isMarked ? 1 : -1;
    return true;
}

qsizetype MarkedSeqs::markedBelow(quint64 seq) const {
    return prefix(lowerBound(seq));
}

qsizetype MarkedSeqs::rankOf(quint64 seq) const {
    const qsizetype slot = slotOf(seq);
    if (slot < 0 || !entries[std::size_t(slot)].isMarked)
        return -1;
    return prefix(slot);
}

quint64 MarkedSeqs::markedAt(qsizetype rank) const {
    Q_ASSERT(rank >= 0 && rank < marked);
    // Descends the tree to the last node whose prefix stays at or below `rank`.
    const auto size = qsizetype(entries.size());
    qsizetype position = 0;
    qsizetype remaining = rank;
    for (qsizetype step = qsizetype(std::bit_floor(std::size_t(size))); step > 0; step /= 2) {
        const qsizetype next = position + step;
        if (next <= size && tree[std::size_t(next)] <= remaining) {
            position = next;
            remaining -= tree[std::size_t(next)];
        }
    }
    return entries[std::size_t(position)].seq;
}

void MarkedSeqs::clear() {
    entries.clear();
    tree.clear();
    live = 0;
    marked = 0;
}

void MarkedSeqs::assign(const std::vector<std::pair<quint64, bool>>& ascending) {
    entries.clear();
    entries.reserve(ascending.size());
    marked = 0;
    for (const auto& [seq, isMarked] : ascending) {
        entries.push_back({seq, true, isMarked});
        marked += isMarked ? 1 : 0;
    }
    live = qsizetype(entries.size());
    rebuildTree();
}

void MarkedSeqs::compactIfSparse() {
    // Amortised: each compaction follows at least as many removals as it keeps.
    const auto gaps = qsizetype(entries.size()) - live;
    if (gaps < 64 || gaps < live)
        return;
    std::erase_if(entries, [](const Slot& slot) { return !slot.isLive; });
    rebuildTree();
}

void MarkedSeqs::rebuildTree() {
    const auto size = qsizetype(entries.size());
    tree.assign(std::size_t(size) + 1, 0);
    for (qsizetype i = 1; i <= size; ++i) {
        tree[std::size_t(i)] += entries[std::size_t(i - 1)].isMarked ? 1 : 0;
        if (const qsizetype parent = i + lowBit(i); parent <= size)
            tree[std::size_t(parent)] += tree[std::size_t(i)];
    }
}

} // namespace zor
