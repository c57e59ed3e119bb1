#include "prompts/PromptSearch.h"

#include "prompts/PromptTitle.h"

#include <algorithm>

namespace zor {
namespace {

char16_t asciiLower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? char16_t(c + (u'a' - u'A')) : c;
}

} // namespace

PromptSearch::PromptSearch(const QString& text)
    : needle(text.trimmed()) {
    if (std::all_of(needle.cbegin(), needle.cend(), [](QChar c) { return c.unicode() < 0x80; }))
        loweredNeedle = needle.toLower();
}

bool PromptSearch::holds(QStringView field) const {
    // Qt's comparison folds the case of every character, which makes a
    // keystroke's look through thousands of prompts slow. An ASCII needle
    // is compared with ASCII text directly; from the first other character
    // that comes into a comparison on, as it may fold to ASCII, Qt compares.
    if (loweredNeedle.isEmpty())
        return field.contains(needle, Qt::CaseInsensitive);
    const QStringView lowered(loweredNeedle);
    const qsizetype length = lowered.size();
    for (qsizetype start = 0; start + length <= field.size(); ++start) {
        qsizetype matched = 0;
        for (; matched < length; ++matched) {
            const char16_t c = field[start + matched].unicode();
            if (c >= 0x80)
                return field.sliced(start).contains(needle, Qt::CaseInsensitive);
            if (asciiLower(c) != lowered[matched].unicode())
                break;
        }
        if (matched == length)
            return true;
    }
    return false;
}

bool PromptSearch::matches(const PromptItem& item) const {
    if (needle.isEmpty())
        return true;
    // The texts at hand first; the title and the target are put together.
    if (holds(item.sessionId) || holds(item.policyPath))
        return true;
    if (const std::optional<QString> process = item.denial.processName();
        process && holds(*process))
        return true;
    return holds(item.denial.target()) || holds(promptTitle(item.denial));
}

bool PromptSearch::includes(const PromptSearch& other) const {
    return other.needle.contains(needle, Qt::CaseInsensitive);
}

} // namespace zor
