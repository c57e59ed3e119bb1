#pragma once

#include "prompts/PromptItem.h"
#include "prompts/PromptTextHashes.h"

#include <QList>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace zor {

// The store's prompts, newest first (row 0), as a value that views can keep.
//
// Copies are cheap and stay unchanged when the store moves on. The items live
// in chunks shared between copies. A list sees a prefix of each chunk, so the
// store can add its newest item to a shared chunk in place: the copies do not
// see past their own prefix. Removing or changing an item copies the one chunk
// it lies in, if shared, and the array of chunk references, not ten thousand
// items. Every item carries a sequence number that grows with each addition,
// which finds it in O(log n). References to items stay valid until the list
// they were read from changes.
//
// Each item sits in a box of its own that copies share, so that copying a
// chunk to change one item copies pointers, not items. The box also keeps
// the hashes that the store filed the item under, its key's and its texts',
// so that the store and the sidebars take it out from under the same hashes
// without working them out again.
//
// Chunks, rather than one array of shared items, because a resync replaces
// every prompt, each the oldest held: in one array each replacement moves
// all the others, and a 10,000-prompt resync took ten times as long.
//
// A list and its copies belong to one thread, the main thread: their counts
// of references are plain integers. A change under a kept copy takes a few
// hundred references, and atomic counts would cost more than the change.
class PromptList {
    // What a Ref points to; a copy starts unreferenced.
    struct Counted {
        Counted() = default;
        Counted(const Counted&) {}
        Counted& operator=(const Counted&) = delete;
        int refs = 0;
    };
    template <typename T> class Ref {
    public:
        Ref() = default;
        explicit Ref(T* target)
            : target(target) {
            ++target->refs;
        }
        Ref(const Ref& other)
            : target(other.target) {
            if (target)
                ++target->refs;
        }
        Ref(Ref&& other) noexcept
            : target(std::exchange(other.target, nullptr)) {}
        Ref& operator=(Ref other) noexcept {
            std::swap(target, other.target);
            return *this;
        }
        ~Ref() {
            if (target && --target->refs == 0)
                delete target;
        }
        T* operator->() const { return target; }
        T& operator*() const { return *target; }
        bool isShared() const { return target->refs > 1; }
        // Gives this reference a copy of its own when others share the target.
        void detach() {
            if (isShared())
                *this = Ref(new T(*target));
        }

    private:
        T* target = nullptr;
    };

    struct Box : Counted {
        Box(PromptItem item, size_t keyHash, PromptTextHashes textHashes)
            : item(std::move(item))
            , keyHash(keyHash)
            , textHashes(textHashes) {}
        PromptItem item;
        size_t keyHash;
        PromptTextHashes textHashes;
    };
    struct Entry {
        quint64 seq;
        Ref<Box> box;
    };
    // Its entries are reserved up front and never reallocated.
    struct Chunk : Counted {
        std::vector<Entry> entries; // oldest first
    };
    struct Slot {
        Ref<Chunk> chunk;
        qsizetype visible = 0; // the prefix of the chunk this list sees; see lastVisible
        // Where the chunk's numbers start: at or below its first and above the
        // chunk before's last, so that the number stays right when its item
        // goes. Kept here so that finding an item's chunk searches this array
        // alone, not every chunk it passes.
        quint64 firstSeq = 0;
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
        reference operator*() const {
            return list->chunkSlots[slot].chunk->entries[entry].box->item;
        }
        pointer operator->() const { return &**this; }
        quint64 seq() const { return list->chunkSlots[slot].chunk->entries[entry].seq; }
        const_iterator& operator++();
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        bool operator==(const const_iterator& other) const {
            return slot == other.slot && entry == other.entry;
        }

    private:
        friend class PromptList;
        const_iterator(const PromptList* list, qsizetype slot, qsizetype entry)
            : list(list)
            , slot(slot)
            , entry(entry) {}

        const PromptList* list = nullptr;
        qsizetype slot = -1;
        qsizetype entry = 0;
    };

    qsizetype size() const { return count; }
    bool isEmpty() const { return count == 0; }
    // O(number of chunks); walk with the iterators instead.
    const PromptItem& at(qsizetype row) const;
    const PromptItem& first() const { return *begin(); }
    const_iterator begin() const;
    const_iterator end() const { return {this, -1, 0}; }
    QList<PromptItem> toList() const;

    // The item with that sequence number, or null.
    const PromptItem* find(quint64 seq) const;
    // Adds the newest item; `seq` must be above every sequence number held.
    const PromptItem& prepend(quint64 seq, PromptItem item, size_t keyHash = 0,
                              PromptTextHashes textHashes = {});
    // Sets the item's ended flag, copying only what a change needs; the item,
    // or null when it had ended already or there is none.
    const PromptItem* setSessionEnded(quint64 seq);
    struct Taken {
        PromptItem item;
        size_t keyHash;
        PromptTextHashes textHashes;
    };
    // Removes the item and hands it over with its hashes: moved out of
    // its box when no other list shares the box, copied when one does;
    // nothing when no item has that sequence number.
    std::optional<Taken> take(quint64 seq);

private:
    qsizetype visibleIn(qsizetype slot) const {
        return slot == chunkSlots.size() - 1 ? lastVisible : chunkSlots[slot].visible;
    }
    bool locate(quint64 seq, qsizetype& slot, qsizetype& entry) const;
    // Makes the chunk of the slot this list's own, holding exactly what the list sees.
    Chunk& ownChunk(qsizetype slot);
    void setVisible(qsizetype slot, qsizetype visible);
    void removeSlot(qsizetype slot);
    void mergeIfSmall(qsizetype slot);

    QList<Slot> chunkSlots; // oldest first
    // The visible prefix of the last slot's chunk, kept outside the shared slot
    // array so that adding in place does not copy the array.
    qsizetype lastVisible = 0;
    qsizetype count = 0;
};

} // namespace zor
