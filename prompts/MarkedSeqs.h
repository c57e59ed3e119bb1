#pragma once

#include <QtGlobal>
#include <array>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace zor {

// Sequence numbers in ascending order, some of them marked, with each marked
// number's rank among the marked ones: the rows of a view kept by the store's
// numbers. A question takes O(log n), and a change about as long, amortised.
//
// Numbers are appended above all held. They lie in blocks of a few hundred,
// each with a bit per number for its mark. The blocks' first numbers and a
// Fenwick tree over their counts of marks are small enough to stay in the
// processor's caches: a question searches those and then reads one block, and
// an append touches the last block alone. A removal closes its gap within its
// block; a block that gets small joins a neighbour, so that blocks stay over a
// quarter full on the whole.
class MarkedSeqs {
public:
    qsizetype markedCount() const { return marked; }
    bool contains(quint64 seq) const { return find(seq).has_value(); }
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
        for (const std::unique_ptr<Block>& block : blocks)
            for (int i = 0; i < block->size; ++i)
                fn(block->seqs[std::size_t(i)], block->isMarked(i));
    }

private:
    static constexpr int kBlockSize = 256;

    struct Block {
        static constexpr int kWords = kBlockSize / 64;

        bool isMarked(int i) const { return (marks[std::size_t(i / 64)] >> (i % 64)) & 1; }
        void setMark(int i, bool isMarked);
        // The marks of the numbers before position `end`.
        int marksBefore(int end) const;
        int markCount() const { return marksBefore(size); }
        // The position of the mark at `rank` among the block's own.
        int markedAt(int rank) const;
        // The position of the first number at or above `seq`.
        int lowerBound(quint64 seq) const;
        void eraseAt(int position);
        // Takes the numbers of `next`, which all exceed this block's.
        void append(const Block& next);

        std::array<quint64, kWords> marks{};
        int size = 0;
        std::array<quint64, kBlockSize> seqs{};
    };
    struct Place {
        std::size_t block;
        int position;
    };

    // Where the first number at or above `seq` is, or would go.
    Place lowerBound(quint64 seq) const;
    std::optional<Place> find(quint64 seq) const;
    // The marks of the numbers before the place.
    qsizetype marksBefore(Place place) const;
    void addMarks(std::size_t block, int delta);
    // Joins the block to a neighbour when the two fill half a block at most;
    // drops it when it is empty.
    void mergeIfSmall(std::size_t block);
    void eraseBlock(std::size_t block);
    void rebuildTree();

    std::vector<std::unique_ptr<Block>> blocks;
    // Of each block: at or below its first number and above the block
    // before's last, so that it stays right when its first number goes.
    std::vector<quint64> firstSeqs;
    // 1-based: tree[i] holds the marks of blocks (i - lowbit(i), i].
    std::vector<qint32> tree;
    qsizetype marked = 0;
};

} // namespace zor
