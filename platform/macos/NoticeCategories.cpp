#include "platform/macos/NoticeCategories.h"

#include <algorithm>

namespace zor {

namespace {

constexpr NoticeAction kButtons[] = {NoticeAction::deny, NoticeAction::show};

QString keyOf(NoticeAction action) {
    return QString::fromLatin1(noticeActionText(action).key);
}

} // namespace

QList<NoticeCategory> noticeCategories() {
    QList<NoticeCategory> categories;
    constexpr unsigned kSets = 1u << std::size(kButtons);
    for (unsigned set = 1; set < kSets; ++set) {
        QList<NoticeAction> buttons;
        for (size_t i = 0; i < std::size(kButtons); ++i)
            if (set & (1u << i))
                buttons.append(kButtons[i]);
        categories.append({noticeCategoryIdentifier(buttons), buttons});
    }
    return categories;
}

QString noticeCategoryIdentifier(const QList<NoticeAction>& buttons) {
    QStringList keys;
    for (const NoticeAction button : kButtons)
        if (buttons.contains(button))
            keys.append(keyOf(button));
    return keys.isEmpty() ? QString() : QStringLiteral("com.zorlabs.zor.notice.") + keys.join(u'+');
}

std::optional<NoticeAction> noticeActionFromResponse(const QString& actionIdentifier,
                                                     bool isDefaultAction,
                                                     const QString& categoryIdentifier) {
    if (isDefaultAction)
        return NoticeAction::open;
    const QList<NoticeCategory> categories = noticeCategories();
    const auto category =
        std::find_if(categories.cbegin(), categories.cend(),
                     [&](const NoticeCategory& c) { return c.identifier == categoryIdentifier; });
    if (category == categories.cend())
        return std::nullopt;
    for (const NoticeAction button : category->buttons)
        if (keyOf(button) == actionIdentifier)
            return button;
    return std::nullopt;
}

} // namespace zor
