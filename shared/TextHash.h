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

// A text as a hash table's key, hashed with textHash().
struct TextKey {
    QString text;
    friend bool operator==(const TextKey& a, const TextKey& b) { return a.text == b.text; }
    friend size_t qHash(const TextKey& key, size_t seed) noexcept {
        return textHash(key.text, seed);
    }
};

// A key for looking `text` up, valid while `text` is: it shares the text's
// characters without counting a reference. Counting one writes to the text's
// header, and for a text that another thread wrote, as a prompt read from a
// reply is, that write waits for the header's cache line to come over.
inline TextKey borrowedTextKey(const QString& text) {
    return TextKey{QString::fromRawData(text.constData(), text.size())};
}

// SipHash-2-4 of `bytes` under the 128-bit key (k0, k1): textHash()'s code
// with the rounds its reference vectors are given for.
quint64 sipHash24(QByteArrayView bytes, quint64 k0, quint64 k1) noexcept;

} // namespace zor
