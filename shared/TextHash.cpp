#include "shared/TextHash.h"

#include <QHashFunctions>
#include <QRandomGenerator>
#include <QtEndian>
#include <bit>
#include <cstring>

namespace zor {
namespace {

struct SipState {
    quint64 v0, v1, v2, v3;

    void round() {
        v0 += v1;
        v1 = std::rotl(v1, 13) ^ v0;
        v0 = std::rotl(v0, 32);
        v2 += v3;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 += v3;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 += v1;
        v1 = std::rotl(v1, 17) ^ v2;
        v2 = std::rotl(v2, 32);
    }
};

struct ProcessKey {
    quint64 k0;
    quint64 k1;
};

ProcessKey processKey() {
    static const ProcessKey key = [] {
        QRandomGenerator* random = QRandomGenerator::system();
        return ProcessKey{random->generate64(), random->generate64()};
    }();
    return key;
}

// SipHash-c-d: c rounds for each word, d to finish.
template <int wordRounds, int finalRounds>
quint64 sipHash(QByteArrayView bytes, quint64 k0, quint64 k1) noexcept {
    SipState state{k0 ^ 0x736f6d6570736575ULL, k1 ^ 0x646f72616e646f6dULL,
                   k0 ^ 0x6c7967656e657261ULL, k1 ^ 0x7465646279746573ULL};
    const auto compress = [&state](quint64 word) {
        state.v3 ^= word;
        for (int n = 0; n < wordRounds; ++n)
            state.round();
        state.v0 ^= word;
    };
    const char* data = bytes.data();
    const auto size = std::size_t(bytes.size());
    const std::size_t whole = size - size % 8;
    for (std::size_t at = 0; at < whole; at += 8)
        compress(qFromLittleEndian<quint64>(data + at));
    // The last word holds the bytes left over and, in its top byte, the length.
    unsigned char last[8] = {};
    if (size > whole)
        std::memcpy(last, data + whole, size - whole);
    last[7] = static_cast<unsigned char>(size);
    compress(qFromLittleEndian<quint64>(last));
    state.v2 ^= 0xff;
    for (int n = 0; n < finalRounds; ++n)
        state.round();
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

} // namespace

quint64 sipHash24(QByteArrayView bytes, quint64 k0, quint64 k1) noexcept {
    return sipHash<2, 4>(bytes, k0, k1);
}

size_t textHash(QByteArrayView bytes, size_t seed) noexcept {
    const ProcessKey key = processKey();
    return size_t(sipHash<1, 3>(bytes, key.k0 ^ seed, key.k1));
}

size_t textHash(QStringView text, size_t seed) noexcept {
    return textHash(QByteArrayView(reinterpret_cast<const char*>(text.utf16()),
                                   text.size() * qsizetype(sizeof(char16_t))),
                    seed);
}

KeyHash textKeyHash(QStringView text) noexcept {
    const size_t seed = QHashSeed::globalSeed();
    return KeyHash{seed, textHash(text, seed)};
}

} // namespace zor
