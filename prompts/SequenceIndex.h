#pragma once

#include "prompts/SeqList.h"
#include "shared/TextHash.h"

#include <QHash>
#include <QList>
#include <QVarLengthArray>
#include <algorithm>
#include <concepts>
#include <optional>
#include <utility>
#include <vector>

namespace zor {

// How an index holds its keys: a text as a TextKey, which hashes with the
// app's own hash (see TextHash.h), anything else as it is. A lookup borrows
// the text rather than holding it.
template <typename Key> struct HeldKey {
    using Type = Key;
    static const Key& hold(const Key& key) { return key; }
    // The key to hold, for one that a lookup with `borrowed` did not find.
    static const Key& hold(const Key& key, const Key& /*borrowed*/) { return key; }
    static const Key& borrow(const Key& key) { return key; }
    static const Key& unwrap(const Key& key) { return key; }
};
template <> struct HeldKey<QString> {
    using Type = TextKey;
    static TextKey hold(const QString& key) { return textKey(key); }
    static TextKey hold(const QString& key, const TextKey& borrowed) {
        return TextKey{key, borrowed.hash};
    }
    static TextKey borrow(const QString& key) { return borrowedTextKey(key); }
    static const QString& unwrap(const TextKey& key) { return key.text; }
};

// The sequence numbers of the prompts that share a key, oldest first. New
// numbers always exceed the held ones, so adding is an append. Keys that hold
// one number or a few keep them in a plain array; keys that may hold many, as
// a policy file or a session does, in a SeqList.
template <typename Key, typename SeqsType = QVarLengthArray<quint64, 1>> class SequenceIndex {
public:
    using Seqs = SeqsType;

    // The key as held, which a copy can share instead of keeping its own.
    const Key& insert(const Key& key, quint64 seq) {
        return insertBorrowed(key, Held::borrow(key), seq);
    }

    // As insert(), with the text's hash worked out beforehand, on the
    // thread that read the text.
    const Key& insert(const Key& key, KeyHash hash,
                      quint64 seq) requires std::same_as<Key, QString> {
        return insertBorrowed(key, borrowedTextKey(key, hash), seq);
    }

    // The numbers of `key`, held from now on even while empty: one lookup
    // for a caller that reads them and then appends. Valid until the next
    // change of the index.
    Seqs& entry(const Key& key) { return seqsByKey[Held::hold(key)]; }

    // A key without sequence numbers leaves the index.
    void remove(const Key& key, quint64 seq) { removeBorrowed(Held::borrow(key), seq); }

    // As remove(), with the text's hash kept from when it was inserted.
    void remove(const Key& key, KeyHash hash, quint64 seq) requires std::same_as<Key, QString> {
        removeBorrowed(borrowedTextKey(key, hash), seq);
    }

    // Room for `count` keys without growing, which moves every key held.
    void reserve(qsizetype count) { seqsByKey.reserve(count); }

    const Seqs* find(const Key& key) const { return findBorrowed(Held::borrow(key)); }

    qsizetype count(const Key& key) const {
        const Seqs* seqs = find(key);
        return seqs ? seqs->size() : 0;
    }

    std::optional<quint64> newest(const Key& key) const { return newestOf(find(key)); }

    // As newest(), with the text's hash worked out before.
    std::optional<quint64> newest(const Key& key,
                                  KeyHash hash) const requires std::same_as<Key, QString> {
        return newestOf(findBorrowed(borrowedTextKey(key, hash)));
    }

    // The keys by their newest sequence number, newest first: the order in
    // which they first appear in a newest-first list. Sorted when asked, which
    // for a few thousand keys is cheaper than keeping an order on every change.
    QList<Key> keysNewestFirst() const {
        std::vector<std::pair<quint64, const Key*>> order;
        order.reserve(std::size_t(seqsByKey.size()));
        for (auto it = seqsByKey.cbegin(); it != seqsByKey.cend(); ++it)
            order.emplace_back(it.value().last(), &Held::unwrap(it.key()));
        std::sort(order.begin(), order.end(),
                  [](const auto& a, const auto& b) { return a.first > b.first; });
        QList<Key> keys;
        keys.reserve(qsizetype(order.size()));
        for (const auto& entry : order)
            keys.append(*entry.second);
        return keys;
    }

private:
    using Held = HeldKey<Key>;

    const Key& insertBorrowed(const Key& key, const typename Held::Type& borrowed, quint64 seq) {
        auto it = seqsByKey.find(borrowed);
        if (it == seqsByKey.end())
            it = seqsByKey.emplace(Held::hold(key, borrowed), Seqs{});
        it.value().append(seq);
        return Held::unwrap(it.key());
    }

    const Seqs* findBorrowed(const typename Held::Type& borrowed) const {
        const auto it = seqsByKey.constFind(borrowed);
        return it == seqsByKey.cend() ? nullptr : &it.value();
    }

    static std::optional<quint64> newestOf(const Seqs* seqs) {
        return seqs ? std::optional(seqs->last()) : std::nullopt;
    }

    void removeBorrowed(const typename Held::Type& borrowed, quint64 seq) {
        const auto it = seqsByKey.find(borrowed);
        if (it == seqsByKey.end())
            return;
        Seqs& seqs = it.value();
        if (removeSeq(seqs, seq) && seqs.isEmpty())
            seqsByKey.erase(it);
    }

    static bool removeSeq(QVarLengthArray<quint64, 1>& seqs, quint64 seq) {
        const auto found = std::lower_bound(seqs.begin(), seqs.end(), seq);
        if (found == seqs.end() || *found != seq)
            return false;
        seqs.erase(found);
        return true;
    }
    static bool removeSeq(SeqList& seqs, quint64 seq) { return seqs.remove(seq); }

    QHash<typename Held::Type, Seqs> seqsByKey;
};

} // namespace zor
