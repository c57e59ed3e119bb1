#include "prompts/PromptSearch.h"

#include "prompts/PromptTitle.h"

namespace zor {

PromptSearch::PromptSearch(const QString& text)
    : needle(text.trimmed()) {}

bool PromptSearch::matches(const PromptItem& item) const {
    if (needle.isEmpty())
        return true;
    const auto holds = [this](QStringView field) {
        return field.contains(needle, Qt::CaseInsensitive);
    };
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
