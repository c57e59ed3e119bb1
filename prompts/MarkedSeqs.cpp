#include "prompts/MarkedSeqs.h"

#include <algorithm>
#include <bit>

namespace zor {
namespace {

std::size_t lowBit(std::size_t i) {
    return i & (~i + 1);
}

quint64 bitsBelow(int position) {
    return (quint64(1) << position) - 1;
}

} // namespace

void MarkedSeqs::Block::setMark(int i, bool isMarked) {
    quint64& word = marks[std::size_t(i / 64)];
    const quint64 bit = quint64(1) << (i % 64);
    word = isMarked ? word | bit : word & ~bit;
}

int MarkedSeqs::Block::marksBefore(int end) const {
    int count = 0;
    for (int word = 0; word < end / 64; ++word)
        count += std::popcount(marks[std::size_t(word)]);
    if (end % 64 != 0)
        count += std::popcount(marks[std::size_t(end / 64)] & bitsBelow(end % 64));
    return count;
}

int MarkedSeqs::Block::markedAt(int rank) const {
    Q_ASSERT(rank >= 0 && rank < markCount());
    std::size_t word = 0;
    quint64 bits = marks[0];
    for (int count = std::popcount(bits); rank >= count; count = std::popcount(bits)) {
        rank -= count;
        bits = marks[++word];
    }
    for (; rank > 0; --rank)
        bits &= bits - 1;
    return int(word) * 64 + std::countr_zero(bits);
}

int MarkedSeqs::Block::lowerBound(quint64 seq) const {
    if (size == 0 || seq <= seqs[0])
        return 0;
    const quint64 last = seqs[std::size_t(size - 1)];
    if (seq > last)
        return size;
    // Numbers ascend by one at least, so `seq` lies in a window as wide as
    // the numbers missing from the block: next to none after a sync, as each
    // number came in.
    const auto low = qsizetype(size - 1) - qsizetype(last - seq);
    const auto high = qsizetype(std::min<quint64>(seq - seqs[0], quint64(size - 1)));
    const auto found =
        std::lower_bound(seqs.cbegin() + std::max<qsizetype>(low, 0), seqs.cbegin() + high, seq);
    return int(found - seqs.cbegin());
}

void MarkedSeqs::Block::eraseAt(int position) {
    std::copy(seqs.cbegin() + position + 1, seqs.cbegin() + size, seqs.begin() + position);
    --size;
    // The marks above the position move down by one, across the words.
    const auto first = std::size_t(position / 64);
    const quint64 kept = bitsBelow(position % 64);
    marks[first] = (marks[first] & kept) | ((marks[first] >> 1) & ~kept);
    for (std::size_t word = first; word + 1 < marks.size(); ++word) {
        marks[word] |= (marks[word + 1] & 1) << 63;
        marks[word + 1] >>= 1;
    }
}

void MarkedSeqs::Block::append(const Block& next) {
    Q_ASSERT(size + next.size <= kBlockSize);
    std::copy(next.seqs.cbegin(), next.seqs.cbegin() + next.size, seqs.begin() + size);
    for (int i = 0; i < next.size; ++i)
        setMark(size + i, next.isMarked(i));
    size += next.size;
}

MarkedSeqs::Place MarkedSeqs::lowerBound(quint64 seq) const {
    if (blocks.empty())
        return {0, 0};
    // The last block whose first number is at or below `seq`, or the first.
    const auto after = std::upper_bound(firstSeqs.cbegin(), firstSeqs.cend(), seq);
    const auto block = std::size_t(std::max<qsizetype>(after - firstSeqs.cbegin() - 1, 0));
    return {block, blocks[block]->lowerBound(seq)};
}

std::optional<MarkedSeqs::Place> MarkedSeqs::find(quint64 seq) const {
    const Place place = lowerBound(seq);
    if (place.block == blocks.size())
        return std::nullopt;
    const Block& block = *blocks[place.block];
    if (place.position == block.size || block.seqs[std::size_t(place.position)] != seq)
        return std::nullopt;
    return place;
}

qsizetype MarkedSeqs::marksBefore(Place place) const {
    qsizetype sum = 0;
    for (std::size_t i = place.block; i > 0; i -= lowBit(i))
        sum += tree[i];
    return place.block == blocks.size() ? sum
                                        : sum + blocks[place.block]->marksBefore(place.position);
}

void MarkedSeqs::addMarks(std::size_t block, int delta) {
    for (std::size_t i = block + 1; i < tree.size(); i += lowBit(i))
        tree[i] += delta;
    marked += delta;
}

bool MarkedSeqs::isMarked(quint64 seq) const {
    const std::optional<Place> place = find(seq);
    return place && blocks[place->block]->isMarked(place->position);
}

void MarkedSeqs::append(quint64 seq, bool isMarked) {
    Q_ASSERT(blocks.empty() || blocks.back()->seqs[std::size_t(blocks.back()->size - 1)] < seq);
    if (blocks.empty() || blocks.back()->size == kBlockSize) {
        blocks.push_back(std::make_unique<Block>());
        firstSeqs.push_back(seq);
        // The new node covers the blocks (i - lowbit(i), i]: those before the
        // new one it takes from the prefix sums, which do not include it.
        if (tree.empty())
            tree.push_back(0);
        const std::size_t i = blocks.size();
        tree.push_back(qint32(marksBefore({i - 1, 0}) - marksBefore({i - lowBit(i), 0})));
    }
    Block& last = *blocks.back();
    last.seqs[std::size_t(last.size)] = seq;
    last.setMark(last.size++, isMarked);
    if (isMarked)
        addMarks(blocks.size() - 1, 1);
}

void MarkedSeqs::remove(quint64 seq) {
    const std::optional<Place> place = find(seq);
    if (!place)
        return;
    Block& block = *blocks[place->block];
    if (block.isMarked(place->position))
        addMarks(place->block, -1);
    block.eraseAt(place->position);
    mergeIfSmall(place->block);
}

bool MarkedSeqs::setMarked(quint64 seq, bool isMarked) {
    const std::optional<Place> place = find(seq);
    if (!place)
        return false;
    Block& block = *blocks[place->block];
    if (block.isMarked(place->position) == isMarked)
        return false;
    block.setMark(place->position, isMarked);
    addMarks(place->block, isMarked ? 1 : -1);
    return true;
}

qsizetype MarkedSeqs::markedBelow(quint64 seq) const {
    return marksBefore(lowerBound(seq));
}

qsizetype MarkedSeqs::rankOf(quint64 seq) const {
    const std::optional<Place> place = find(seq);
    if (!place || !blocks[place->block]->isMarked(place->position))
        return -1;
    return marksBefore(*place);
}

quint64 MarkedSeqs::markedAt(qsizetype rank) const {
    Q_ASSERT(rank >= 0 && rank < marked);
    // Descends the tree to the last block whose prefix stays at or below `rank`.
    const std::size_t count = blocks.size();
    std::size_t position = 0;
    qsizetype remaining = rank;
    for (std::size_t step = std::bit_floor(count); step > 0; step /= 2) {
        const std::size_t next = position + step;
        if (next <= count && tree[next] <= remaining) {
            position = next;
            remaining -= tree[next];
        }
    }
    const Block& block = *blocks[position];
    return block.seqs[std::size_t(block.markedAt(int(remaining)))];
}

void MarkedSeqs::clear() {
    blocks.clear();
    firstSeqs.clear();
    tree.clear();
    marked = 0;
}

void MarkedSeqs::assign(const std::vector<std::pair<quint64, bool>>& ascending) {
    clear();
    blocks.reserve(ascending.size() / kBlockSize + 1);
    firstSeqs.reserve(blocks.capacity());
    for (const auto& [seq, isMarked] : ascending)
        append(seq, isMarked);
}

void MarkedSeqs::mergeIfSmall(std::size_t block) {
    // Amortised: a block is made by filling it, and each join takes one away.
    const auto fits = [&](std::size_t first) {
        return blocks[first]->size + blocks[first + 1]->size <= kBlockSize / 2;
    };
    const int size = blocks[block]->size;
    if (size == 0) {
        eraseBlock(block);
        return;
    }
    // A neighbour is another block in memory: a removal from a block that
    // no neighbour could join does not read one.
    if (size >= kBlockSize / 2)
        return;
    if (block > 0 && fits(block - 1)) {
        blocks[block - 1]->append(*blocks[block]);
        eraseBlock(block);
    } else if (block + 1 < blocks.size() && fits(block)) {
        blocks[block]->append(*blocks[block + 1]);
        eraseBlock(block + 1);
    }
}

void MarkedSeqs::eraseBlock(std::size_t block) {
    blocks.erase(blocks.begin() + qsizetype(block));
    firstSeqs.erase(firstSeqs.begin() + qsizetype(block));
    rebuildTree();
}

void MarkedSeqs::rebuildTree() {
    const std::size_t count = blocks.size();
    tree.assign(count + 1, 0);
    for (std::size_t i = 1; i <= count; ++i) {
        tree[i] += blocks[i - 1]->markCount();
        if (const std::size_t parent = i + lowBit(i); parent <= count)
            tree[parent] += tree[i];
    }
}

} // namespace zor
