#pragma once

#include <QHash>
#include <QStringList>
#include <QVarLengthArray>
#include <algorithm>
#include <functional>
#include <map>
#include <optional>

namespace zor {

// The sequence numbers of the prompts that share a key, oldest first. New
// numbers always exceed the held ones, so adding is an append.
template <typename Key> class SequenceIndex {
public:
    using Seqs = QVarLengthArray<quint64, 1>;

    void insert(const Key& key, quint64 seq) { seqsByKey[key].append(seq); }

    // A key without sequence numbers leaves the index.
    void remove(const Key& key, quint64 seq) {
        const auto it = seqsByKey.find(key);
        if (it == seqsByKey.end())
            return;
        Seqs& seqs = it.value();
        const auto found = std::lower_bound(seqs.begin(), seqs.end(), seq);
        if (found == seqs.end() || *found != seq)
            return;
        seqs.erase(found);
        if (seqs.isEmpty())
            seqsByKey.erase(it);
    }

    const Seqs* find(const Key& key) const {
        const auto it = seqsByKey.constFind(key);
        return it == seqsByKey.cend() ? nullptr : &it.value();
    }

    qsizetype count(const Key& key) const {
        const Seqs* seqs = find(key);
        return seqs ? seqs->size() : 0;
    }

    std::optional<quint64> newest(const Key& key) const {
        const Seqs* seqs = find(key);
        return seqs ? std::optional(seqs->last()) : std::nullopt;
    }

private:
    QHash<Key, Seqs> seqsByKey;
};

// A SequenceIndex of texts that also keeps its keys in the order of their
// newest prompt, which is the order of first appearance in a newest-first list.
class OrderedSequenceIndex {
public:
    using Seqs = SequenceIndex<QString>::Seqs;

    void insert(const QString& key, quint64 seq) {
        if (const std::optional<quint64> previous = index.newest(key))
            keyByNewestSeq.erase(*previous);
        index.insert(key, seq);
        keyByNewestSeq.emplace(seq, key);
    }

    void remove(const QString& key, quint64 seq) {
        const std::optional<quint64> newestBefore = index.newest(key);
        index.remove(key, seq);
        if (newestBefore != seq)
            return;
        keyByNewestSeq.erase(seq);
        if (const std::optional<quint64> newestNow = index.newest(key))
            keyByNewestSeq.emplace(*newestNow, key);
    }

    const Seqs* find(const QString& key) const { return index.find(key); }
    qsizetype count(const QString& key) const { return index.count(key); }
    std::optional<quint64> newest(const QString& key) const { return index.newest(key); }

    QStringList keysNewestFirst() const {
        QStringList keys;
        keys.reserve(qsizetype(keyByNewestSeq.size()));
        for (const auto& entry : keyByNewestSeq)
            keys.append(entry.second);
        return keys;
    }

private:
    SequenceIndex<QString> index;
    std::map<quint64, QString, std::greater<>> keyByNewestSeq;
};

} // namespace zor
