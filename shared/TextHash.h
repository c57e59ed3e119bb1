#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringView>
#include <QtGlobal>

namespace zor {

// A keyed hash of text for the hash tables whose keys come from other
// processes, in place of Qt's own. Where the processor has the wide AES
// instructions, Qt 6.4 hashes on a path that mixes instruction sets, and on
// some machines the switch back costs some 0.2 us, ten times the hash: with
// several keys in every prompt, that was most of a sync's decode.
//
// SipHash-1-3, as Rust hashes its tables, under a random key per process
// mixed with Qt's seed, so that no one who writes the keys can make them
// collide on purpose. Its rounds, fewer than SipHash-2-4's, take a third less
// time over a long key such as the store's de-duplication key.
size_t textHash(QByteArrayView bytes, size_t seed) noexcept;
// Of the text's UTF-16.
size_t textHash(QStringView text, size_t seed) noexcept;

// The hash a TextKey holds: textHash() of the text's UTF-16 under `seed`,
// the seed that every QHash of the process is made with. Worked out on any
// thread, as it is the same on all.
struct KeyHash {
    size_t seed = 0;
    size_t value = 0;
};
KeyHash textKeyHash(QStringView text) noexcept;

// A text as a hash table's key, hashed with textHash() and holding its hash:
// where the table holds the very text looked up, shared, as the prompts of
// one session share their session's text, a lookup with a hash worked out
// beforehand compares the two by their address and never reads the text.
// Reading it is the cost of a lookup on the main thread when another thread
// wrote the text: its characters have to come over from that processor.
struct TextKey {
    QString text;
    KeyHash hash;
    friend bool operator==(const TextKey& a, const TextKey& b) { return a.text == b.text; }
    friend size_t qHash(const TextKey& key, size_t seed) noexcept {
        return seed == key.hash.seed ? key.hash.value : textHash(key.text, seed);
    }
};

inline TextKey textKey(const QString& text) {
    return TextKey{text, textKeyHash(text)};
}

// A key for looking `text` up, valid while `text` is: it shares the text's
// characters without counting a reference. Counting one writes to the text's
// header, and for a text that another thread wrote, as a prompt read from a
// reply is, that write waits for the header's cache line to come over.
inline TextKey borrowedTextKey(const QString& text, KeyHash hash) {
    return TextKey{QString::fromRawData(text.constData(), text.size()), hash};
}
inline TextKey borrowedTextKey(const QString& text) {
    return borrowedTextKey(text, textKeyHash(text));
}

// SipHash-2-4 of `bytes` under the 128-bit key (k0, k1): textHash()'s code
// with the rounds its reference vectors are given for.
quint64 sipHash24(QByteArrayView bytes, quint64 k0, quint64 k1) noexcept;

} // namespace zor
