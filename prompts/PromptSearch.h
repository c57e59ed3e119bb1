#pragma once

#include "prompts/PromptItem.h"

#include <QString>
#include <array>
#include <vector>

namespace zor {

// What one search found in the texts that prompts share: a session's id, a
// policy file's path. The store gives the prompts of a session one copy of
// its id, so a look through many prompts looks in each such text once, and
// finds its answer again by where the text's characters lie. For one search
// through prompts that stay as they are meanwhile.
class SharedTextFinds {
    friend class PromptSearch;
    // Enough for the sessions and policy files of ten thousand prompts, and
    // small enough to stay in the processor's nearer caches.
    static constexpr int kSlotBits = 11;
    struct Slot {
        const QChar* text = nullptr;
        qint32 size = 0;
        bool isFound = false;
    };
    std::vector<Slot> entries;

    Slot& slotFor(const QString& text);
};

// What the search field finds: the prompts whose title, target, process,
// policy file or session holds the text, in any case. Empty, it finds all.
class PromptSearch {
public:
    PromptSearch() = default;
    // Spaces around the text do not count.
    explicit PromptSearch(const QString& text);

    bool isEmpty() const { return needle.isEmpty(); }
    bool matches(const PromptItem& item) const;
    // The same, for one of many prompts looked through in a row.
    bool matches(const PromptItem& item, SharedTextFinds& shared) const;
    // Whether what `other` finds is among what this search finds: its text
    // holds this one's, so every prompt it finds holds this one's too.
    bool includes(const PromptSearch& other) const;

    bool operator==(const PromptSearch&) const = default;

private:
    QString needle;
    QString loweredNeedle; // when the needle is ASCII, else empty
    // For an ASCII needle: how far a look may move on when the last character
    // it covers is this one, lowered (the needle's length for a character
    // it does not hold, at most 255).
    std::array<quint8, 128> skips{};

    bool holds(QStringView field) const;
    bool holds(const QString& field, SharedTextFinds& shared) const;
    bool holdsOwnTexts(const PromptItem& item) const;
};

} // namespace zor
