#pragma once

#include "prompts/PromptItem.h"

#include <QString>
#include <array>

namespace zor {

// What the search field finds: the prompts whose title, target, process,
// policy file or session holds the text, in any case. Empty, it finds all.
class PromptSearch {
public:
    PromptSearch() = default;
    // Spaces around the text do not count.
    explicit PromptSearch(const QString& text);

    bool isEmpty() const { return needle.isEmpty(); }
    bool matches(const PromptItem& item) const;
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
};

} // namespace zor
