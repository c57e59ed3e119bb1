#pragma once

#include <QVarLengthArray>
#include <algorithm>
#include <cstddef>
#include <iterator>

namespace zor {

// The sequence numbers of a key that may hold many, such as a policy file or
// a session, oldest first. A removal marks its number rather than moving all
// that follow it, and the marks are swept out once they are half of what is
// held: removing from a group of any size costs about the same.
class SeqList {
    static constexpr quint64 kRemoved = quint64(1) << 63;
    static constexpr qsizetype kFirstRoom = 8;

public:
    // Over the numbers held, skipping the marked ones.
    class const_iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = quint64;
        using difference_type = std::ptrdiff_t;
        using pointer = const quint64*;
        using reference = const quint64&;

        const_iterator() = default;
        reference operator*() const { return *at; }
        const_iterator& operator++() {
            do
                ++at;
            while (at != last && (*at & kRemoved));
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator before = *this;
            ++*this;
            return before;
        }
        // Never before the first number held, as for any iterator.
        const_iterator& operator--() {
            do
                --at;
            while (*at & kRemoved);
            return *this;
        }
        const_iterator operator--(int) {
            const_iterator before = *this;
            --*this;
            return before;
        }
        bool operator==(const const_iterator& other) const { return at == other.at; }

    private:
        friend class SeqList;
        const_iterator(const quint64* position, const quint64* end)
            : at(position)
            , last(end) {}

        const quint64* at = nullptr;
        const quint64* last = nullptr;
    };
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;

    // `seq` exceeds every number held. The first room taken holds a few
    // numbers, not two: a session of ten prompts grows twice, not four times.
    void append(quint64 seq) {
        if (numbers.size() == numbers.capacity())
            numbers.reserve(std::max<qsizetype>(numbers.size() * 2, kFirstRoom));
        numbers.append(seq);
    }

    // False when `seq` is not held.
    bool remove(quint64 seq) {
        const auto found =
            std::lower_bound(numbers.begin(), numbers.end(), seq, [](quint64 held, quint64 wanted) {
                return (held & ~kRemoved) < wanted;
            });
        if (found == numbers.end() || *found != seq)
            return false;
        if (found + 1 == numbers.end()) {
            // The newest goes at once, with the marked ones just before it,
            // so that the last number kept is never a marked one.
            numbers.removeLast();
            while (!numbers.isEmpty() && (numbers.last() & kRemoved)) {
                numbers.removeLast();
                --removedCount;
            }
            return true;
        }
        *found |= kRemoved;
        if (++removedCount * 2 > numbers.size()) {
            numbers.erase(std::remove_if(numbers.begin(), numbers.end(),
                                         [](quint64 held) { return held & kRemoved; }),
                          numbers.end());
            removedCount = 0;
        }
        return true;
    }

    qsizetype size() const { return numbers.size() - removedCount; }
    bool isEmpty() const { return numbers.isEmpty(); }
    quint64 last() const { return numbers.last(); }

    const_iterator begin() const {
        const_iterator first(numbers.cbegin(), numbers.cend());
        // The last number is never marked, so this ends there at the latest.
        while (first.at != first.last && (*first.at & kRemoved))
            ++first.at;
        return first;
    }
    const_iterator end() const { return const_iterator(numbers.cend(), numbers.cend()); }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    const_reverse_iterator crbegin() const { return const_reverse_iterator(end()); }
    const_reverse_iterator crend() const { return const_reverse_iterator(begin()); }

private:
    QVarLengthArray<quint64, 1> numbers;
    qsizetype removedCount = 0;
};

} // namespace zor
