#include "prompts/PromptSearch.h"

#include "prompts/PromptTitle.h"

#include <algorithm>

namespace zor {
namespace {

char16_t asciiLower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? char16_t(c + (u'a' - u'A')) : c;
}

} // namespace

SharedTextFinds::Slot& SharedTextFinds::slotFor(const QString& text) {
    // Made at the first look: a list rebuilt without a search, or a keystroke
    // with no row to look at, needs no table.
    if (entries.empty())
        entries.resize(std::size_t(1) << kSlotBits);
    // Texts lie at addresses a few dozen bytes apart: a multiplication spreads
    // them over the slots.
    const quint64 spread = quint64(quintptr(text.constData())) * 0x9E3779B97F4A7C15u;
    return entries[spread >> (64 - kSlotBits)];
}

PromptSearch::PromptSearch(const QString& text)
    : needle(text.trimmed()) {
    if (!std::all_of(needle.cbegin(), needle.cend(), [](QChar c) { return c.unicode() < 0x80; }))
        return;
    loweredNeedle = needle.toLower();
    const qsizetype length = loweredNeedle.size();
    skips.fill(quint8(std::min<qsizetype>(length, 255)));
    for (qsizetype i = std::max<qsizetype>(0, length - 256); i + 1 < length; ++i)
        skips[loweredNeedle[i].unicode()] = quint8(length - 1 - i);
}

bool PromptSearch::holds(QStringView field) const {
    // Qt's comparison folds the case of every character, which makes a
    // keystroke's look through thousands of prompts slow. An ASCII needle
    // is looked for in ASCII text directly, moving on by what the last
    // character a look covers rules out. From the first other character that
    // comes into a look on, as it may fold to ASCII, Qt compares.
    if (loweredNeedle.isEmpty())
        return field.contains(needle, Qt::CaseInsensitive);
    const QStringView lowered(loweredNeedle);
    const qsizetype length = lowered.size();
    const char16_t last = lowered[length - 1].unicode();
    for (qsizetype start = 0; start + length <= field.size();) {
        const char16_t c = field[start + length - 1].unicode();
        if (c >= 0x80)
            return field.sliced(start).contains(needle, Qt::CaseInsensitive);
        const char16_t lowerC = asciiLower(c);
        if (lowerC == last) {
            qsizetype matched = 0;
            for (; matched + 1 < length; ++matched) {
                const char16_t other = field[start + matched].unicode();
                if (other >= 0x80)
                    return field.sliced(start).contains(needle, Qt::CaseInsensitive);
                if (asciiLower(other) != lowered[matched].unicode())
                    break;
            }
            if (matched + 1 == length)
                return true;
        }
        start += skips[lowerC];
    }
    return false;
}

bool PromptSearch::holds(const QString& field, SharedTextFinds& shared) const {
    SharedTextFinds::Slot& slot = shared.slotFor(field);
    if (slot.text != field.constData() || slot.size != field.size())
        slot = {field.constData(), qint32(field.size()), holds(field)};
    return slot.isFound;
}

bool PromptSearch::holdsOwnTexts(const PromptItem& item) const {
    // The target and the title may be put together, in one buffer for the
    // thread: a keystroke's look through thousands of prompts allocates
    // nothing.
    if (const std::optional<QString>& process = item.denial.processName();
        process && holds(*process))
        return true;
    thread_local QString scratch;
    return holds(item.denial.target(scratch)) || holds(promptTitle(item.denial, scratch));
}

bool PromptSearch::matches(const PromptItem& item) const {
    if (needle.isEmpty())
        return true;
    return holds(item.sessionId) || holds(item.policyPath) || holdsOwnTexts(item);
}

bool PromptSearch::matches(const PromptItem& item, SharedTextFinds& shared) const {
    if (needle.isEmpty())
        return true;
    return holds(item.sessionId, shared) || holds(item.policyPath, shared) || holdsOwnTexts(item);
}

bool PromptSearch::includes(const PromptSearch& other) const {
    return other.needle.contains(needle, Qt::CaseInsensitive);
}

} // namespace zor
