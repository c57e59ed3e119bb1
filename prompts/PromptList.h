#pragma once

#include "prompts/PromptItem.h"

#include <QList>
#include <QSharedData>
#include <QSharedDataPointer>
#include <iterator>

namespace zor {

// The store's prompts, newest first (row 0), as a value that views can keep.
//
// Copies are cheap and stay unchanged when the store moves on: the items live
// in small implicitly shared chunks, so a copy shares them all, and a change
// to the store copies the one chunk it touches plus the array of chunk
// pointers, not ten thousand items. Every item carries a sequence number that
// grows with each addition, which finds it in O(log n).
class PromptList {
    struct Entry {
        quint64 seq;
        PromptItem item;
    };
    struct Chunk : QSharedData {
        QList<Entry> entries; // oldest first, never empty
    };

public:
    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = PromptItem;
        using difference_type = qsizetype;
        using pointer = const PromptItem*;
        using reference = const PromptItem&;

        const_iterator() = default;
        reference operator*() const { return list->chunks[chunk]->entries[entry].item; }
        pointer operator->() const { return &**this; }
        const_iterator& operator++();
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        bool operator==(const const_iterator& other) const {
            return chunk == other.chunk && entry == other.entry;
        }

    private:
        friend class PromptList;
        const_iterator(const PromptList* list, qsizetype chunk, qsizetype entry)
            : list(list)
            , chunk(chunk)
            , entry(entry) {}

        const PromptList* list = nullptr;
        qsizetype chunk = -1;
        qsizetype entry = 0;
    };

    qsizetype size() const { return count; }
    bool isEmpty() const { return count == 0; }
    // O(number of chunks); walk with the iterators instead.
    const PromptItem& at(qsizetype row) const;
    const PromptItem& first() const { return chunks.last()->entries.last().item; }
    const_iterator begin() const;
    const_iterator end() const { return {this, -1, 0}; }
    QList<PromptItem> toList() const;

    // The item with that sequence number, or null.
    const PromptItem* find(quint64 seq) const;
    // Adds the newest item; `seq` must be above every sequence number held.
    void prepend(quint64 seq, PromptItem item);
    // The held item, for changing it; copies its chunk first when that is shared.
    PromptItem* findForUpdate(quint64 seq);
    // False when no item has that sequence number.
    bool remove(quint64 seq);

private:
    bool locate(quint64 seq, qsizetype& chunk, qsizetype& entry) const;
    void mergeIfSmall(qsizetype chunk);

    QList<QSharedDataPointer<Chunk>> chunks; // oldest first
    qsizetype count = 0;
};

} // namespace zor
