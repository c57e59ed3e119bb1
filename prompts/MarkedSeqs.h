#pragma once

#include <QtGlobal>
#include <utility>
#include <vector>

namespace zor {

// Sequence numbers in ascending order, some of them marked, with each marked
// number's rank among the marked ones: the rows of a view kept by the store's
// numbers. Every operation takes O(log n).
//
// Numbers are appended above all held. A removed number leaves a gap that a
// compaction closes once gaps outnumber the numbers held. The marks sit in a
// Fenwick tree over the entries, which answers ranks and finds the k-th mark.
class MarkedSeqs {
public:
    qsizetype markedCount() const { return marked; }
    bool contains(quint64 seq) const { return slotOf(seq) >= 0; }
    bool isMarked(quint64 seq) const;

    // `seq` must exceed every number held.
    void append(quint64 seq, bool isMarked);
    // Forgets the number, and its mark.
    void remove(quint64 seq);
    // False when the number is not held or its mark was already so.
    bool setMarked(quint64 seq, bool isMarked);

    // The marked numbers below `seq`, which need not be held.
    qsizetype markedBelow(quint64 seq) const;
    // Its position among the marked, ascending; -1 when it is not marked.
    qsizetype rankOf(quint64 seq) const;
    // The marked number at `rank`, ascending.
    quint64 markedAt(qsizetype rank) const;

    void clear();
    // Numbers ascending, each with its mark.
    void assign(const std::vector<std::pair<quint64, bool>>& ascending);

    // Calls fn(seq, isMarked) for every number held, ascending.
    template <typename Fn> void forEach(Fn fn) const {
        for (const Slot& slot : entries)
            if (slot.isLive)
                fn(slot.seq, slot.isMarked);
    }

private:
    struct Slot {
        quint64 seq;
        bool isLive;
        bool isMarked;
    };

    // The slot of the first entry at or above `seq`.
    qsizetype lowerBound(quint64 seq) const;
    qsizetype slotOf(quint64 seq) const;
    // Marks before slot `end` (exclusive).
    qsizetype prefix(qsizetype end) const;
    void add(qsizetype slot, int delta);
    void compactIfSparse();
    void rebuildTree();

    std::vector<Slot> entries;
    std::vector<qint32> tree; // 1-based: tree[i] holds marks of entries (i - lowbit(i), i]
    qsizetype live = 0;
    qsizetype marked = 0;
};

} // namespace zor
